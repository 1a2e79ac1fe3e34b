#include "base/Settings.h"

#include <algorithm>
#include <limits>

#include "base/SettingKeys.h"

namespace tarvo {

namespace {

constexpr std::int64_t kNoLimit = std::numeric_limits<std::int64_t>::max();

std::string withHomeFolder(const std::string& path, const std::string& homeFolder) {
    const bool isAtHome = path == "~" || path.starts_with("~/");
    return isAtHome ? homeFolder + path.substr(1) : path;
}

} // namespace

std::int64_t Settings::defaultConcurrency() const {
    return integerWithin(SettingKey::kDefaultConcurrency, 1, kNoLimit);
}

std::int64_t Settings::defaultThreading() const {
    return integerWithin(SettingKey::kDefaultThreading, 1, kMostConnections);
}

std::int64_t Settings::maxConnectionsPerHost() const {
    return integerWithin(SettingKey::kMaxConnectionsPerHost, 1, kMostConnectionsPerHost);
}

std::int64_t Settings::minimumChunkSize() const {
    return integerWithin(SettingKey::kMinimumChunkSize, 1, kNoLimit);
}

std::int64_t Settings::speedLimit() const {
    return integerWithin(SettingKey::kSpeedLimit, 0, kNoLimit);
}

std::int64_t Settings::preparationConcurrency() const {
    return integerWithin(SettingKey::kPreparationConcurrency, 1, kMostPreparations);
}

ApplicationMode Settings::applicationMode() const {
    const auto mode = m_defaults.string(SettingKey::kApplicationMode);
    if (mode == "Dock Only")
        return ApplicationMode::dockOnly;
    if (mode == "Menu Bar Only")
        return ApplicationMode::menuBarOnly;
    if (mode != "Dock and Menu Bar")
        m_defaults.nameUnusable(SettingKey::kApplicationMode, "Dock and Menu Bar");
    return ApplicationMode::dockAndMenuBar;
}

ClosingMeans Settings::closingMeans() const {
    const auto means = m_defaults.string(SettingKey::kClosingMeans);
    if (means == "Quit")
        return ClosingMeans::quit;
    if (means == "Background")
        return ClosingMeans::background;
    if (means != "Ask")
        m_defaults.nameUnusable(SettingKey::kClosingMeans, "Ask");
    return ClosingMeans::ask;
}

std::string Settings::defaultDirectory(const std::string& homeFolder) const {
    const auto set = m_defaults.string(SettingKey::kDefaultDirectory);
    std::string path = withHomeFolder(set.value_or(""), homeFolder);
    if (path.starts_with('/'))
        return path;
    std::string usual = withHomeFolder(kUsualDownloadFolder, homeFolder);
    m_defaults.nameUnusable(SettingKey::kDefaultDirectory, usual);
    return usual;
}

std::string Settings::defaultDirectoryBookmark() const {
    return m_defaults.data(SettingKey::kDefaultDirectoryBookmark);
}

std::string Settings::sshDirectoryBookmark() const {
    return m_defaults.data(SettingKey::kSSHDirectoryBookmark);
}

std::optional<std::string> Settings::customUserAgent() const {
    return m_defaults.string(SettingKey::kCustomUserAgent);
}

std::string Settings::hintsSwitchedOff() const {
    return m_defaults.string(SettingKey::kHintsSwitchedOff).value_or("");
}

bool Settings::autoClearCompleted() const {
    return m_defaults.boolean(SettingKey::kAutoClearCompleted);
}

bool Settings::autoPasteInAddSheet() const {
    return m_defaults.boolean(SettingKey::kAutoPasteInAddSheet);
}

bool Settings::autoQuitWhenTransfersComplete() const {
    return m_defaults.boolean(SettingKey::kAutoQuitWhenTransfersComplete);
}

bool Settings::autoStartAfterAdd() const {
    return m_defaults.boolean(SettingKey::kAutoStartAfterAdd);
}

bool Settings::isDebugModeEnabled() const {
    return m_defaults.boolean(SettingKey::kDebugModeEnabled);
}

bool Settings::showDockProgress() const {
    return m_defaults.boolean(SettingKey::kShowDockProgress);
}

bool Settings::showDockSpeed() const {
    return m_defaults.boolean(SettingKey::kShowDockSpeed);
}

bool Settings::skipAddSheetForNewDownloads() const {
    return m_defaults.boolean(SettingKey::kSkipAddSheetForNewDownloads);
}

std::int64_t Settings::integerWithin(std::string_view key, std::int64_t least, std::int64_t most) const {
    const std::int64_t stored = m_defaults.integer(key);
    const std::int64_t used = std::clamp(stored, least, most);
    if (stored != used)
        m_defaults.nameUnusable(key, std::to_string(used));
    return used;
}

} // namespace tarvo
