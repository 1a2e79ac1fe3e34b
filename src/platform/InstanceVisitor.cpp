#include "platform/InstanceVisitor.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <sys/socket.h>
#include <unistd.h>

#include "base/Runloop.h"

namespace tarvo {

InstanceVisitor::InstanceVisitor(FileHandle socket, std::function<void(const std::string& line)> heard,
                                 std::function<void()> leaves)
    : m_heard(std::move(heard)), m_leaves(std::move(leaves)), m_socket(std::move(socket)),
      m_canRead(m_socket.descriptor(), QSocketNotifier::Read),
      m_canWrite(m_socket.descriptor(), QSocketNotifier::Write) {
    m_canWrite.setEnabled(false);
    m_limit.setSingleShot(true);
    connect(&m_canRead, &QSocketNotifier::activated, this, &InstanceVisitor::read);
    connect(&m_canWrite, &QSocketNotifier::activated, this, &InstanceVisitor::write);
    connect(&m_limit, &QTimer::timeout, this, m_leaves);
    m_limit.start(kVisitMs);
}

void InstanceVisitor::answer(const std::string& line) {
    Runloop::assertMain();
    m_text = line;
    m_limit.start(kVisitMs);
    write();
}

void InstanceVisitor::read() {
    Runloop::assertMain();
    std::array<char, 65536> bytes{};
    const ssize_t count = ::read(m_socket.descriptor(), bytes.data(), bytes.size());
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0 || m_text.size() + static_cast<std::size_t>(count) > kMostBytes)
        return m_leaves();
    m_text.append(bytes.data(), static_cast<std::size_t>(count));
    if (!m_text.ends_with('\n'))
        return;
    m_canRead.setEnabled(false);
    m_limit.stop(); // from here on it waits for this program
    m_heard(m_text);
}

void InstanceVisitor::write() {
    const ssize_t count =
        ::send(m_socket.descriptor(), m_text.data(), m_text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno != EAGAIN && errno != EINTR)
        return m_leaves();
    m_text.erase(0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (m_text.empty())
        return m_leaves();
    m_canWrite.setEnabled(true);
}

} // namespace tarvo
