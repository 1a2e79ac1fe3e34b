#include "ui/ChecksumPage.h"

#include <QAccessible>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QVBoxLayout>

#include "base/Runloop.h"
#include "rows/ExpectedDigest.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

using Algorithm = Checksum::Algorithm;
constexpr std::array<Algorithm, 3> kKinds{Algorithm::md5, Algorithm::sha1, Algorithm::sha256};

QString verdictText(DigestMatch match, const std::optional<Checksum>& expected) {
    const std::string kind = expected ? shownName(expected->algorithm) : std::string();
    switch (match) {
    case DigestMatch::notUnderstood:
        return text("tr.checksums.not-understood");
    case DigestMatch::notComputed:
        return text("tr.checksums.recognised", {kind});
    case DigestMatch::matches:
        return text("tr.checksums.matches", {kind});
    case DigestMatch::differs:
        return text("tr.checksums.differs", {kind});
    default:
        return {};
    }
}

} // namespace

ChecksumPage::ChecksumPage(QWidget* parent)
    : QWidget(parent), m_expected(new QPlainTextEdit(this)), m_verdict(new QLabel(this)),
      m_state(new QLabel(this)), m_progress(new QProgressBar(this)),
      m_compute(new QPushButton(text("tr.checksums.compute"), this)),
      m_cancel(new QPushButton(text("Cancel"), this)), m_hasher(this) {
    placeParts();
    connect(m_compute, &QPushButton::clicked, this, &ChecksumPage::start);
    connect(m_cancel, &QPushButton::clicked, this, [this] {
        cancel();
        m_state->setText(text("tr.checksums.cancelled"));
    });
    connect(m_expected, &QPlainTextEdit::textChanged, this, &ChecksumPage::showVerdict);
    connect(&m_hasher, &FileHasher::progressed, m_progress, &QProgressBar::setValue);
    connect(&m_hasher, &FileHasher::finished, this, [this](const TRFileHash::Digests& digests) {
        m_digests = digests;
        for (std::size_t i = 0; i < kKinds.size(); ++i) {
            m_fields[i]->setText(QString::fromStdString(digestOf(digests, kKinds[i])));
            m_fields[i]->setCursorPosition(0); // the beginning is what a person compares
        }
        showEnd({});
        showVerdict();
    });
    connect(&m_hasher, &FileHasher::failed, this,
            [this](const Error& error) { showEnd(QString::fromStdString(error.sentence())); });
}

void ChecksumPage::placeParts() {
    auto* all = new QVBoxLayout(this);
    auto* form = new QFormLayout;
    form->setRowWrapPolicy(QFormLayout::WrapLongRows);
    for (std::size_t i = 0; i < kKinds.size(); ++i) {
        auto* field = m_fields[i] = new QLineEdit(this);
        const QString name = QString::fromStdString(shownName(kKinds[i]));
        field->setReadOnly(true);
        field->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
        field->setAccessibleName(name);
        form->addRow(name, field);
    }
    all->addLayout(form);
    auto* row = new QHBoxLayout;
    m_progress->setAccessibleName(text("tr.checksums.progress"));
    row->addWidget(m_progress, 1);
    row->addWidget(m_compute);
    row->addWidget(m_cancel);
    all->addLayout(row);
    m_state->setWordWrap(true);
    m_state->setTextFormat(Qt::PlainText);
    m_state->setTextInteractionFlags(Qt::TextSelectableByMouse);
    all->addWidget(m_state);
    auto* label = new QLabel(text("tr.checksums.expected"), this);
    label->setBuddy(m_expected);
    all->addWidget(label);
    m_expected->setAccessibleName(text("tr.checksums.expected").remove(u'&'));
    m_expected->setTabChangesFocus(true);
    m_expected->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_expected->setFixedHeight(m_expected->fontMetrics().lineSpacing() * 3 + 12);
    all->addWidget(m_expected);
    m_verdict->setWordWrap(true);
    m_verdict->setTextFormat(Qt::PlainText);
    QFont bold = m_verdict->font();
    bold.setBold(true);
    m_verdict->setFont(bold);
    all->addWidget(m_verdict);
    all->addStretch();
}

void ChecksumPage::setJob(const std::shared_ptr<RemoteFile>& job) {
    Runloop::assertMain();
    m_job = job;
    m_digests.reset();
    for (auto* field : m_fields)
        field->clear();
    const auto expected = job ? job->expectedChecksum() : std::nullopt;
    m_expected->setPlainText(expected ? QString::fromStdString(expected->text()) : QString());
    cancel();
}

void ChecksumPage::update() {
    const bool isThere = m_job && m_job->finalFilePath().has_value();
    if (isThere != m_compute->isEnabled() && !m_hasher.isRunning())
        showIdle();
}

void ChecksumPage::start() {
    const auto path = m_job ? m_job->finalFilePath() : std::nullopt;
    if (!path || m_digests || m_hasher.isRunning())
        return;
    m_state->setText(text("tr.checksums.computing"));
    m_progress->setValue(0);
    m_progress->show();
    m_cancel->show();
    m_compute->hide();
    m_hasher.start(*path);
}

void ChecksumPage::cancel() {
    m_hasher.cancel();
    showIdle();
}

void ChecksumPage::showIdle() {
    const bool isThere = m_job && m_job->finalFilePath().has_value();
    showEnd(isThere || !m_job ? QString() : text("tr.checksums.not-finished"));
}

void ChecksumPage::showEnd(const QString& words) {
    const bool isThere = m_job && m_job->finalFilePath().has_value();
    m_progress->hide();
    m_cancel->hide();
    m_compute->setVisible(!m_digests);
    m_compute->setEnabled(isThere);
    m_state->setText(words);
    m_state->setVisible(true);
}

void ChecksumPage::showVerdict() {
    const std::string pasted = m_expected->toPlainText().toStdString();
    const auto expected = expectedDigest(pasted, m_job ? m_job->fileName() : std::string());
    const QString words = verdictText(judge(pasted, expected, m_digests), expected);
    if (words == m_verdict->text())
        return;
    m_verdict->setText(words);
    m_verdict->setAccessibleName(words);
    QAccessibleEvent alert(m_verdict, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

} // namespace tarvo
