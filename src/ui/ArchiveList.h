// What is in an archive, by name and size, without unpacking it.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include <QString>

#include "ui/BoundedFile.h"

namespace tarvo {

struct ArchiveEntry {
    QString name;           ///< with its folders; without control characters
    std::int64_t size = -1; ///< in bytes; below 0: not known
    bool isFolder = false;
};

struct ArchiveList {
    std::vector<ArchiveEntry> entries{};
    bool isCut = false; ///< there may be more
};

/// Whether the first bytes of a file, some hundred, are those of a kind of archive that can be listed: ZIP,
/// tar, tar.gz.
bool looksLikeArchive(std::string_view head);

/// At most kMostEntries. None for what is no archive after all. Nothing is written, no password asked for.
inline constexpr std::size_t kMostEntries = 1'000;
std::optional<ArchiveList> listArchive(BoundedFile& file);

} // namespace tarvo
