#include "platform/LocalSocket.h"

#include <cstring>

namespace tarvo {

FileHandle newLocalSocket(int flags) {
    return FileHandle(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
}

std::optional<sockaddr_un> localAddress(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return std::nullopt;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

} // namespace tarvo
