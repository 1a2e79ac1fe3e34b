// Reads what can be shown of a file: a picture, text, or the list of an archive.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include <QImage>
#include <QString>

#include "ui/ArchiveList.h"

namespace tarvo {

struct PreviewRequest {
    std::string path;          ///< absolute
    std::string name;          ///< what the file is, or will be, called
    std::int64_t readable = 0; ///< how many of its first bytes are there
    bool isWhole = false;      ///< that is all of them
};

struct PreviewContent {
    enum class Kind { nothing, picture, text, archive };

    Kind kind = Kind::nothing;
    QImage picture{};
    QSize pictureSize{}; ///< before it was made smaller to be shown
    QString text{};
    ArchiveList archive{};
    bool isCut = false; ///< there is more
    std::int64_t fileSize = 0;
    QString mediaType{};   ///< "image/png"
    QString description{}; ///< of the media type, in the user's language
    QString problem{};     ///< why the file can't be read; empty: it can
};

/// Any thread but the main one: it reads and decodes. Whatever the file holds, it takes some seconds at most,
/// 64 MiB of reading and 256 MiB of memory: pictures of more pixels than kMostPixels are not decoded, of an
/// archive the first entries are listed, of text the first 64 KiB are shown as they stand. Nothing of the
/// file is run: no HTML, no SVG, no fonts, no link to anything else is followed. The file is only read,
/// without a lock.
inline constexpr std::int64_t kMostPixels = 50'000'000;
PreviewContent readPreview(const PreviewRequest& request, const std::atomic<bool>& cancelled);

} // namespace tarvo
