// What is known of a download: the drawing of its segments, its speed and its facts.
#pragma once

#include <string_view>
#include <vector>

#include <QFormLayout>
#include <QLabel>
#include <QWidget>

#include "rows/ConnectionSpeeds.h"
#include "rows/InfoFacts.h"
#include "ui/SegmentBar.h"
#include "ui/SpeedCurve.h"

namespace tarvo {

/// Main thread.
class InfoPage final : public QWidget {
    Q_OBJECT

public:
    explicit InfoPage(QWidget* parent = nullptr);

    /// Begins anew with the job; null for none.
    void setJob(const std::shared_ptr<RemoteFile>& job, TimePoint now);

    /// Goes on with what stands in for the job.
    void replaceJob(const std::shared_ptr<RemoteFile>& job) { m_job = job; }

    /// Shows the job as it is. To be called some times a second while it changes.
    void refresh(TimePoint now);

private:
    void showSegments();
    void showSpeed(TimePoint now);
    void sampleSpeeds(TimePoint now);
    void showFacts();
    QLabel* addField(std::string_view labelKey);
    void copyAll() const;

    std::shared_ptr<RemoteFile> m_job;
    std::optional<SegmentsSnapshot> m_segments; // as they were when they could last be seen
    TimePoint m_lastSample{};
    ConnectionSpeeds m_speeds;
    std::string m_eachConnection; // what was last told of it
    SegmentBar* m_bar;
    SpeedCurve* m_curve;
    QFormLayout* m_form;
    std::vector<QLabel*> m_fields; // in the order of the facts
};

} // namespace tarvo
