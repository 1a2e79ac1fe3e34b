// What all requests of one run of a program have in common, beside the settings.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace tarvo {

enum class IpVersion { any, v4, v6 };

/// What becomes of an address that leads to a web page.
enum class Pages {
    refused,
    takenIfAskedFor, ///< by the look of the address, or where the server offers the page as a file
    taken,
};

struct RequestTraits {
    std::vector<std::string> headers{}; ///< of requests over HTTP, "Name: value"; they follow redirects, but
                                        ///< for Authorization and Cookie, which go to the first host alone
    IpVersion ipVersion = IpVersion::any;
    std::chrono::milliseconds connectTimeout{30'000};
    bool takesWhatIsThere = false; ///< a file of the same address and version is not fetched again
    Pages pages = Pages::refused;
    std::int64_t largestFile = 0; ///< bytes; what is said to be larger is not fetched; 0: no limit
};

} // namespace tarvo
