// A file system of its own with so many bytes and no more, in memory.
#pragma once

#include <filesystem>
#include <string>

#include <sys/mount.h>

namespace tarvo::test {

/// Mounted while it lives, where that is allowed: only root may.
class SmallDisk {
public:
    SmallDisk(std::string folder, int bytes) : path(std::move(folder)) {
        std::filesystem::create_directory(path);
        m_isMounted = ::mount("tmpfs", path.c_str(), "tmpfs", 0, sizeOption(bytes).c_str()) == 0;
    }

    ~SmallDisk() {
        if (m_isMounted)
            ::umount2(path.c_str(), MNT_DETACH);
    }

    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    explicit operator bool() const { return m_isMounted; }

    void resize(int bytes) const {
        ::mount("tmpfs", path.c_str(), "tmpfs", MS_REMOUNT, sizeOption(bytes).c_str());
    }

    const std::string path;

private:
    static std::string sizeOption(int bytes) { return "size=" + std::to_string(bytes); }

    bool m_isMounted = false;
};

} // namespace tarvo::test
