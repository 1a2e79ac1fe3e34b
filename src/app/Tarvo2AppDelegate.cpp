#include "app/Tarvo2AppDelegate.h"

#include <filesystem>

#include "app/LaunchArgumentsProcessor.h"
#include "base/Log.h"
#include "base/SettingKeys.h"
#include "base/Url.h"
#include "input/APIDispatch.h"

namespace tarvo {

Tarvo2AppDelegate::Tarvo2AppDelegate(Environment environment)
    : m_environment(std::move(environment)),
      m_startupErrorTracker(m_environment.defaults, m_environment.alerts, m_environment.emailSupport),
      m_appModeManager(m_environment.defaults, m_environment.settings, m_environment.notifications,
                       m_environment.presence),
      m_metrics(m_environment.defaults) {
}

Tarvo2AppDelegate::~Tarvo2AppDelegate() = default;

void Tarvo2AppDelegate::applicationWillFinishLaunching() {
    m_startupErrorTracker.beginGuard();
    LaunchArgumentsProcessor(m_environment.defaults).processLaunchArguments(m_environment.arguments);
    m_environment.setUpLogging();
    m_addCalls = m_environment.notifications.observe(APIDispatch::notificationNameForAction("add"),
                                                     [this](const Notification& call) { onAddAction(call); });
    Settings::registerDefaults(m_environment.defaults, m_environment.homeFolder);
    m_appModeManager.applicationDidFinishLaunching();
}

void Tarvo2AppDelegate::applicationDidFinishLaunching() {
    m_environment.startCrashReporting();
    const std::string folder = m_environment.defaults.data(SettingKey::kDefaultDirectoryBookmark);
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

void Tarvo2AppDelegate::reopen() {
    showMainWindow();
}

void Tarvo2AppDelegate::open(const std::vector<std::string>& what) {
    std::string links;
    for (const auto& text : what) {
        const auto url = text.starts_with("file:") ? Url::parse(text) : std::nullopt;
        if (url || text.starts_with('/'))
            openFile(url ? url->localPath() : text);
        else if (text.starts_with("http://") || text.starts_with("https://") || text.starts_with("ftp://"))
            links += text + "\n";
        else
            getUrl(text);
    }
    if (!links.empty())
        addStringToTarvo(links);
}

void Tarvo2AppDelegate::getUrl(const std::string& text) {
    const auto taken = tarvo::getUrl(text, m_environment.notifications,
                                     [this](const std::string& link) { addStringToTarvo(link); });
    if (!taken)
        m_environment.alerts.presentError(taken.error());
}

void Tarvo2AppDelegate::onAddAction(const Notification& call) {
    if (const auto* payload = call.info<QJsonValue>(APIDispatch::kPayloadKey))
        addStringToTarvo(linksTextOfAddPayload(*payload));
    m_metrics.incrementAndGet(Metric::kBrowserExtAdds);
}

void Tarvo2AppDelegate::addStringToTarvo(const std::string& text) {
    m_pendingAdds.push_back([this, text] { m_mainWindow->addDownloadFromString(text); });
    consumePendingAddsIfPossible();
}

void Tarvo2AppDelegate::addBundleFileToTarvo(const std::string& bundle) {
    m_pendingAdds.push_back([this, bundle] { m_mainWindow->addDownloadFromBundleFile(bundle); });
    consumePendingAddsIfPossible();
}

bool Tarvo2AppDelegate::acceptDrop(const Pasteboard& pasteboard) {
    Log::warning("Accept drop with pboard");
    if (m_mainWindow) {
        Log::info("Immediate add");
        const bool taken = m_mainWindow->acceptDrop(pasteboard);
        if (taken)
            m_metrics.incrementAndGet(Metric::kDragAndDrops);
        return taken;
    }
    Log::info("Delay add");
    m_pendingAdds.push_back([this, pasteboard] { acceptDrop(pasteboard); });
    return true;
}

void Tarvo2AppDelegate::consumePendingAddsIfPossible() {
    if (!m_mainWindow) {
        Log::verbose("Main Window Controller does not exist yet. Pending: {} adds", m_pendingAdds.size());
        return;
    }
    Log::info("MWC exists, consume pending adds");
    m_mainWindow->bringToFront();
    while (!m_pendingAdds.empty()) {
        Log::verbose("Executing a pending add...");
        const auto add = std::move(m_pendingAdds.front());
        m_pendingAdds.pop_front(); // first: an addition may bring others
        add();
    }
}

void Tarvo2AppDelegate::toggleAutorun() {
    if (m_mainWindow)
        m_mainWindow->toggleAutorun();
}

void Tarvo2AppDelegate::showMainWindow() {
    if (m_mainWindow)
        m_mainWindow->bringToFront();
}

} // namespace tarvo
