#include "rows/Preferences.h"

#include <limits>

#include "base/Runloop.h"
#include "base/SettingKeys.h"
#include "base/Settings.h"
#include "base/Text.h"
#include "engine/transfer/ProxyUrlProvider.h"

namespace tarvo {

namespace {

constexpr const char* kDockOnly = "Dock Only";                       // not translated: a stored value
constexpr std::string_view kOwnUserAgent = "com.unregistered.Tarvo"; // what is sent where nothing is set

std::vector<Preference::Choice> modes() {
    return {{"Dock and Menu Bar", "tr.preferences.mode-both"}, // not translated: a stored value
            {kDockOnly, "tr.preferences.mode-window"},
            {"Menu Bar Only", "tr.preferences.mode-tray"}}; // not translated: a stored value
}

std::vector<Preference::Choice> meaningsOfClosing() {
    return {{"Ask", "tr.preferences.closing-ask"},
            {"Background", "tr.preferences.closing-background"},
            {"Quit", "tr.preferences.closing-quit"}};
}

std::vector<Preference> makeTable() {
    using namespace SettingKey;
    using enum Preference::Kind;
    using enum Preference::Pane;
    constexpr int kMostAtOnce = 256;
    constexpr int kLargestChunk = 1 << 30;
    constexpr std::pair kConnections{1, static_cast<int>(kMostConnections)};
    constexpr std::pair kPreparations{1, static_cast<int>(kMostPreparations)};
    constexpr std::pair kHostConnections{1, static_cast<int>(kMostConnectionsPerHost)};
    constexpr std::pair kSpeeds{0, std::numeric_limits<int>::max()};
    return {
        {general, folder, kDefaultDirectory, "tr.preferences.folder"},
        {general, number, kDefaultConcurrency, "tr.preferences.concurrency", {}, {1, kMostAtOnce}},
        {general, toggle, kAutoStartAfterAdd, "tr.preferences.auto-start"},
        {general, toggle, kSkipAddSheetForNewDownloads, "tr.preferences.skip-sheet"},
        {general, toggle, kAutoPasteInAddSheet, "tr.preferences.auto-paste"},
        {general, toggle, kAutoClearCompleted, "tr.preferences.auto-clear"},
        {advanced, number, kDefaultThreading, "tr.preferences.connections", {}, kConnections},
        {advanced, number, kPreparationConcurrency, "tr.preferences.preparations", {}, kPreparations},
        {advanced, number, kMaxConnectionsPerHost, "tr.preferences.host-connections", {}, kHostConnections},
        {advanced, number, kMinimumChunkSize, "tr.preferences.chunk", {}, {1, kLargestChunk}},
        {advanced, number, kSpeedLimit, "tr.preferences.speed-limit", "tr.preferences.speed-limit-hint",
         kSpeeds},
        {advanced, text, kProxyUrl, "tr.preferences.proxy", "tr.preferences.proxy-hint"},
        {advanced, text, kCustomUserAgent, "tr.preferences.agent", "tr.preferences.agent-hint"},
        {advanced, folder, kSSHDirectoryBookmark, "tr.preferences.ssh"},
        {advanced, toggle, kDebugModeEnabled, "tr.preferences.debug", "tr.preferences.debug-hint"},
        {app, choice, kApplicationMode, "tr.preferences.mode", {}, {}, modes()},
        {app, choice, kClosingMeans, "tr.preferences.closing", {}, {}, meaningsOfClosing()},
        {app, toggle, kShowDockProgress, "tr.preferences.progress"},
        {app, toggle, kShowDockSpeed, "tr.preferences.speed"},
        {app, toggle, kAutoQuitWhenTransfersComplete, "tr.preferences.auto-quit",
         "tr.preferences.auto-quit-hint"},
        {app, reset, kHintsSwitchedOff, "tr.preferences.hints"},
    };
}

Result<void> storeFolder(UserDefaults& defaults, std::string_view key, const QByteArray& path) {
    const bool isNone = path.isEmpty() && key == SettingKey::kSSHDirectoryBookmark;
    if (!isNone && !path.startsWith('/'))
        return failure(Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.folder.not-absolute"));
    if (key == SettingKey::kDefaultDirectory) {
        defaults.set(key, QString::fromUtf8(path));
        key = SettingKey::kDefaultDirectoryBookmark;
    }
    defaults.set(key, path);
    return {};
}

Result<void> storeText(UserDefaults& defaults, std::string_view key, const QString& value) {
    const QString trimmedText = value.trimmed();
    if (key == SettingKey::kProxyUrl) {
        if (const auto proxy = ProxyUrlProvider::parse(trimmedText.toStdString()); !proxy)
            return failure(proxy.error());
    }
    if (key == SettingKey::kCustomUserAgent && trimmedText.isEmpty())
        defaults.remove(key);
    else
        defaults.set(key, trimmedText);
    return {};
}

} // namespace

const std::vector<Preference>& preferences() {
    static const std::vector<Preference> rows = makeTable();
    return rows;
}

Result<void> storePreference(UserDefaults& defaults, std::string_view key, const QVariant& value) {
    Runloop::assertMain();
    if (value.typeId() == QMetaType::QByteArray)
        return storeFolder(defaults, key, value.toByteArray());
    if (value.typeId() == QMetaType::QString)
        return storeText(defaults, key, value.toString());
    defaults.set(key, value);
    if (key == SettingKey::kAutoQuitWhenTransfersComplete && value.toBool())
        defaults.set(SettingKey::kApplicationMode, QString::fromLatin1(kDockOnly));
    return {};
}

QVariant shownPreference(const UserDefaults& defaults, const Preference& preference,
                         const std::string& homeFolder) {
    const std::string_view key = preference.key;
    switch (preference.kind) {
    case Preference::Kind::toggle:
        return defaults.boolean(key);
    case Preference::Kind::number:
        return QVariant::fromValue<qlonglong>(defaults.integer(key));
    case Preference::Kind::folder:
        return QByteArray::fromStdString(key == SettingKey::kDefaultDirectory
                                             ? Settings(defaults).defaultDirectory(homeFolder)
                                             : defaults.data(key));
    case Preference::Kind::choice:
    case Preference::Kind::text:
    case Preference::Kind::reset:
        break;
    }
    const std::string stored = defaults.string(key).value_or("");
    const bool isMarker = key == SettingKey::kCustomUserAgent && stored == kOwnUserAgent;
    return isMarker ? QString() : QString::fromStdString(stored);
}

} // namespace tarvo
