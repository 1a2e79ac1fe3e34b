#include "app/SettingsTable.h"

#include "base/SettingKeys.h"
#include "base/Settings.h"

namespace tarvo {

namespace {

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
        {kAddSheetDraft, bytes, {}, "what stood in the add sheet when the program was quit"},
        {kApplicationMode, text, ofText("Dock and Menu Bar"),
         "where the program shows itself: \"Dock Only\", \"Menu Bar Only\" or \"Dock and Menu Bar\""},
        {kAutoClearCompleted, boolean, false,
         "finished downloads leave the list by themselves; the default is true with --headless"},
        {kAutoPasteInAddSheet, boolean, false, "the add sheet fills itself from the clipboard"},
        {kAutoQuitWhenTransfersComplete, boolean, false, "quit when all downloads are finished"},
        {kAutoStartAfterAdd, boolean, false, "start the queue when downloads are added"},
        {kClosingMeans, text, ofText("Ask"),
         "what closing the window does: \"Quit\", \"Background\" to go on without it, or \"Ask\": with an "
         "icon in the tray it goes on, without one it asks if anything would stop"},
        {kCustomUserAgent, text, ofText("com.unregistered.Tarvo"),
         "what requests say about the program; the built-in browser replaces the default by an agent of its "
         "own"},
        {kDebugModeEnabled, boolean, false, "log everything, and show the log in a window"},
        {kDefaultConcurrency, integer, ofNumber(1), "downloads at once; below 1 counts as 1"},
        {kDefaultDirectory, text, ofText(kUsualDownloadFolder), "folder for new downloads"},
        {kDefaultDirectoryBookmark, bytes, {}, "absolute path of the download folder that was chosen"},
        {kDefaultThreading, integer, ofNumber(10), "connections of a new download, 1 to 64"},
        {kHasStartupCrash, boolean, {}, "the last start has not reached its end"},
        {kHasToldOfTray, boolean, {}, "the user knows that a closed window goes into the tray"},
        {kHintsSwitchedOff, text, ofText(""),
         "hints that are not shown, with blanks between them: BrowserLinks, DiskFull, NoTray"},
        {kMaxConnectionsPerHost, integer, ofNumber(16),
         "connections to one server, of all downloads together, 1 to 256"},
        {kMetrics, counters, QVariantMap(), "usage counters by name"},
        {kMinimumChunkSize, integer, ofNumber(1024), "bytes of the smallest segment; below 1 counts as 1"},
        {kNeverRemindMeToRateThisAwesomeApp, boolean, true, "don't ask for a rating"},
        {kPreparationConcurrency, integer, ofNumber(8),
         "downloads that are made ready at once, 1 to 32: their servers are asked what the files are"},
        {kProxyUrl, text, ofText(""), "proxy of all transfers; empty for none"},
        {kRecentFolders, bytes, {}, "the folders that downloads were last put into"},
        {kSavedQueueLinks, bytes, {}, "the queue's addresses and their order as they were last saved"},
        {kSavedQueueSession, bytes, {}, "the queue as it was last saved"},
        {kShowDockProgress, boolean, true, "the launcher icon shows the progress"},
        {kShowDockSpeed, boolean, false, "the launcher icon shows the speed"},
        {kSkipAddSheetForNewDownloads, boolean, false, "add addresses without showing the add sheet"},
        {kSpeedLimit, integer, ofNumber(0), "bytes a second of all downloads together; 0 for no limit"},
        {kSSHDirectoryBookmark, bytes, QByteArray(),
         "absolute path of the folder with the SSH keys; empty for ~/.ssh"},
    };
}

} // namespace

const std::vector<Setting>& settingsTable() {
    static const std::vector<Setting> rows = makeTable();
    return rows;
}

void registerDefaultSettings(UserDefaults& defaults) {
    UserDefaults::Values values;
    for (const Setting& row : settingsTable()) {
        if (row.defaultValue.isValid())
            values[std::string(row.key)] = row.defaultValue;
    }
    defaults.registerDefaults(values);
}

std::set<std::string> settingsOfTheProgram() {
    using namespace SettingKey;
    return {std::string(kAddSheetDraft),
            std::string(kRecentFolders),
            std::string(kHasStartupCrash),
            std::string(kMetrics),
            std::string(kHasToldOfTray),
            std::string(kSavedQueueLinks),
            std::string(kSavedQueueLinksUnreadable),
            std::string(kSavedQueueSession),
            std::string(kSavedQueueSessionUnreadable)};
}

} // namespace tarvo
