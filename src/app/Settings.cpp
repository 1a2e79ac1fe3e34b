// The table, its registration, and the range checks.
#include "app/Settings.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "base/Log.h"
#include "base/SettingKeys.h"

namespace tarvo {

namespace {

constexpr std::int64_t kMostConnections = 64;

QVariant ofNumber(std::int64_t value) {
    return QVariant::fromValue<qlonglong>(value);
}

QVariant ofText(const char* value) {
    return QString::fromUtf8(value);
}

std::vector<Setting> makeTable() {
    using namespace SettingKey;
    using enum SettingType;
    return {
        {kApplicationMode, text, ofText("Dock and Menu Bar"),
         "where the program shows itself: \"Dock Only\", \"Menu Bar Only\" or \"Dock and Menu Bar\""},
        {kAutoClearCompleted, boolean, false,
         "finished downloads leave the list by themselves; the default is true with --headless"},
        {kAutoPasteInAddSheet, boolean, false, "the add sheet fills itself from the clipboard"},
        {kAutoQuitWhenTransfersComplete, boolean, false, "quit when all downloads are finished"},
        {kAutoStartAfterAdd, boolean, false, "start the queue when downloads are added"},
        {kCustomUserAgent, text, ofText("com.unregistered.Tarvo"),
         "what requests say about the program; the built-in browser replaces the default by an agent of its "
         "own"},
        {kDebugModeEnabled, boolean, false, "log everything, and show the log in a window"},
        {kDefaultConcurrency, integer, ofNumber(1), "downloads at once; below 1 counts as 1"},
        {kDefaultDirectory, text, ofText("~/Downloads"), "folder for new downloads"},
        {kDefaultDirectoryBookmark, bytes, {}, "absolute path of the download folder that was chosen"},
        {kDefaultThreading, integer, ofNumber(10), "connections of a new download, 1 to 64"},
        {kHasStartupCrash, boolean, {}, "the last start has not reached its end"},
        {kMetrics, counters, QVariantMap(), "usage counters by name"},
        {kMinimumChunkSize, integer, ofNumber(1024), "bytes of the smallest segment; below 1 counts as 1"},
        {kNeverRemindMeToRateThisAwesomeApp, boolean, true, "don't ask for a rating"},
        {kProxyUrl, text, ofText(""), "proxy of all transfers; empty for none"},
        {kSavedQueueLinks, bytes, {}, "the queue's addresses and their order as they were last saved"},
        {kSavedQueueSession, bytes, {}, "the queue as it was last saved"},
        {kShowDockProgress, boolean, true, "the launcher icon shows the progress"},
        {kShowDockSpeed, boolean, false, "the launcher icon shows the speed"},
        {kSkipAddSheetForNewDownloads, boolean, false, "add addresses without showing the add sheet"},
        {kSSHDirectoryBookmark, bytes, QByteArray(),
         "absolute path of the folder with the SSH keys; empty for ~/.ssh"},
    };
}

/// `path` with a leading "~" replaced by the home folder.
std::string expanded(const std::string& path, const std::string& homeFolder) {
    const bool atHome = path == "~" || path.starts_with("~/");
    return atHome ? homeFolder + path.substr(1) : path;
}

QVariant defaultOf(std::string_view key) {
    const auto& rows = Settings::table();
    const auto row =
        std::find_if(rows.begin(), rows.end(), [&](const Setting& each) { return each.key == key; });
    return row == rows.end() ? QVariant() : row->defaultValue;
}

} // namespace

const std::vector<Setting>& Settings::table() {
    static const std::vector<Setting> rows = makeTable();
    return rows;
}

void Settings::registerDefaults(UserDefaults& defaults, const std::string& homeFolder) {
    UserDefaults::Values values;
    for (const Setting& row : table()) {
        if (!row.defaultValue.isValid())
            continue;
        QVariant value = row.defaultValue;
        if (row.type == SettingType::text)
            value = QString::fromStdString(expanded(value.toString().toStdString(), homeFolder));
        values[std::string(row.key)] = value;
    }
    defaults.registerDefaults(values);
}

std::set<std::string> Settings::ownKeys() {
    using namespace SettingKey;
    return {std::string(kHasStartupCrash),   std::string(kMetrics),
            std::string(kSavedQueueLinks),   std::string(kSavedQueueLinksUnreadable),
            std::string(kSavedQueueSession), std::string(kSavedQueueSessionUnreadable)};
}

Settings::Settings(const UserDefaults& defaults, std::string homeFolder)
    : m_defaults(defaults), m_homeFolder(std::move(homeFolder)) {
}

std::int64_t Settings::defaultConcurrency() const {
    return integerWithin(SettingKey::kDefaultConcurrency, 1, std::numeric_limits<std::int64_t>::max());
}

std::int64_t Settings::defaultThreading() const {
    return integerWithin(SettingKey::kDefaultThreading, 1, kMostConnections);
}

std::int64_t Settings::minimumChunkSize() const {
    return integerWithin(SettingKey::kMinimumChunkSize, 1, std::numeric_limits<std::int64_t>::max());
}

std::string Settings::defaultDirectory() const {
    const std::string key(SettingKey::kDefaultDirectory);
    std::string path = expanded(m_defaults.string(key).value_or(""), m_homeFolder);
    if (path.starts_with('/'))
        return path;
    std::string usual = expanded(defaultOf(key).toString().toStdString(), m_homeFolder);
    warnOnce(key, usual);
    return usual;
}

ApplicationMode Settings::applicationMode() const {
    const auto mode = m_defaults.string(SettingKey::kApplicationMode);
    if (mode == "Dock Only")
        return ApplicationMode::dockOnly;
    if (mode == "Menu Bar Only")
        return ApplicationMode::menuBarOnly;
    if (mode != "Dock and Menu Bar")
        warnOnce(SettingKey::kApplicationMode, "Dock and Menu Bar");
    return ApplicationMode::dockAndMenuBar;
}

std::int64_t Settings::integerWithin(std::string_view key, std::int64_t least, std::int64_t most) const {
    const std::int64_t stored = m_defaults.integer(key);
    const std::int64_t used = std::clamp(stored, least, most);
    if (stored != used)
        warnOnce(key, std::to_string(used));
    return used;
}

void Settings::warnOnce(std::string_view key, std::string_view used) const {
    const std::string stored = m_defaults.string(key).value_or("");
    auto warned = m_warned.lock();
    const auto [last, isFirst] = warned->try_emplace(std::string(key), stored);
    if (isFirst || std::exchange(last->second, stored) != stored)
        Log::warning("The setting {} has no usable value; \"{}\" is used", key, used);
}

} // namespace tarvo
