// The form in which the queue's rows are kept beside the session: all of them, with what the session does not
// hold.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jobs/DownloadLink.h"

namespace tarvo {

/// An unfinished download of the queue.
struct SavedRow {
    DownloadLink link;         ///< of one with a bundle: address, folder, connections (0: not known)
    std::string bundle{};      ///< its path; empty: there is none yet
    std::int64_t fileSize = 0; ///< in bytes, of one with a bundle; below 1: unknown
};

struct SavedRows {
    std::vector<SavedRow> rows; ///< in the queue's order
    bool isWhole = true;        ///< false: there was something that can't be read
};

/// The rows as JSON (RFC 8259), in the order given: an object with a list of "folders", which rows refer to
/// by number, and a list of "rows", each a list itself. Of a download without a bundle: address, folder,
/// connections, referrer or null, name or null, date or null, checksum, the last ones left out where they are
/// null. Of one with a bundle: address, folder, name of the bundle, size, date or null, connections. The date
/// is when the user asked for it, in seconds since 1970. Folders and names are percent-encoded bytes (RFC
/// 3986, section 2.1).
std::string encodedRows(const std::vector<SavedRow>& rows);

/// Reads what encodedRows() has written. Whatever the bytes say, the rows have addresses that can be
/// transferred, absolute folders, and bundles in them. Time and memory grow with the bytes and no faster.
SavedRows decodedRows(std::string_view bytes);

} // namespace tarvo
