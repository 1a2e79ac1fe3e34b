// The places of one download on disk: the finished file, and beside it the bundle of the unfinished one.
#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

#include "base/Error.h"

namespace tarvo {

class Disk;

/// movie.mp4 downloading into Downloads lives in Downloads/movie.mp4.trdownload/ with the members
/// "data" and "progress". Only names places: it touches the disk for existence checks, and to remove what it
/// names. A bookmark is the absolute path as bytes; one whose path is gone no longer resolves. All paths are
/// absolute.
class ProgressBundle {
public:
    /// The extension of bundle directories, without its dot.
    static constexpr const char* kExtension = "trdownload";

    ProgressBundle(std::string baseFolder, std::string fileName);

    /// None when the directory's name does not end with ".trdownload".
    static std::optional<ProgressBundle> fromBundleDirectory(const std::string& directory);

    /// None, and the reason in the log, when the bookmark does not resolve or names no bundle.
    static std::optional<ProgressBundle> fromBundleBookmark(const std::string& bookmark);

    const std::string& fileName() const { return m_fileName; }

    const std::string& baseFolder() const { return m_baseFolder; }

    std::string bundleDirectory() const;
    std::string finalFile() const;
    std::string tempFile() const;
    std::string progressFile() const;

    /// Whether the bundle, and what is in it, is this user's own and stands where its path says. Error: POSIX
    /// (EPERM, ELOOP); what is not there is no error.
    Result<void> checkIsOwn() const;

    /// Removes data, record and, where nothing else is in it, the folder: what the user has put there stays.
    Result<void> removeFrom(Disk& disk) const;

    /// The device (stat(2)) that the bundle's folder is on; none where that is not there.
    std::optional<dev_t> device() const;

    /// Whether the bundle is not there because its folder is not: that is missing, or is the mount point of a
    /// disk that is not connected, and so on another device than the bundle was on. Where that is not known,
    /// a folder with nothing in it counts as such.
    bool isAway(std::optional<dev_t> knownDevice = std::nullopt) const;

    bool bundleExists() const;
    bool progressFileExists() const;
    bool tempFileExists() const;
    bool finalFileExists() const;

private:
    std::string m_baseFolder;
    std::string m_fileName;
};

} // namespace tarvo
