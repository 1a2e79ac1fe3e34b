#include "ui/AddSheet.h"

#include <algorithm>

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QShortcut>
#include <QTextBlock>
#include <QUrl>
#include <QVBoxLayout>

#include "app/AddFailures.h"
#include "base/Runloop.h"
#include "base/Settings.h"
#include "rows/RecentFolders.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

constexpr int kPauseMs = 150;

QString reasonOf(LinkLine::Kind kind) {
    switch (kind) {
    case LinkLine::Kind::otherScheme:
        return text("tr.add.bad.other-scheme");
    case LinkLine::Kind::malformed:
        return text("tr.add.bad.malformed");
    default:
        return text("tr.add.bad.no-address");
    }
}

/// The first of the lines, counted from 1, with its reason, and how many there are.
QString sentenceOf(const std::vector<int>& lines, const QString& reason) {
    return QString::fromStdString(localizedCount("tr.add.bad-lines", lines.size(),
                                                 {std::to_string(lines.front() + 1), reason.toStdString()}));
}

} // namespace

AddSheet::AddSheet(const WindowEnvironment& environment, FolderLook& look, QWidget* parent)
    : QDialog(parent), m_environment(environment), m_text(new URLExtractingTextView(this)),
      m_summary(new QLabel(this)), m_problem(new QLabel(this)),
      m_folder(new FolderField(look, environment.homeFolder, text("tr.add.folder-name"), this)),
      m_connections(new QSpinBox(this)), m_starts(new QCheckBox(text("tr.add.starts"), this)),
      m_more(new QToolButton(this)), m_details(new AddDetails(this)) {
    Runloop::assertMain();
    setWindowTitle(text("tr.add.title"));
    setWindowModality(Qt::WindowModal);
    setAttribute(Qt::WA_DeleteOnClose);
    makeControls();
    placeControls();
    connectControls();
    showWhatStandsThere();
}

void AddSheet::makeControls() {
    const auto choices = usualChoices(m_environment.defaults, m_environment.homeFolder);
    m_text->setAccessibleName(text("tr.add.links-name"));
    m_text->setPlaceholderText(text("tr.add.placeholder"));
    m_text->setMinimumHeight(4 * m_text->fontMetrics().lineSpacing());
    m_summary->setObjectName(QStringLiteral("summary"));
    m_problem->setObjectName(QStringLiteral("problem"));
    m_problem->setWordWrap(true);
    m_folder->setRecent(recentFoldersIn(m_environment.defaults));
    m_folder->setFolder(choices.folder);
    m_connections->setRange(1, static_cast<int>(kMostConnections));
    m_connections->setValue(static_cast<int>(choices.connections));
    m_starts->setChecked(Settings(m_environment.defaults).autoStartAfterAdd());
    m_more->setText(text("tr.add.more"));
    m_more->setObjectName(QStringLiteral("more"));
    m_more->setCheckable(true);
    m_more->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_more->setAutoRaise(true);
    m_more->setFocusPolicy(Qt::StrongFocus);
    showMore(false);
}

void AddSheet::placeControls() {
    auto* rows = new QVBoxLayout(this);
    auto* label = new QLabel(text("tr.add.links"), this);
    label->setBuddy(m_text);
    rows->addWidget(label);
    rows->addWidget(m_text, 1);
    rows->addWidget(m_summary);
    rows->addWidget(m_problem);
    auto* folderRow = new QHBoxLayout;
    auto* folderLabel = new QLabel(text("tr.add.folder"), this);
    folderLabel->setBuddy(&m_folder->input());
    folderLabel->setFixedHeight(m_folder->input().sizeHint().height());
    folderRow->addWidget(folderLabel, 0, Qt::AlignTop);
    folderRow->addWidget(m_folder, 1);
    rows->addLayout(folderRow);
    rows->addWidget(makeOptions());
    rows->addWidget(m_details);
    rows->addWidget(makeButtons());
    resize(600, 360);
    m_text->setFocus();
}

QWidget* AddSheet::makeOptions() {
    auto* options = new QWidget(this);
    auto* row = new QHBoxLayout(options);
    row->setContentsMargins({});
    auto* label = new QLabel(text("tr.add.connections"), options);
    label->setBuddy(m_connections);
    row->addWidget(label);
    row->addWidget(m_connections);
    row->addSpacing(m_connections->fontMetrics().height());
    row->addWidget(m_starts);
    row->addStretch();
    row->addWidget(m_more);
    return options;
}

QWidget* AddSheet::makeButtons() {
    auto* box = new QDialogButtonBox(this);
    m_add = box->addButton(text("tr.add.accept"), QDialogButtonBox::AcceptRole);
    m_add->setDefault(true);
    m_add->setObjectName(QStringLiteral("accept"));
    auto* cancel = box->addButton(text("Cancel"), QDialogButtonBox::RejectRole);
    cancel->setAutoDefault(false);
    connect(box, &QDialogButtonBox::accepted, this, &AddSheet::accept);
    connect(box, &QDialogButtonBox::rejected, this, &AddSheet::discard);
    return box;
}

void AddSheet::connectControls() {
    m_pause.setSingleShot(true);
    m_pause.setInterval(kPauseMs);
    connect(&m_pause, &QTimer::timeout, this, &AddSheet::showWhatStandsThere);
    connect(m_text, &QPlainTextEdit::textChanged, this, [this] {
        m_add->setEnabled(!m_text->document()->isEmpty());
        m_pause.start();
    });
    connect(m_more, &QToolButton::toggled, this, &AddSheet::showMore);
    for (const auto key : {Qt::Key_Return, Qt::Key_Enter})
        connect(new QShortcut(QKeySequence(Qt::CTRL | key), this), &QShortcut::activated, m_add,
                &QPushButton::click);
}

