#include "app/Tarvo2AppDelegate.h"

#include <algorithm>
#include <filesystem>

#include "app/AddFailures.h"
#include "app/LaunchArgumentsProcessor.h"
#include "app/SettingsTable.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "base/Settings.h"
#include "base/Url.h"
#include "input/APIDispatch.h"
#include "input/TRStringURL.h"
#include "queue/QueueController.h"

namespace tarvo {

namespace {

/// Of a path or a file URL.
std::optional<std::string> localPath(const std::string& text) {
    if (text.starts_with('/'))
        return text;
    const auto url = text.starts_with("file:") ? Url::parse(text) : std::nullopt;
    return url ? std::optional(url->localPath()) : std::nullopt;
}

AddOutcome refusedAtTheEnd() {
    return AddOutcome::refusal(programEnds());
}

bool isWebAddress(const std::string& text) {
    return text.starts_with("http://") || text.starts_with("https://") || text.starts_with("ftp://");
}

} // namespace

Tarvo2AppDelegate::Tarvo2AppDelegate(Environment environment)
    : m_environment(std::move(environment)),
      m_startupErrorTracker(m_environment.defaults, m_environment.alerts, m_environment.emailSupport),
      m_appModeManager(m_environment.defaults, m_environment.notifications, m_environment.presence),
      m_metrics(m_environment.defaults), m_allowance(kMostInAMinute, Seconds(60)),
      // From the first moment on: the question that the start may ask lets calls in.
      m_addCalls(
          m_environment.notifications.observe(APIDispatch::notificationNameForAction("add"),
                                              [this](const Notification& call) { onAddAction(call); })) {
}

Tarvo2AppDelegate::~Tarvo2AppDelegate() = default;

void Tarvo2AppDelegate::applicationWillFinishLaunching() {
    Runloop::assertMain();
    m_startupErrorTracker.beginGuard();
    LaunchArgumentsProcessor(m_environment.defaults).processLaunchArguments(m_environment.arguments);
    m_environment.setUpLogging();
    registerDefaultSettings(m_environment.defaults);
    m_appModeManager.applicationDidFinishLaunching();
}

void Tarvo2AppDelegate::applicationDidFinishLaunching() {
    Runloop::assertMain();
    m_environment.startCrashReporting();
    const std::string folder = Settings(m_environment.defaults).defaultDirectoryBookmark();
    if (folder.empty())
        Log::warning("Bookmark hasn't been set");
    else if (std::error_code problem; !std::filesystem::is_directory(folder, problem))
        Log::warning("The download folder {} is not there", folder);
    m_mainWindow = m_environment.makeMainWindow();
    showMainWindow();
    consumePendingAddsIfPossible();
    m_metrics.incrementAndGet(Metric::kAppLaunches);
    m_startupErrorTracker.lowerGuard();
}

void Tarvo2AppDelegate::refuseAdds() {
    Runloop::assertMain();
    m_refusesAdds = true;
    consumePendingAddsIfPossible();
}

void Tarvo2AppDelegate::reopen() {
    Runloop::assertMain();
    showMainWindow();
}

void Tarvo2AppDelegate::open(const std::vector<std::string>& what, const Told& told) {
    Runloop::assertMain();
    const auto outcomes =
        std::make_shared<std::vector<AddOutcome>>(what.size(), AddOutcome{AddOutcome::Kind::noLink});
    std::string links;               // added in one go: the queue is a list of thousands
    std::vector<std::size_t> places; // of the links among all
    for (std::size_t i = 0; i < what.size(); ++i) {
        const std::string& text = what[i];
        const Told toldOfIt = [outcomes, i](const std::vector<AddOutcome>& all) {
            (*outcomes)[i] = AddOutcome::ofAll(all);
        };
        if (const auto bundle = localPath(text)) {
            addBundleFileToTarvo(*bundle, toldOfIt);
        } else if (!isWebAddress(text)) {
            getUrl(text, toldOfIt);
        } else if (hasControlCharacter(text)) {
            toldOfIt({AddOutcome::refusal(badApiCall())});
        } else {
            links += text + "\n";
            places.push_back(i);
        }
    }
    if (!links.empty())
        addStringToTarvo(links, [outcomes, places](const std::vector<AddOutcome>& all) {
            for (std::size_t i = 0; i < std::min(places.size(), all.size()); ++i)
                (*outcomes)[places[i]] = all[i];
        });
    m_pendingAdds.push_back([this, outcomes, told] { tellWhenKept(*outcomes, told); }); // behind all of them
    consumePendingAddsIfPossible();
}

void Tarvo2AppDelegate::getUrl(const std::string& text, const Told& told) {
    Runloop::assertMain();
    m_toldOfCall = told;
    const auto taken = tarvo::getUrl(text, m_environment.notifications,
                                     [&](const std::string& link) { addStringToTarvo(link, told); });
    m_toldOfCall = nullptr;
    if (!taken)
        tell({AddOutcome::refusal(taken.error())}, told);
}

void Tarvo2AppDelegate::onAddAction(const Notification& call) {
    if (const auto* payload = call.info<QJsonValue>(APIDispatch::kPayloadKey))
        addStringToTarvo(linksTextOfAddPayload(*payload), m_toldOfCall);
    m_metrics.incrementAndGet(Metric::kBrowserExtAdds);
}

void Tarvo2AppDelegate::tell(const std::vector<AddOutcome>& outcomes, const Told& told) {
    if (told)
        told(outcomes);
    else
        presentFailures(outcomes, m_environment.alerts);
}

void Tarvo2AppDelegate::tellWhenKept(const std::vector<AddOutcome>& outcomes, const Told& told) {
    const bool isAnyIn = std::any_of(outcomes.begin(), outcomes.end(),
                                     [](const AddOutcome& outcome) { return outcome.isFulfilled(); });
    if (!told || !isAnyIn || !m_mainWindow)
        return tell(outcomes, told);
    m_mainWindow->whenKept([told, outcomes](bool kept) {
        auto known = outcomes;
        for (auto& outcome : known) {
            if (!kept && outcome.isFulfilled())
                outcome = AddOutcome::refusal(Error::localized(
                    ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.not-kept", "tr.err.not-kept-recovery"));
        }
        told(known);
    });
}

bool Tarvo2AppDelegate::isTooMuch(std::size_t count, const Told& told) {
    if (m_allowance.take(m_environment.clock.now(), count))
        return false;
    const auto refusal = AddOutcome::refusal(
        Error::tarvo(localized("tr.err.too-many-at-once", {std::to_string(kMostInAMinute)}),
                     localized("tr.err.too-many-at-once-recovery")));
    tell(std::vector<AddOutcome>(count, refusal), told);
    return true;
}

void Tarvo2AppDelegate::addStringToTarvo(const std::string& text, const Told& told) {
    Runloop::assertMain();
    if (isTooMuch(linesOf(text).size(), told))
        return;
    m_pendingAdds.push_back([this, text, told] {
        tell(m_mainWindow ? m_mainWindow->addDownloadFromString(text)
                          : std::vector<AddOutcome>(linesOf(text).size(), refusedAtTheEnd()),
             told);
    });
    consumePendingAddsIfPossible();
}

void Tarvo2AppDelegate::addBundleFileToTarvo(const std::string& bundle, const Told& told) {
    Runloop::assertMain();
    if (isTooMuch(1, told))
        return;
    m_pendingAdds.push_back([this, bundle, told] {
        tell({m_mainWindow ? m_mainWindow->addDownloadFromBundleFile(bundle) : refusedAtTheEnd()}, told);
    });
    consumePendingAddsIfPossible();
}

bool Tarvo2AppDelegate::acceptDrop(const Pasteboard& pasteboard) {
    Runloop::assertMain();
    Log::warning("Accept drop with pboard");
    if (m_mainWindow) {
        Log::info("Immediate add");
        const bool taken = m_mainWindow->acceptDrop(pasteboard);
        if (taken)
            m_metrics.incrementAndGet(Metric::kDragAndDrops);
        return taken;
    }
    Log::info("Delay add");
    m_pendingAdds.push_back([this, pasteboard] {
        if (m_mainWindow)
            acceptDrop(pasteboard);
    });
    return true;
}

void Tarvo2AppDelegate::consumePendingAddsIfPossible() {
    Runloop::assertMain();
    if (!m_mainWindow && !m_refusesAdds) {
        Log::verbose("Main Window Controller does not exist yet. Pending: {} adds", m_pendingAdds.size());
        return;
    }
    if (m_mainWindow) {
        Log::info("MWC exists, consume pending adds");
        m_mainWindow->bringToFront();
    }
    while (!m_pendingAdds.empty()) {
        Log::verbose("Executing a pending add...");
        const auto add = std::move(m_pendingAdds.front());
        m_pendingAdds.pop_front(); // first: an addition may bring others
        add();
    }
}

void Tarvo2AppDelegate::toggleAutorun() {
    Runloop::assertMain();
    if (m_mainWindow)
        m_mainWindow->toggleAutorun();
}

void Tarvo2AppDelegate::showMainWindow() {
    Runloop::assertMain();
    if (m_mainWindow)
        m_mainWindow->bringToFront();
}

} // namespace tarvo
