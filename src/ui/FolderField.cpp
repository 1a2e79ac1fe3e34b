#include "ui/FolderField.h"

#include <utility>

#include <QFile>
#include <QFileDialog>
#include <QGridLayout>
#include <QLineEdit>

#include "base/Readable.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

constexpr int kPauseMs = 300;

} // namespace

FolderField::FolderField(FolderLook& look, std::string homeFolder, const QString& name, QWidget* parent)
    : QWidget(parent), m_look(look), m_homeFolder(std::move(homeFolder)), m_input(new QComboBox(this)),
      m_browse(new QPushButton(text("tr.folder.browse"), this)), m_facts(new QLabel(this)) {
    m_input->setEditable(true);
    m_input->setInsertPolicy(QComboBox::NoInsert);
    m_input->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_input->setMinimumContentsLength(20);
    m_input->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_input->setAccessibleName(name);
    m_input->lineEdit()->setAccessibleName(name); // what readers find within it, and what has the focus
    m_browse->setAccessibleName(text("tr.folder.browse-for", {name.toStdString()}));
    m_browse->setAutoDefault(false);
    m_facts->setWordWrap(true);
    auto* layout = new QGridLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(m_input, 0, 0);
    layout->addWidget(m_browse, 0, 1);
    layout->addWidget(m_facts, 1, 0, 1, 2);
    setFocusProxy(m_input);
    m_pause.setSingleShot(true);
    m_pause.setInterval(kPauseMs);
    connect(&m_pause, &QTimer::timeout, this, &FolderField::lookNow);
    connect(m_input, &QComboBox::editTextChanged, this, &FolderField::lookSoon);
    connect(m_input, &QComboBox::activated, this, [this] {
        m_isFinished = true;
        lookNow();
    });
    connect(m_input->lineEdit(), &QLineEdit::editingFinished, this, [this] {
        m_isFinished = true;
        lookNow();
    });
    connect(m_browse, &QPushButton::clicked, this, &FolderField::browse);
}

/// A line that has the focus loses it during the destruction, which it takes for the end of editing.
FolderField::~FolderField() {
    m_input->lineEdit()->disconnect(this);
}

void FolderField::setRecent(const std::vector<std::string>& folders) {
    const QString current = m_input->currentText();
    m_input->clear();
    for (const auto& folder : folders)
        m_input->addItem(QFile::decodeName(folder.c_str()));
    m_input->setEditText(current);
}

void FolderField::setFolder(const std::string& folder) {
    m_input->setEditText(QFile::decodeName(folder.c_str()));
    lookNow();
}

std::string FolderField::folder() const {
    std::string path = QFile::encodeName(m_input->currentText().trimmed()).toStdString();
    if (path == "~" || path.starts_with("~/"))
        path = m_homeFolder + path.substr(1);
    const auto whole = path.starts_with('/') ? absolutePath(path) : failure(Error());
    return whole ? *whole : "";
}

QString FolderField::problem() const {
    if (isEmpty() && m_isPlaceholderGood)
        return {};
    return folder().empty() ? text("tr.folder.not-absolute") : m_problem;
}

void FolderField::setPlaceholder(const QString& text) {
    m_input->lineEdit()->setPlaceholderText(text);
    m_isPlaceholderGood = true;
}

void FolderField::lookSoon() {
    m_problem.clear();
    m_pause.start();
    Q_EMIT edited();
}

void FolderField::lookNow() {
    m_pause.stop();
    const std::string path = folder();
    const std::uint64_t question = ++m_question;
    if (path.empty()) {
        m_facts->setText(problem());
        if (std::exchange(m_isFinished, false))
            Q_EMIT settled();
        return;
    }
    m_look.ask(path, *this, [this, question](const FolderFacts& facts) {
        if (question == m_question)
            show(facts);
    });
}

void FolderField::show(const FolderFacts& facts) {
    m_problem.clear();
    if (!facts.isUsable())
        m_problem = text(facts.isFolder ? "tr.folder.not-writable" : "tr.folder.not-there");
    QString shown = m_problem;
    if (shown.isEmpty() && facts.freeBytes)
        shown = text(facts.isFolder ? "tr.folder.free" : "tr.folder.free-when-made",
                     {readableSize(*facts.freeBytes)});
    m_facts->setText(shown);
    m_input->setAccessibleDescription(shown);
    if (std::exchange(m_isFinished, false))
        Q_EMIT settled();
}

void FolderField::browse() {
    auto* dialog = new QFileDialog(this, text("tr.folder.choose"), QFile::decodeName(folder().c_str()));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& folder) {
        m_isFinished = true;
        setFolder(QFile::encodeName(folder).toStdString());
    });
    dialog->open();
}

} // namespace tarvo
