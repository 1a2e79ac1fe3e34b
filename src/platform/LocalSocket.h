// What both ends of a Unix socket need.
#pragma once

#include <optional>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>

#include "base/Disk.h"

namespace tarvo {

/// A stream socket that no child process inherits; `flags` are more of socket(2)'s. Empty when there are too
/// many.
FileHandle newLocalSocket(int flags = 0);

/// None when the path is too long for an address: it has 107 bytes at the most (unix(7)).
std::optional<sockaddr_un> localAddress(const std::string& path);

/// As bind(2) and connect(2) want it.
inline const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

} // namespace tarvo
