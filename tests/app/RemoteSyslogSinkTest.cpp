// Lines reach a real server over loopback in the standard's form, and a bad server costs lines only.
#include "app/RemoteSyslogSink.h"

#include <algorithm>
#include <regex>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "LogLine.h"
#include "support/Text.h"
#include "support/TurnUntil.h"

namespace tarvo {

namespace {

using test::logLine;
using namespace std::chrono_literals;

/// A socket on a free loopback port.
class Listener {
public:
    Listener() : m_socket(::socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* plain = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(m_socket.descriptor(), plain, length), 0);
        EXPECT_EQ(::getsockname(m_socket.descriptor(), plain, &length), 0);
        m_server = {"127.0.0.1", ntohs(address.sin_port)};
    }

    const RemoteSyslogSink::Server& server() const { return m_server; }

    std::string datagram() {
        char bytes[8192];
        const ssize_t count = ::recv(m_socket.descriptor(), bytes, sizeof bytes, 0);
        return {bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }

private:
    FileHandle m_socket;
    RemoteSyslogSink::Server m_server;
};

const std::regex kMessage("<11>1 2026-03-04T05:06:07\\.089012Z [!-~]+ Tarvo-Test-1\\.0 [0-9]+ - - "
                          "ERRO [0-9:]{12} \\| first in QueueWindowController:213");

} // namespace

TEST(RemoteSyslogSink, SendsDatagrams) {
    Listener listener;
    RemoteSyslogSink sink(listener.server(), "Tarvo-Test -1.0");
    sink.log(logLine("first", spdlog::level::err));
    const std::string first = listener.datagram();
    EXPECT_TRUE(std::regex_match(first, kMessage)) << first;
    sink.log(logLine(std::string(6000, 'x'), spdlog::level::trace));
    const std::string cut = listener.datagram();
    EXPECT_EQ(cut.substr(0, 6), "<15>1 ");
    EXPECT_EQ(cut.size(), 2048u);
}

TEST(RemoteSyslogSink, AServerThatIsGoneCostsLinesOnly) {
    auto sink = std::make_unique<RemoteSyslogSink>(Listener().server(), "Tarvo", 100);
    EXPECT_TRUE(test::turnUntil([&] { // the answer to the first datagram says that nothing is there
        sink->log(logLine("line", spdlog::level::err));
        return sink->droppedCount() > 100;
    }));
    EXPECT_LT(test::timeOf([&] { sink.reset(); }), 2s) << "less than the pause after a failure";
}

} // namespace tarvo
