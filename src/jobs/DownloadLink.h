// What a download can be begun from while there is nothing of it on disk.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/Clock.h"
#include "base/Url.h"
#include "jobs/Checksum.h"

namespace tarvo {

struct DownloadLink {
    Url url;
    std::string folder; ///< absolute path
    std::int64_t connections = 1;
    std::optional<Url> referer{};
    std::optional<std::string> name{};  ///< that the user has chosen
    std::optional<WallTime> added{};    ///< when the user asked for it; none: not known
    std::optional<Checksum> checksum{}; ///< that the file is to be compared with
};

} // namespace tarvo
