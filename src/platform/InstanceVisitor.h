// Another process that has connected to the running program.
#pragma once

#include <functional>
#include <string>

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include "base/Disk.h"

namespace tarvo {

/// Hears one line and sends one back, without ever waiting for the other side. Main thread.
class InstanceVisitor final : public QObject {
public:
    /// What a line may hold: a longer one is not heard.
    static constexpr std::size_t kMostBytes = std::size_t{4} << 20;

    /// How long a visitor may take to send the line, and to take the answer.
    static constexpr int kVisitMs = 3000;

    /// `heard` is called with the line; `leaves` when the visitor is done, or goes, or is too slow or too
    /// loud.
    InstanceVisitor(FileHandle socket, std::function<void(const std::string& line)> heard,
                    std::function<void()> leaves);

    /// Sends the answer and ends the visit.
    void answer(const std::string& line);

private:
    void read();
    void write();

    const std::function<void(const std::string&)> m_heard;
    const std::function<void()> m_leaves;
    const FileHandle m_socket;
    std::string m_text; // what has come so far, then what is to be sent
    QSocketNotifier m_canRead;
    QSocketNotifier m_canWrite;
    QTimer m_limit;
};

} // namespace tarvo
