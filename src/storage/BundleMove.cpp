#include "storage/BundleMove.h"

#include "base/Log.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

namespace tarvo {

namespace {

namespace fs = std::filesystem;

/// The names of a bundle's files, its record last: a copy that a crash cuts short has none, and is not taken
/// for the download.
Result<std::vector<std::string>> filesOf(const ProgressBundle& bundle) {
    const std::string folder = bundle.bundleDirectory();
    const std::string record = nameOf(bundle.progressFile());
    std::vector<std::string> names;
    std::error_code problem;
    for (fs::directory_iterator at(folder, problem), end; !problem && at != end; at.increment(problem)) {
        // What is no file is none of ours, and not to be lost with the folder.
        if (fs::symlink_status(at->path(), problem).type() != fs::file_type::regular)
            return failure(Error::posix(EXDEV, "copy", at->path().string()));
        names.push_back(at->path().filename().string());
    }
    if (problem)
        return failure(Error::posix(problem.value(), "read the folder", folder));
    std::stable_partition(names.begin(), names.end(), [&](const auto& name) { return name != record; });
    return names;
}

Result<void> copyFiles(const std::vector<std::string>& names, const ProgressBundle& from,
                       const ProgressBundle& to, Disk& disk) {
    for (const auto& name : names) {
        if (auto copied =
                disk.copyFile(from.bundleDirectory() + "/" + name, to.bundleDirectory() + "/" + name);
            !copied)
            return copied;
    }
    if (auto flushed = disk.flushFolder(to.bundleDirectory()); !flushed)
        return flushed;
    return disk.flushFolder(to.baseFolder());
}

Result<void> copyAndRemove(const ProgressBundle& from, const ProgressBundle& to, Disk& disk) {
    const auto names = filesOf(from);
    if (!names)
        return failure(names.error());
    if (auto made = Disk::makeNewFolder(to.bundleDirectory()); !made)
        return made;
    if (auto copied = copyFiles(*names, from, to, disk); !copied) {
        if (const auto removed = disk.removeTree(to.bundleDirectory()); !removed)
            Log::error("Could not remove a copy that failed: {}", removed.error().description);
        return copied;
    }
    if (const auto removed = disk.removeTree(from.bundleDirectory()); !removed)
        Log::error("Could not remove what has been copied: {}", removed.error().description);
    return {};
}

} // namespace

Result<void> moveBundle(const ProgressBundle& from, const ProgressBundle& to, Disk& disk) {
    const auto moved = disk.renameNoReplace(from.bundleDirectory(), to.bundleDirectory());
    if (!moved && moved.error().is(ErrorDomain::Posix, EXDEV))
        return copyAndRemove(from, to, disk);
    if (!moved)
        return moved;
    // A crash before the disk has it leaves the bundle whole under one of its names.
    if (const auto flushed = disk.flushFolder(to.baseFolder()); !flushed)
        Log::error("Could not flush a move: {}", flushed.error().description);
    return {};
}

} // namespace tarvo
