// A real web server: nginx with the kinds of answer that a download meets.
#pragma once

#include "support/ServerProcess.h"
#include "support/TemporaryFolder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarvo::test {

/// Serves sample files from a folder of its own. The same file is reached through several folders of the
/// address, each with its own manners:
///
///     /NAME            with ranges, its type by its extension
///     /auth/NAME       asks for Basic credentials (bob, secret)
///     /noranges/NAME   ignores Range and says so
///     /unknown/NAME    chunked, without a length, ranges ignored
///     /slow/NAME       at the rate given to the constructor, the first second's worth at once
///     /redirect/NAME   302 to /NAME
///     /html/NAME       as text/html
class NginxServer {
public:
    /// `slowRate`: bytes per second for each connection below /slow/.
    explicit NginxServer(std::int64_t slowRate = 100'000);

    /// Makes a file of `size` bytes of sample data.
    void addFile(const std::string& name, std::int64_t size);

    void addPage(const std::string& name, const std::string& html) { m_folder.write("files/" + name, html); }

    /// `path` begins with a slash. The certificate is self-signed and for another host's name.
    std::string url(const std::string& path) const { return address("http", m_port, path); }

    std::string tlsUrl(const std::string& path) const { return address("https", m_tlsPort, path); }

    std::string http2Url(const std::string& path) const { return address("https", m_http2Port, path); }

    struct Request {
        std::string method;
        std::string target;
        std::string protocol; ///< "HTTP/1.1", "HTTP/2.0"
        int status = 0;
        std::int64_t bodyBytes = 0;
        std::int64_t connection = 0; ///< its number
        std::string range;           ///< the Range field, "-" when there was none
    };

    /// The requests that have ended so far. nginx writes its log just after the last byte was sent, so a
    /// client may be a moment ahead of it.
    std::vector<Request> requests() const;

    void stop() { m_process.stop(); }

    /// Also after stop(), on the same ports.
    void start();

private:
    static std::string address(const std::string& scheme, int port, const std::string& path);
    std::string configuration(std::int64_t slowRate) const;

    TemporaryFolder m_folder;
    int m_port;
    int m_tlsPort;
    int m_http2Port;
    std::string m_program;
    ServerProcess m_process;
};

} // namespace tarvo::test
