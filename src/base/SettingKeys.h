// The names of all settings. What each means and its default stand in the table of app/Settings.
#pragma once

#include <string_view>

namespace tarvo::SettingKey {

inline constexpr std::string_view kAddSheetDraft = "AddSheetDraft";
inline constexpr std::string_view kApplicationMode = "ApplicationMode";
inline constexpr std::string_view kAutoClearCompleted = "AutoClearCompleted";
inline constexpr std::string_view kAutoPasteInAddSheet = "AutoPasteInAddSheet";
inline constexpr std::string_view kAutoQuitWhenTransfersComplete = "AutoQuitWhenTransfersComplete";
inline constexpr std::string_view kAutoStartAfterAdd = "AutoStartAfterAdd";
inline constexpr std::string_view kClosingMeans = "ClosingMeans";
inline constexpr std::string_view kCustomUserAgent = "CustomUserAgent";
inline constexpr std::string_view kDebugModeEnabled = "DebugModeEnabled";
inline constexpr std::string_view kDefaultConcurrency = "DefaultConcurrency";
inline constexpr std::string_view kDefaultDirectory = "DefaultDirectory";
inline constexpr std::string_view kDefaultDirectoryBookmark = "DefaultDirectoryBookmark";
inline constexpr std::string_view kDefaultThreading = "DefaultThreading";
inline constexpr std::string_view kHasStartupCrash = "HasStartupCrash";
inline constexpr std::string_view kHasToldOfTray = "HasToldOfTray";
inline constexpr std::string_view kHintsSwitchedOff = "HintsSwitchedOff";
inline constexpr std::string_view kMaxConnectionsPerHost = "MaxConnectionsPerHost";
inline constexpr std::string_view kMetrics = "Metrics";
inline constexpr std::string_view kMinimumChunkSize = "MinimumChunkSize";
inline constexpr std::string_view kNeverRemindMeToRateThisAwesomeApp = "NeverRemindMeToRateThisAwesomeApp";
inline constexpr std::string_view kPreparationConcurrency = "PreparationConcurrency";
inline constexpr std::string_view kProxyUrl = "ProxyUrl";
inline constexpr std::string_view kRecentFolders = "RecentFolders";
inline constexpr std::string_view kSavedQueueLinks = "SavedQueueLinks";
inline constexpr std::string_view kSavedQueueLinksUnreadable = "SavedQueueLinks.unreadable";
inline constexpr std::string_view kSavedQueueSession = "SavedQueueSession";
inline constexpr std::string_view kSavedQueueSessionUnreadable = "SavedQueueSession.unreadable";
inline constexpr std::string_view kShowDockProgress = "ShowDockProgress";
inline constexpr std::string_view kShowDockSpeed = "ShowDockSpeed";
inline constexpr std::string_view kSkipAddSheetForNewDownloads = "SkipAddSheetForNewDownloads";
inline constexpr std::string_view kSpeedLimit = "SpeedLimit";
inline constexpr std::string_view kSSHDirectoryBookmark = "SSHDirectoryBookmark";

} // namespace tarvo::SettingKey
