// What takes the window's place where there is none: the queue itself.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "app/MainWindow.h"
#include "queue/QueueController.h"

namespace tarvo {

/// Main thread. Addresses go into the folder and over the connections that the settings name, without a
/// question.
class WindowlessMain final : public MainWindow {
public:
    /// All but `homeFolder` outlive it.
    WindowlessMain(QueueController& queue, const JobEnvironment& environment, std::string homeFolder,
                   AlertPresenter& alerts)
        : m_queue(queue), m_environment(environment), m_homeFolder(std::move(homeFolder)), m_alerts(alerts) {}

    std::vector<AddOutcome> addDownloadFromString(const std::string& text) override;
    AddOutcome addDownloadFromBundleFile(const std::string& bundle) override;
    bool acceptDrop(const Pasteboard& pasteboard) override;

    void whenKept(std::function<void(bool kept)> done) override { m_queue.whenKept(std::move(done)); }

    void toggleAutorun() override { m_queue.toggleAutorun(); }

    void bringToFront() override {}

private:
    QueueController& m_queue;
    const JobEnvironment& m_environment;
    const std::string m_homeFolder;
    AlertPresenter& m_alerts;
};

} // namespace tarvo
