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
using Transport = RemoteSyslogSink::Transport;
using namespace std::chrono_literals;

/// A socket on a free loopback port.
class Listener {
public:
    explicit Listener(Transport transport)
        : m_socket(::socket(AF_INET, transport == Transport::tcp ? SOCK_STREAM : SOCK_DGRAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* plain = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(m_socket.descriptor(), plain, length), 0);
        EXPECT_EQ(::getsockname(m_socket.descriptor(), plain, &length), 0);
        m_server = {"127.0.0.1", ntohs(address.sin_port), transport};
        EXPECT_TRUE(transport == Transport::udp || ::listen(m_socket.descriptor(), 5) == 0);
    }

    const RemoteSyslogSink::Server& server() const { return m_server; }

    FileHandle accept() { return FileHandle(::accept(m_socket.descriptor(), nullptr, nullptr)); }

    std::string datagram() { return receive(m_socket.descriptor()); }

    static std::string receive(int descriptor) {
        char bytes[8192];
        const ssize_t count = ::recv(descriptor, bytes, sizeof bytes, 0);
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
    Listener listener(Transport::udp);
    RemoteSyslogSink sink(listener.server(), "Tarvo-Test -1.0");
    sink.log(logLine("first", spdlog::level::err));
    const std::string first = listener.datagram();
    EXPECT_TRUE(std::regex_match(first, kMessage)) << first;
    sink.log(logLine(std::string(6000, 'x'), spdlog::level::trace));
    const std::string cut = listener.datagram();
    EXPECT_EQ(cut.substr(0, 6), "<15>1 ");
    EXPECT_EQ(cut.size(), 2048u);
}

TEST(RemoteSyslogSink, SendsFramedOverTcpAndConnectsAgain) {
    Listener listener(Transport::tcp);
    auto sink = std::make_unique<RemoteSyslogSink>(listener.server(), "Tarvo-Test-1.0");
    sink->log(logLine("first", spdlog::level::err));
    FileHandle connection = listener.accept();
    const std::string frame = Listener::receive(connection.descriptor());
    const std::string message = frame.substr(frame.find(' ') + 1);
    EXPECT_EQ(frame, std::to_string(message.size()) + " " + message);
    EXPECT_TRUE(std::regex_match(message, kMessage)) << frame;
    connection.close();
    for (int i = 0; i < 100; ++i)
        sink->log(logLine("line", spdlog::level::warn));
    sink.reset(); // and its last words still go out
    connection = listener.accept();
    std::string all;
    for (std::string some = "-"; !some.empty(); all += some)
        some = Listener::receive(connection.descriptor());
    EXPECT_EQ(test::countOf(all, "| line in"), 100);
}

TEST(RemoteSyslogSink, AServerThatDoesNotReadHoldsNobodyUp) {
    const Listener listener(Transport::tcp); // the kernel takes the connection, no program reads from it
    auto sink = std::make_unique<RemoteSyslogSink>(listener.server(), "Tarvo", 100);
    const std::string longLine(2000, 'x');
    const auto start = std::chrono::steady_clock::now();
    int droppedInARow = 0;
    while (droppedInARow < 200 && std::chrono::steady_clock::now() - start < 20s) {
        const auto before = sink->droppedCount();
        sink->log(logLine(longLine, spdlog::level::err));
        droppedInARow = sink->droppedCount() > before ? droppedInARow + 1 : 0;
        if (droppedInARow > 0)
            std::this_thread::sleep_for(1ms); // the sender could use the time, if it were not stuck
    }
    EXPECT_EQ(droppedInARow, 200);
    EXPECT_LT(test::timeOf([&] { sink.reset(); }), 2s) << "less than the patience with a server";
}

} // namespace tarvo
