// One program for each user: who comes second hands over what it was given, and leaves.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <QJsonObject>
#include <QObject>
#include <QSocketNotifier>

#include "base/Disk.h"
#include "base/Error.h"

namespace tarvo {

/// A lock that ends with its holder, and a socket beside it that only this user can reach. A request and
/// its answer are one JSON object each, in one line (RFC 8259). Main thread.
class InstanceSocket : public QObject {
    Q_OBJECT

public:
    using Handler = std::function<QJsonObject(const QJsonObject& request)>;

    /// What one request may hold.
    static constexpr std::size_t kMostBytes = std::size_t{4} << 20;

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

    /// What the running program answers. Waits for it, `limit` milliseconds at the most. Error: POSIX, when
    /// nobody answers.
    Result<QJsonObject> ask(const QJsonObject& request, int limit = 5000) const;

    /// Asks the running program to take these: addresses, API calls, absolute paths of unfinished downloads.
    Result<void> handOver(const std::vector<std::string>& what) const;

    /// The texts of such a request.
    static std::vector<std::string> handedOver(const QJsonObject& request);

private:
    struct Visitor;

    Result<void> listen();
    void accept();
    void read(int descriptor);

    const std::string m_lockFile;
    const std::string m_socketPath;
    Disk& m_disk;
    Handler m_handler;
    FileHandle m_lock;
    FileHandle m_listening;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::map<int, std::unique_ptr<Visitor>> m_visitors;
};

} // namespace tarvo
