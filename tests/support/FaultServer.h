// A web server inside the test's own process that misbehaves on request: the URL says how.
#pragma once

#include "base/Locked.h"
#include "support/HttpAnswer.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tarvo::test {

/// Serves /file/SIZE/NAME?KNOBS on 127.0.0.1: SIZE bytes of sample data (SampleData.h) under any name,
/// answered as the knobs say (FaultKnobs.h). HTTP/1.1 with keep-alive, GET and HEAD, single ranges, any
/// number of connections at once, each on a thread of its own. As a proxy it answers as if it were the
/// server that is named. Every operation may be called from any thread.
///
///     FaultServer server;
///     download(server.url(100'000, "cut=5000&from=2"));
class FaultServer {
public:
    FaultServer();
    ~FaultServer();

    FaultServer(const FaultServer&) = delete;
    FaultServer& operator=(const FaultServer&) = delete;

    /// The address of a file of `size` bytes.
    std::string url(std::int64_t size, std::string_view knobs = {},
                    std::string_view name = "sample.bin") const;

    /// The address of any path, which begins with a slash.
    std::string address(std::string_view path) const;

    /// The server's address without a path, for use as a proxy.
    std::string proxyUrl() const { return address(""); }

    /// From the next request on, `path` (without query) is answered as `knobs` say, whatever the URL's own
    /// query says: a server that recovers, or whose file changes.
    void change(std::string_view path, std::string_view knobs);

    /// Ends all transfers and refuses new connections. Returns within a fraction of a second.
    void stop();

    /// Listens again on the same port after stop().
    void start();

    /// All requests so far, in the order in which they were read.
    std::vector<HttpRequest> requests() const;

    /// Bytes of bodies that were sent. All that a client has received are counted; of a transfer that was
    /// broken off, up to some megabytes more, which lay in the kernel's buffers.
    std::int64_t bytesSent() const { return m_sent; }

    /// A body of a file, as far as it was sent.
    struct Body {
        std::int64_t offset = 0;
        std::int64_t length = 0;
        std::chrono::steady_clock::time_point begun{};
        std::chrono::steady_clock::time_point ended{};
    };

    /// Of all that were honest, but for those of a single byte, in the order in which they have ended.
    std::vector<Body> bodies() const;

    /// What a test did wrong: unknown knobs, requests that can't be read. Should be empty at its end.
    std::vector<std::string> problems() const;

private:
    struct Path {
        std::int64_t asked = 0;  // requests that came as far as the file
        std::int64_t atWork = 0; // bodies that are being sent
        std::optional<std::string> changedKnobs;
    };

    struct Books {
        std::vector<HttpRequest> requests;
        std::vector<std::string> problems;
        std::vector<Body> bodies;
        std::map<std::string, Path, std::less<>> paths;
    };

    struct Connection {
        int socket = -1;
        bool ended = false; // its thread is about to return
        std::thread thread;
    };

    void acceptConnections();
    void admit(int socket, int number);
    void serve(int socket, int number);
    bool answer(int socket, const HttpRequest& request);
    bool answerFile(int socket, const HttpRequest& request, const FaultKnobs& urlKnobs, std::int64_t size);
    bool sendBodyInItsPlace(int socket, const HttpRequest& request, const HttpAnswer& answer,
                            const FaultKnobs& knobs);
    bool sendBody(int socket, const HttpAnswer& answer, const FaultKnobs& knobs, std::int64_t& sent);

    void noteProblem(const std::string& problem) { m_books.lock()->problems.push_back(problem); }

    int m_port = 0;
    int m_listener = -1;
    std::thread m_acceptor;
    std::atomic<bool> m_stopping{false};
    int m_connectionCount = 0; // the acceptor's own
    std::atomic<std::int64_t> m_sent{0};
    Locked<std::list<Connection>> m_connections;
    mutable Locked<Books> m_books;
};

} // namespace tarvo::test
