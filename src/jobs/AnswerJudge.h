// The rules by which a block, a header or an ended connection is judged: is it of the file that was asked
// for?
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "engine/transfer/CurlDownloader.h"
#include "engine/transfer/RangeAnswer.h"

namespace tarvo {

/// The file that a download has begun with.
struct ExpectedFile {
    std::int64_t size = 0; ///< bytes; below 1: unknown
    Validator validator;   ///< of its version
};

/// Whether the downloader asks for a part of the file, and not for the whole.
bool asksForRange(const CurlDownloader& downloader);

/// Judges `count` bytes that belong at `offset`: the first block of an answer by the answer's head (version,
/// status, range), each block by its end. On the transfer thread.
RangeVerdict judgeBlock(const CurlDownloader& downloader, std::size_t count, std::int64_t offset,
                        const ExpectedFile& file);

/// Whether the header announces a body of another length than that of the part that was asked for.
bool announcesWrongLength(const CurlDownloader& downloader, const std::string& key, const std::string& value);

/// Whether a connection that has brought next to nothing has failed for too many of them. Once it has ended.
Refusal refusalOf(const CurlDownloader& ended);

/// What a connection has failed with. Once it has ended.
std::optional<Error> errorOf(const CurlDownloader& ended, std::int64_t fileSize);

} // namespace tarvo
