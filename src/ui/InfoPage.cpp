#include "ui/InfoPage.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QPushButton>
#include <QVBoxLayout>

#include "base/Runloop.h"
#include "ui/Text.h"

namespace tarvo {

InfoPage::InfoPage(QWidget* parent)
    : QWidget(parent), m_bar(new SegmentBar(this)), m_curve(new SpeedCurve(this)), m_form(new QFormLayout) {
    auto* all = new QVBoxLayout(this);
    all->addWidget(m_bar);
    all->addWidget(new SegmentLegend(this));
    all->addWidget(m_curve);
    all->addLayout(m_form);
    m_form->setRowWrapPolicy(QFormLayout::WrapLongRows);
    auto* copy = new QPushButton(text("tr.info.copy-all"), this);
    connect(copy, &QPushButton::clicked, this, &InfoPage::copyAll);
    all->addWidget(copy, 0, Qt::AlignLeft);
    all->addStretch();
}

QLabel* InfoPage::addField(std::string_view labelKey) {
    auto* field = new QLabel(this);
    field->setTextFormat(Qt::PlainText); // addresses and errors come from outside
    field->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    field->setWordWrap(true);
    field->setAccessibleName(text(labelKey));
    field->setMinimumWidth(1); // a long word gives way
    m_form->addRow(text(labelKey), field);
    return field;
}

void InfoPage::setJob(const std::shared_ptr<RemoteFile>& job, TimePoint now) {
    Runloop::assertMain();
    m_job = job;
    m_segments.reset();
    for (QLabel* field : m_fields)
        field->clear(); // with what is selected of the last job's
    m_curve->begin(now, job ? job->recentSpeeds() : std::vector<std::int64_t>());
    m_speeds.clear();
    m_eachConnection.clear();
    m_lastSample = now;
    if (!m_job)
        return;
    showSegments();
    sampleSpeeds(now);
    refresh(now);
}

void InfoPage::refresh(TimePoint now) {
    if (!m_job)
        return;
    showSegments();
    showSpeed(now);
    showFacts();
}

void InfoPage::showSegments() {
    if (auto segments = m_job->segments())
        m_segments = std::move(segments);
    m_bar->setSegments(m_segments.value_or(SegmentsSnapshot{}), m_job->percentComplete());
}

void InfoPage::showSpeed(TimePoint now) {
    constexpr Seconds betweenSamples{0.9};
    const bool runs = m_job->currentState() == rf_state_running;
    m_curve->setVisible(runs || m_job->currentState() == rf_state_paused);
    if (now - m_lastSample < betweenSamples)
        return;
    m_lastSample = now;
    m_curve->add(now, m_job->bytesPerSecond());
    sampleSpeeds(now);
}

/// As often as a person can read them.
void InfoPage::sampleSpeeds(TimePoint now) {
    const auto connections = m_segments ? inOrder(m_segments->connections) : std::vector<ConnectionSpan>();
    m_eachConnection = connectionsText(connections, m_speeds.look(now, connections));
}

void InfoPage::showFacts() {
    const auto facts = infoFacts(*m_job, m_segments, m_eachConnection);
    for (std::size_t i = 0; i < facts.size(); ++i) {
        if (i == m_fields.size())
            m_fields.push_back(addField(facts[i].labelKey));
        QLabel* field = m_fields[i];
        const QString words = QString::fromStdString(facts[i].text);
        if (field->text() == words || field->hasSelectedText()) // which a new text would take away
            continue;
        field->setText(words);
    }
    for (QLabel* field : m_fields)
        m_form->setRowVisible(field, !field->text().isEmpty());
}

void InfoPage::copyAll() const {
    QStringList lines;
    for (QLabel* field : m_fields)
        if (!field->text().isEmpty())
            lines += field->accessibleName() + QStringLiteral(": ") + field->text();
    QGuiApplication::clipboard()->setText(lines.join(u'\n'));
}

} // namespace tarvo
