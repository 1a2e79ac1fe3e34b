// What takes the window's place where there is none: the queue itself.
#pragma once

#include "app/MainWindow.h"
#include "app/Settings.h"
#include "queue/QueueController.h"

namespace tarvo {

/// Main thread. Addresses go into the folder and over the connections that the settings name, without a
/// question; what was not taken is told by the port for alerts.
class WindowlessMain final : public MainWindow {
public:
    /// All of them outlive it.
    WindowlessMain(QueueController& queue, const JobEnvironment& environment, const Settings& settings,
                   AlertPresenter& alerts)
        : m_queue(queue), m_environment(environment), m_settings(settings), m_alerts(alerts) {}

    void addDownloadFromString(const std::string& text) override;
    void addDownloadFromBundleFile(const std::string& bundle) override;
    bool acceptDrop(const Pasteboard& pasteboard) override;

    void toggleAutorun() override { m_queue.toggleAutorun(); }

    void bringToFront() override {}

private:
    QueueController& m_queue;
    const JobEnvironment& m_environment;
    const Settings& m_settings;
    AlertPresenter& m_alerts;
};

} // namespace tarvo
