// What a person may set, each setting read in one place.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/UserDefaults.h"

namespace tarvo {

/// To one server for one download; more are no help, and many servers refuse them.
inline constexpr std::int64_t kMostConnections = 64;

/// Downloads that are asked for at once, before they are started.
inline constexpr std::int64_t kMostPreparations = 32;

/// To one server for all downloads together.
inline constexpr std::int64_t kMostConnectionsPerHost = 256;

/// Where new downloads go unless the user has chosen a folder; "~" stands for the home folder.
inline constexpr const char* kUsualDownloadFolder = "~/Downloads";

/// Where the program shows itself.
enum class ApplicationMode { dockOnly, menuBarOnly, dockAndMenuBar };

/// What the user means by closing the window: `ask` until that was said.
enum class ClosingMeans { ask, quit, background };

/// Typed readers over the stored settings. A value that makes no sense is read as the nearest one that does,
/// or as the default, and named in the log, once for each such value. Costs nothing to make; any thread.
/// What only the program itself writes (a session, counters) is read by the class that writes it.
class Settings {
public:
    /// `defaults` outlives the object.
    explicit Settings(const UserDefaults& defaults) : m_defaults(defaults) {}

    std::int64_t defaultConcurrency() const;     ///< downloads at once, from 1
    std::int64_t defaultThreading() const;       ///< connections of a new download, 1 to kMostConnections
    std::int64_t minimumChunkSize() const;       ///< bytes, from 1
    std::int64_t preparationConcurrency() const; ///< preparations at once, 1 to kMostPreparations
    std::int64_t speedLimit() const;             ///< bytes a second of all downloads together; 0: none
    /// Of all downloads together, 1 to kMostConnectionsPerHost.
    std::int64_t maxConnectionsPerHost() const;
    ApplicationMode applicationMode() const; ///< both for a text that names none

    ClosingMeans closingMeans() const; ///< to be asked for a text that names none

    /// Where new downloads go. Absolute, a leading "~" replaced by `homeFolder`, which is absolute.
    std::string defaultDirectory(const std::string& homeFolder) const;

    /// The paths of folders that the user has chosen by hand; empty for none.
    std::string defaultDirectoryBookmark() const;
    std::string sshDirectoryBookmark() const;

    /// What requests say about the program; none when nothing is set.
    std::optional<std::string> customUserAgent() const;

    /// The names of hints that are not to be shown, with blanks between them.
    std::string hintsSwitchedOff() const;

    bool autoClearCompleted() const;
    bool autoPasteInAddSheet() const;
    bool autoQuitWhenTransfersComplete() const;
    bool autoStartAfterAdd() const;
    bool isDebugModeEnabled() const;
    bool showDockProgress() const;
    bool showDockSpeed() const;
    bool skipAddSheetForNewDownloads() const;

private:
    std::int64_t integerWithin(std::string_view key, std::int64_t least, std::int64_t most) const;

    const UserDefaults& m_defaults;
};

} // namespace tarvo
