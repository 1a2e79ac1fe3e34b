// The port to what the user sees and answers: a window with all that belongs to it, or what stands in for
// one.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/ApplicationPresence.h"
#include "app/MainWindow.h"
#include "app/TRLoggingManager.h"
#include "jobs/AuthenticationPrompt.h"
#include "queue/AlertPresenter.h"
#include "queue/AutomaticTermination.h"
#include "queue/PageOpener.h"
#include "queue/QueueController.h"

namespace tarvo {

/// Main thread. Made before anything else can have a question, and lives longer than the queue.
class UserInterface {
public:
    virtual ~UserInterface() = default;

    virtual AlertPresenter& alerts() = 0;
    virtual ApplicationPresence& presence() = 0;
    virtual PageOpener& pages() = 0;
    virtual AutomaticTermination& automaticTermination() = 0;

    /// Null where passwords can't be asked for.
    virtual AuthenticationPrompt* passwordPrompt() = 0;

    /// Whether a window of the program can be seen: then fewer notices are needed.
    virtual bool isWindowVisible() const = 0;

    /// The start goes on in this order. The log file has begun; here it may go elsewhere, too.
    virtual void didSetUpLogging(TRLoggingManager& logging) = 0;

    /// The usual defaults are registered; here some may be others.
    virtual void registerDefaults(UserDefaults& defaults) = 0;

    /// The saved session is restored into `queue`, which outlives the answer, as `jobs` does.
    virtual std::unique_ptr<MainWindow> makeMainWindow(QueueController& queue,
                                                       const JobEnvironment& jobs) = 0;

    /// What notices about finished files may do with them.
    virtual FileActions fileActions() { return {}; }

    /// The next time that the window is brought to the front, it is with this token, which the desktop gave
    /// to the program that asks for it (XDG Activation, Startup Notification).
    virtual void setActivationToken(const std::string& token) = 0;

    /// In debug mode: shows the log files, newest first.
    virtual void showLog(const std::vector<std::string>& logFiles) = 0;

    /// The user wants to write to the makers about a start that has failed.
    virtual void emailSupport() = 0;
};

} // namespace tarvo
