// One program for each user: who comes second hands over what it was given, and leaves.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include <QJsonObject>
#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include "base/Disk.h"
#include "base/Error.h"
#include "platform/InstanceVisitor.h"

namespace tarvo {

/// A lock that ends with its holder, and a socket beside it that only this user can reach. A request and
/// its answer are one JSON object each, in one line (RFC 8259). Main thread.
class InstanceSocket : public QObject {
    Q_OBJECT

public:
    using Answer = std::function<void(const QJsonObject& answer)>;

    /// Calls `answer` once, at once or later. A request that is no JSON object comes as an empty one.
    using Handler = std::function<void(const QJsonObject& request, const Answer& answer)>;

    /// How many are heard at a time; the next wait in line.
    static constexpr std::size_t kMostVisitors = 16;

    /// `lockFile` stands for what only one program may write; `socketPath` has at most 107 bytes (unix(7)).
    /// Their folders are made when needed. `disk` outlives the object.
    InstanceSocket(std::string lockFile, std::string socketPath, Disk& disk);
    ~InstanceSocket() override;

    /// Of the application whose settings, and with them its queue, are in that file.
    static std::string standardLockFile(const std::string& settings) { return settings + ".instance"; }

    /// $XDG_RUNTIME_DIR/tarvo/instance, by the XDG Base Directory Specification; without that folder, beside
    /// the lock.
    static std::string standardSocketPath(const std::string& lockFile);

    /// Answers whether this process is the one from now on; if so, `handler` answers the others' requests.
    Result<bool> claim(Handler handler);

private:
    Result<void> listen();
    void accept();
    void hear(std::uint64_t number, const std::string& request);
    void dismiss(std::uint64_t number);

    const std::string m_lockFile;
    const std::string m_socketPath;
    Disk& m_disk;
    Handler m_handler;
    FileHandle m_lock;
    FileHandle m_listening;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_fullPause; // while there are no more descriptors
    std::map<std::uint64_t, std::unique_ptr<InstanceVisitor>> m_visitors; // by the order in which they came
    std::uint64_t m_lastNumber = 0;
};

} // namespace tarvo
