// What all requests of one run of a program have in common, beside the settings.
#pragma once

#include <chrono>
#include <cstdint>

#include "engine/transfer/RequestHeaders.h"

namespace tarvo {

enum class IpVersion { any, v4, v6 };

/// What becomes of an address that leads to a web page.
enum class Pages {
    refused,
    takenIfAskedFor, ///< by the look of the address, or where the server offers the page as a file
    taken,
};

struct RequestTraits {
    RequestHeaders headers{}; ///< of all requests over HTTP; they follow redirects, but for Authorization and
                              ///< Cookie, which go to the first host alone
    IpVersion ipVersion = IpVersion::any;
    std::chrono::milliseconds connectTimeout{30'000};
    bool takesWhatIsThere = false; ///< a file of the same address and version is not fetched again
    bool comparesTimes = false;    ///< nor one of unknown origin that has the size and is not older
    Pages pages = Pages::refused;
    std::int64_t largestFile = 0; ///< bytes; what is said to be larger is not fetched; 0: no limit
};

} // namespace tarvo
