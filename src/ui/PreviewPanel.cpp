#include "ui/PreviewPanel.h"

#include <algorithm>

#include <QFontDatabase>
#include <QVBoxLayout>

#include "base/Readable.h"
#include "rows/SegmentDrawing.h"
#include "storage/ProgressBundle.h"
#include "ui/Icons.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

/// What there is of the job's file; none: nothing yet, or it can't be said without waiting.
std::optional<PreviewRequest> requestFor(const RemoteFile& job) {
    if (const auto file = job.finalFilePath())
        return PreviewRequest{*file, job.fileName(), std::numeric_limits<std::int64_t>::max(), true};
    const auto bundlePath = job.supportsRecovery() ? job.activeFile() : std::nullopt;
    const auto bundle = bundlePath ? ProgressBundle::fromBundleDirectory(*bundlePath) : std::nullopt;
    const auto segments = bundle ? job.segments() : std::nullopt;
    if (!segments || doneFromStart(*segments) < 1)
        return std::nullopt;
    return PreviewRequest{bundle->tempFile(), job.fileName(), doneFromStart(*segments), false};
}

QString entryText(const ArchiveEntry& entry) {
    if (entry.size < 0)
        return entry.name;
    return text("tr.preview.entry", {entry.name.toStdString(), readableSize(entry.size)});
}

} // namespace

PreviewPanel::PreviewPanel(CurrentJob& current, QWidget* parent)
    : QDockWidget(text("tr.preview.title"), parent), m_current(current), m_title(new QLabel),
      m_note(new QLabel), m_kinds(new QStackedWidget), m_picture(new PictureView), m_text(new QPlainTextEdit),
      m_list(new QListWidget), m_facts(new QWidget), m_icon(new QLabel), m_words(new QLabel), m_loader(this) {
    constexpr int betweenLooksMs = 2'000;
    placeParts();
    m_again.setInterval(betweenLooksMs);
    connect(&m_again, &QTimer::timeout, this, &PreviewPanel::loadIfMore);
    connect(&m_loader, &PreviewLoader::loaded, this, &PreviewPanel::show);
    connect(&m_current, &CurrentJob::changed, this, &PreviewPanel::beginAnew);
    connect(&m_current, &CurrentJob::replaced, this, &PreviewPanel::load);
    connect(&m_current, &CurrentJob::stateChanged, this, &PreviewPanel::load);
    connect(this, &QDockWidget::visibilityChanged, this, [this](bool isSeen) {
        m_isSeen = isSeen;
        if (isSeen) {
            beginAnew();
            m_again.start();
        } else {
            m_loader.cancel();
            m_again.stop();
        }
    });
}

void PreviewPanel::placeParts() {
    setObjectName(QStringLiteral("preview"));
    for (QLabel* label : {m_title, m_note, m_words}) {
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
    }
    m_words->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_words->setAlignment(Qt::AlignHCenter);
    m_icon->setAlignment(Qt::AlignCenter);
    m_text->setReadOnly(true);
    m_text->setTabChangesFocus(true);
    m_text->setUndoRedoEnabled(false);
    m_text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_text->setAccessibleName(text("tr.preview.text"));
    m_list->setUniformItemSizes(true);
    m_list->setAccessibleName(text("tr.preview.entries"));
    m_picture->setAccessibleName(text("tr.preview.picture"));
    auto* facts = new QVBoxLayout(m_facts);
    facts->addStretch();
    facts->addWidget(m_icon);
    facts->addWidget(m_words);
    facts->addStretch();
    for (QWidget* kind : {static_cast<QWidget*>(m_facts), static_cast<QWidget*>(m_picture),
                          static_cast<QWidget*>(m_text), static_cast<QWidget*>(m_list)})
        m_kinds->addWidget(kind);
    auto* inside = new QWidget(this);
    auto* all = new QVBoxLayout(inside);
    all->addWidget(m_title);
    all->addWidget(m_kinds, 1);
    all->addWidget(m_note);
    setWidget(inside);
}

void PreviewPanel::beginAnew() {
    m_loader.cancel();
    m_shownBytes = -1;
    if (!m_isSeen)
        return;
    const auto& job = m_current.job();
    m_title->setText(job ? QString::fromStdString(job->displayName()) : QString());
    m_note->clear();
    m_picture->setPicture({});
    m_text->clear();
    m_list->clear();
    showFacts(job ? QString() : text("tr.preview.no-row"), {});
    load();
}

void PreviewPanel::load() {
    if (!m_isSeen || !m_current.job())
        return;
    const auto request = requestFor(*m_current.job());
    if (!request) {
        if (m_shownBytes < 0)
            showFacts(text("tr.preview.nothing-yet"), {});
        return;
    }
    m_shownBytes = request->readable;
    m_loader.load(*request);
}

/// Of a picture each more is seen, so it is decoded again once there is a tenth more; of text only what the
/// panel has room for.
void PreviewPanel::loadIfMore() {
    constexpr std::int64_t shownText = 65'536;
    const auto& job = m_current.job();
    if (!job || job->finalFilePath() || m_loader.isLoading())
        return;
    const auto request = requestFor(*job);
    const bool isEnough = m_kinds->currentWidget() == m_text && m_shownBytes >= shownText;
    const bool isMore = request && request->readable > m_shownBytes + m_shownBytes / 10;
    if (isMore && !isEnough)
        load();
}

QWidget* PreviewPanel::filled(const PreviewContent& content) {
    switch (content.kind) {
    case PreviewContent::Kind::picture:
        m_picture->setPicture(content.picture);
        m_picture->setAccessibleDescription(
            text("tr.preview.pixels", {std::to_string(content.pictureSize.width()),
                                       std::to_string(content.pictureSize.height())}));
        return m_picture;
    case PreviewContent::Kind::text:
        m_text->setPlainText(content.text);
        return m_text;
    case PreviewContent::Kind::archive:
        m_list->clear();
        for (const auto& entry : content.archive.entries)
            m_list->addItem(entryText(entry));
        return m_list;
    default:
        return nullptr;
    }
}

void PreviewPanel::show(const PreviewContent& content) {
    const auto& job = m_current.job();
    if (!job)
        return;
    m_title->setText(QString::fromStdString(job->displayName()));
    QWidget* kind = filled(content);
    QStringList facts;
    if (!content.description.isEmpty())
        facts += content.description;
    if (content.kind == PreviewContent::Kind::picture)
        facts += m_picture->accessibleDescription();
    if (job->fileSize() > 0)
        facts += QString::fromStdString(readableSize(job->fileSize()));
    if (!content.problem.isEmpty())
        facts += content.problem;
    if (kind) {
        m_kinds->setCurrentWidget(kind);
        m_note->setText((content.isCut ? text("tr.preview.beginning") + u'\n' : QString()) +
                        facts.join(QStringLiteral(", ")));
        return;
    }
    m_note->clear();
    showFacts(facts.join(u'\n'), content.mediaType);
}

void PreviewPanel::showFacts(const QString& words, const QString& mediaType) {
    constexpr int iconSize = 64;
    const QIcon icon = Icons::ofMediaType(mediaType);
    m_icon->setPixmap(icon.pixmap(iconSize));
    m_words->setText(words);
    m_kinds->setCurrentWidget(m_facts);
}

} // namespace tarvo
