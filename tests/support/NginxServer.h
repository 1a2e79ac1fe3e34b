// A real web server: nginx, which speaks what the fault server does not: TLS and HTTP/2.
#pragma once

#include "support/ServerProcess.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarvo::test {

/// Serves sample files from a folder of its own. Who posts to /session is a member and comes to /members/,
/// which is closed to others; who posts to /posted gets a file. /private/ asks for "user" and "password".
class NginxServer : public FileServer {
public:
    /// Files below /untagged/ have no entity tag. Of those below /three/, three at a time are sent, at 1
    /// MiB/s each; one more is answered with 503.
    NginxServer();

    void addPage(const std::string& name, const std::string& html) { m_folder.write("files/" + name, html); }

    /// `path` begins with a slash. The certificate is self-signed and for another host's name.
    std::string url(const std::string& path) const { return address("http", m_port, path); }

    std::string tlsUrl(const std::string& path) const { return address("https", m_tlsPort, path); }

    std::string http2Url(const std::string& path) const { return address("https", m_http2Port, path); }

    struct Request {
        std::string protocol; ///< "HTTP/1.1", "HTTP/2.0"
        std::int64_t bodyBytes = 0;
        std::int64_t connection = 0; ///< its number
        int status = 0;
    };

    /// The requests that have ended so far. nginx writes its log just after the last byte was sent, so a
    /// client may be a moment ahead of it.
    std::vector<Request> requests() const;

private:
    static std::string address(const std::string& scheme, int port, const std::string& path);
    std::string configuration() const;

    int m_tlsPort = freePort();
    int m_http2Port = freePort();
};

} // namespace tarvo::test
