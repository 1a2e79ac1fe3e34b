#include "storage/ProgressBundle.h"

#include <cerrno>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include "base/Disk.h"
#include "base/Localized.h"
#include "base/Log.h"

namespace tarvo {

namespace {

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

std::string joined(const std::string& folder, const std::string& name) {
    return folder == "/" ? "/" + name : folder + "/" + name;
}

bool resolves(const std::string& bookmark) {
    if (Disk::exists(bookmark))
        return true;
    Log::error("URL {} could not be accessed. Stale? false", bookmark);
    return false;
}

Error refusal(int code, std::string_view key, const std::string& path) {
    return {std::string(ErrorDomain::Posix), code, localized(key, {path}),
            localized("tr.err.bundle-refused-recovery")};
}

} // namespace

ProgressBundle::ProgressBundle(std::string baseFolder, std::string fileName)
    : m_baseFolder(withoutTrailingSlashes(std::move(baseFolder))), m_fileName(std::move(fileName)) {
}

std::optional<ProgressBundle> ProgressBundle::fromBundleDirectory(const std::string& directory) {
    const std::string path = withoutTrailingSlashes(directory);
    const std::string suffix = std::string(".") + kExtension;
    const std::string name = nameOf(path);
    if (!name.ends_with(suffix) || name.size() == suffix.size())
        return std::nullopt;
    return ProgressBundle(folderOf(path), name.substr(0, name.size() - suffix.size()));
}

std::optional<ProgressBundle> ProgressBundle::fromBundleBookmark(const std::string& bookmark) {
    return resolves(bookmark) ? fromBundleDirectory(bookmark) : std::nullopt;
}

std::string ProgressBundle::bundleDirectory() const {
    return joined(m_baseFolder, m_fileName + "." + kExtension);
}

std::string ProgressBundle::finalFile() const {
    return joined(m_baseFolder, m_fileName);
}

std::string ProgressBundle::tempFile() const {
    return bundleDirectory() + "/data";
}

std::string ProgressBundle::progressFile() const {
    return bundleDirectory() + "/progress";
}

Result<void> ProgressBundle::checkIsOwn() const {
    for (const auto& path : {bundleDirectory(), tempFile(), progressFile()}) {
        struct stat status {};

        if (::lstat(path.c_str(), &status) != 0)
            continue;
        if (S_ISLNK(status.st_mode))
            return failure(refusal(ELOOP, "tr.err.bundle-is-link", path));
        // Some file systems give every file to one user, whatever process makes it: then that one is as good.
        if (status.st_uid != ::geteuid() && status.st_uid != Disk::ownerOfNewFilesIn(m_baseFolder))
            return failure(refusal(EPERM, "tr.err.bundle-of-another-user", path));
    }
    return {};
}

Result<void> ProgressBundle::removeFrom(Disk& disk) const {
    // The record last: what a crash leaves is a bundle that says whose it is, or an empty folder.
    for (const auto& path : {tempFile(), progressFile() + ".new", progressFile()}) {
        if (!Disk::exists(path))
            continue;
        if (auto removed = disk.removeTree(path); !removed)
            return removed;
    }
    if (!Disk::removeEmptyFolder(bundleDirectory()) && bundleExists())
        Log::warning("The folder \"{}\" stays: it holds what is no part of the download", bundleDirectory());
    return {};
}

std::optional<dev_t> ProgressBundle::device() const {
    struct stat status {};

    return ::stat(m_baseFolder.c_str(), &status) == 0 ? std::optional(status.st_dev) : std::nullopt;
}

bool ProgressBundle::isAway(std::optional<dev_t> knownDevice) const {
    if (bundleExists())
        return false;
    const auto present = device();
    if (!present)
        return true;
    if (knownDevice)
        return *present != *knownDevice;
    std::error_code problem; // of a folder that can't be looked into
    return std::filesystem::is_empty(m_baseFolder, problem) || problem;
}

bool ProgressBundle::bundleExists() const {
    return Disk::exists(bundleDirectory());
}

bool ProgressBundle::progressFileExists() const {
    return Disk::exists(progressFile());
}

bool ProgressBundle::tempFileExists() const {
    return Disk::exists(tempFile());
}

bool ProgressBundle::finalFileExists() const {
    return Disk::exists(finalFile());
}

} // namespace tarvo
