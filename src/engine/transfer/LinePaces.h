// What the connections to each server have been like lately.
#pragma once

#include <map>
#include <string>

#include "base/Locked.h"
#include "base/Url.h"
#include "engine/progress/ConnectionWorth.h"

namespace tarvo {

class CurlDownloader;

/// Any thread.
class LinePaces {
public:
    /// A connection of the server of `url` has come to its end, with what it was to bring.
    void note(const Url& url, const CurlDownloader& ended);

    /// Of the server of `url`, by scheme, name and port.
    LinePace of(const Url& url);

private:
    Locked<std::map<std::string, LinePace>> m_paces;
};

} // namespace tarvo
