#include "ui/ArchiveList.h"

#include <array>
#include <memory>

#include <archive.h>
#include <archive_entry.h>

namespace tarvo {

namespace {

/// A piece is small, for what is packed well takes a thousand times its time to unpack, and the limits are
/// looked at between two pieces.
struct Source {
    BoundedFile& file;
    std::int64_t offset = 0;
    std::array<char, 16'384> piece{};
};

la_ssize_t readPiece(archive*, void* data, const void** buffer) {
    auto& source = *static_cast<Source*>(data);
    *buffer = source.piece.data();
    const std::int64_t count = source.file.readAt(source.offset, source.piece.data(),
                                                  static_cast<std::int64_t>(source.piece.size()));
    source.offset += std::max<std::int64_t>(count, 0);
    return count;
}

la_int64_t skipBytes(archive*, void* data, la_int64_t count) {
    auto& source = *static_cast<Source*>(data);
    const std::int64_t skipped = std::clamp<std::int64_t>(source.file.size() - source.offset, 0, count);
    source.offset += skipped;
    return skipped;
}

la_int64_t seekTo(archive*, void* data, la_int64_t offset, int whence) {
    auto& source = *static_cast<Source*>(data);
    std::int64_t base = whence == SEEK_CUR ? source.offset : 0;
    if (whence == SEEK_END)
        base = source.file.size();
    std::int64_t target = 0;
    if (__builtin_add_overflow(base, static_cast<std::int64_t>(offset), &target) || target < 0)
        return ARCHIVE_FATAL;
    return source.offset = target;
}

using Reader = std::unique_ptr<archive, decltype(&archive_read_free)>;

Reader readerOf(Source& source) {
    Reader reader(archive_read_new(), archive_read_free);
    archive_read_support_format_zip(reader.get());
    archive_read_support_format_tar(reader.get());
    archive_read_support_filter_gzip(reader.get());
    archive_read_set_read_callback(reader.get(), readPiece);
    archive_read_set_skip_callback(reader.get(), skipBytes);
    archive_read_set_seek_callback(reader.get(), seekTo);
    archive_read_set_callback_data(reader.get(), &source);
    return reader;
}

QString shownName(archive_entry* entry) {
    constexpr qsizetype longest = 1'000; // characters
    const char* name = archive_entry_pathname_utf8(entry);
    if (!name)
        name = archive_entry_pathname(entry);
    QString shown = QString::fromUtf8(name ? name : "").left(longest);
    for (QChar& c : shown)
        if (!c.isPrint() && !c.isSurrogate())
            c = QChar::ReplacementCharacter;
    return shown;
}

} // namespace

bool looksLikeArchive(std::string_view head) {
    constexpr std::size_t tarMagic = 257; // POSIX.1-2017, pax, "ustar Interchange Format"
    return head.starts_with("PK\x03\x04") || head.starts_with("PK\x05\x06") || head.starts_with("\x1f\x8b") ||
           (head.size() > tarMagic && head.substr(tarMagic).starts_with("ustar"));
}

std::optional<ArchiveList> listArchive(BoundedFile& file) {
    Source source{file};
    const Reader reader = readerOf(source);
    if (archive_read_open1(reader.get()) != ARCHIVE_OK)
        return std::nullopt;
    ArchiveList list;
    archive_entry* entry = nullptr;
    int status = archive_read_next_header(reader.get(), &entry);
    while (status == ARCHIVE_OK || status == ARCHIVE_WARN) {
        if (list.entries.size() == kMostEntries) {
            list.isCut = true;
            return list;
        }
        const bool isFolder = archive_entry_filetype(entry) == AE_IFDIR;
        const std::int64_t size = archive_entry_size_is_set(entry) ? archive_entry_size(entry) : -1;
        list.entries.push_back({shownName(entry), isFolder ? -1 : size, isFolder});
        status = archive_read_next_header(reader.get(), &entry);
    }
    list.isCut = status != ARCHIVE_EOF;
    return list.entries.empty() ? std::nullopt : std::optional(list);
}

} // namespace tarvo