void AddSheet::showMore(bool isWanted) {
    m_more->setArrowType(isWanted ? Qt::DownArrow : Qt::RightArrow);
    m_details->setVisible(isWanted);
}

void AddSheet::append(const std::string& links, bool isTyped) {
    const bool wasTyped = hasTyped();
    const bool needsBreak = !m_text->document()->isEmpty() && !this->links().ends_with('\n');
    m_text->appendLinks(QString::fromStdString((needsBreak ? "\n" : "") + links));
    m_text->document()->setModified(isTyped || wasTyped);
}

bool AddSheet::hasTyped() const {
    return m_text->document()->isModified();
}

/// The one way out that throws away what was typed.
void AddSheet::discard() {
    m_text->clear();
    reject();
}

std::vector<LinkLine> AddSheet::readLines() {
    return m_reader.read(
        links(), [this](const std::string& identity) { return m_environment.queue.isUnfinished(identity); });
}

void AddSheet::showWhatStandsThere() {
    const auto lines = readLines();
    const LinkCounts counts = countsOf(lines);
    std::string summary = localizedCount("tr.add.addresses", counts.addresses);
    if (counts.alreadyThere > 0)
        summary = localizedCount("tr.add.addresses-known", counts.alreadyThere, {summary});
    m_summary->setText(QString::fromStdString(summary));
    std::vector<int> bad;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].isBad())
            bad.push_back(static_cast<int>(i));
    }
    QString problem;
    if (!bad.empty())
        problem = sentenceOf(bad, reasonOf(lines[static_cast<std::size_t>(bad.front())].kind));
    m_problem->setText(problem);
    m_problem->setVisible(!problem.isEmpty());
    m_text->setAccessibleDescription(m_summary->text() + (problem.isEmpty() ? "" : ". " + problem));
    m_text->markLines(std::move(bad));
    m_details->setAddressCount(counts.addresses);
    m_add->setEnabled(counts.addresses > 0);
}

bool AddSheet::fillChoices(AddChoices& choices) {
    choices.folder = m_folder->folder();
    choices.connections = m_connections->value();
    choices.starts = m_starts->isChecked();
    if (!m_folder->problem().isEmpty()) {
        m_folder->setFocus();
        return false;
    }
    AddChoices detailed = choices;
    if (!m_details->fill(detailed)) {
        m_more->setChecked(true);
        return false;
    }
    choices = detailed;
    return true;
}

/// A name without a password goes into the address: the keyring, which may know the password, is asked later,
/// and not on this thread.
std::optional<Url> AddSheet::withCredentials(const Url& url) const {
    const std::string user = m_details->userName();
    if (user.empty())
        return url;
    if (!m_details->password().empty()) {
        m_environment.queue.credentials().rememberGiven(url, user, m_details->password());
        return url;
    }
    QUrl named(QString::fromStdString(url.absoluteString()));
    named.setUserName(QString::fromStdString(user), QUrl::DecodedMode);
    named.setPassword(QString());
    const auto parsed = Url::parse(named.toEncoded().toStdString());
    return parsed ? parsed : url;
}

void AddSheet::accept() {
    m_pause.stop();
    showWhatStandsThere();
    const auto lines = readLines();
    AddChoices choices;
    if (!m_add->isEnabled() || !fillChoices(choices))
        return;
    std::vector<std::optional<Url>> links;
    for (const auto& line : lines) {
        const bool isWanted = line.url && line.kind != LinkLine::Kind::repeated;
        links.push_back(isWanted ? withCredentials(*line.url) : std::nullopt);
    }
    const auto outcomes = addLinks(links, choices, m_environment.queue, m_environment.jobs);
    keepRecentFolder(m_environment.defaults, choices.folder);
    std::vector<AddOutcome> duplicates;
    std::vector<int> rest;
    std::size_t added = 0;
    QString reason;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        const AddOutcome& outcome = outcomes[i];
        added += outcome.kind == AddOutcome::Kind::taken ? 1 : 0;
        if (outcome.kind == AddOutcome::Kind::alreadyThere)
            duplicates.push_back(outcome);
        if (!outcome.error && !lines[i].isBad())
            continue;
        if (rest.empty())
            reason =
                outcome.error ? QString::fromStdString(outcome.error->sentence()) : reasonOf(lines[i].kind);
        rest.push_back(static_cast<int>(i));
    }
    if (rest.empty())
        QDialog::accept();
    else
        showRest(rest, added, reason);
    presentFailures(duplicates, m_environment.alerts); // one message for all of them
}

/// Only the lines that were not taken stay.
void AddSheet::showRest(const std::vector<int>& lines, std::size_t added, const QString& reason) {
    QStringList kept;
    std::vector<int> marked;
    for (const int line : lines) {
        marked.push_back(static_cast<int>(kept.size()));
        kept.append(m_text->document()->findBlockByNumber(line).text());
    }
    m_text->setPlainText(kept.join(u'\n'));
    m_text->document()->setModified(true);
    m_pause.stop(); // what is shown now stays until the text is changed
    m_summary->setText(QString::fromStdString(localizedCount("tr.add.added", added)));
    m_problem->setText(sentenceOf(marked, reason));
    m_problem->show();
    m_text->setAccessibleDescription(m_summary->text() + ". " + m_problem->text());
    m_text->markLines(std::move(marked));
    m_text->setFocus();
}

} // namespace tarvo
