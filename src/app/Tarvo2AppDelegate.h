// Brings the program up in its fixed order, and takes what it is handed, also before it is ready for it.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/Allowance.h"
#include "app/ApplicationModeManager.h"
#include "app/MainWindow.h"
#include "app/StartupErrorTracker.h"
#include "app/TRMetricsManager.h"
#include "base/NotificationCenter.h"

namespace tarvo {

/// Main thread. Additions that come before there is a main window wait for it, in their order, also while the
/// start asks a question; they are refused when the program ends instead. More than
/// kMostInAMinute, which only a flood brings, are refused, from whatever side they come.
class Tarvo2AppDelegate {
public:
    static constexpr std::size_t kMostInAMinute = 10'000;

    /// Everything referred to outlives the delegate.
    struct Environment {
        std::vector<std::string> arguments; ///< of the process, without its name
        UserDefaults& defaults;
        NotificationCenter& notifications;
        const Clock& clock;
        AlertPresenter& alerts;
        ApplicationPresence& presence;
        std::function<void()> setUpLogging;
        std::function<void()> emailSupport;
        std::function<void()> startCrashReporting;
        /// Restores the saved session on the way.
        std::function<std::unique_ptr<MainWindow>()> makeMainWindow;
    };

    explicit Tarvo2AppDelegate(Environment environment);
    ~Tarvo2AppDelegate();

    void applicationWillFinishLaunching();
    void applicationDidFinishLaunching();

    /// The program ends: what waits for a main window is refused, and so is all that comes until there is
    /// none.
    void refuseAdds();

    /// The program was asked for while it runs.
    void reopen();

    /// Is told what became of something that was added, once that is known. Where no caller is to be told,
    /// what was not taken is presented to the user. After open(), what was taken is kept by then: it is there
    /// after the next start, however the program ends.
    using Told = std::function<void(const std::vector<AddOutcome>& outcomes)>;

    /// What the program was started with or is handed while it runs: addresses, API calls, and unfinished
    /// downloads by path or file URL. One outcome for each, in their order.
    void open(const std::vector<std::string>& what, const Told& told = {});

    /// An unfinished download, by its path.
    void openFile(const std::string& bundle) { addBundleFileToTarvo(bundle); }

    /// An address that was opened with this program: an API call, or one of sftp.
    void getUrl(const std::string& text, const Told& told = {});

    void addStringToTarvo(const std::string& text, const Told& told = {});
    void addBundleFileToTarvo(const std::string& bundle, const Told& told = {});

    /// Answers at once that it was taken when there is no main window yet that could look at it.
    bool acceptDrop(const Pasteboard& pasteboard);

    void toggleAutorun();
    void showMainWindow();
    void consumePendingAddsIfPossible();

private:
    void onAddAction(const Notification& call);
    void tell(const std::vector<AddOutcome>& outcomes, const Told& told);
    void tellWhenKept(const std::vector<AddOutcome>& outcomes, const Told& told);
    bool isTooMuch(std::size_t count, const Told& told);

    const Environment m_environment;
    StartupErrorTracker m_startupErrorTracker;
    ApplicationModeManager m_appModeManager;
    TRMetricsManager m_metrics;
    std::deque<std::function<void()>> m_pendingAdds;
    std::unique_ptr<MainWindow> m_mainWindow;
    bool m_refusesAdds = false; // there will be no main window any more
    Allowance m_allowance;
    Told m_toldOfCall; // while an API call is dispatched
    NotificationCenter::Observation m_addCalls;
};

} // namespace tarvo
