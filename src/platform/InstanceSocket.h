// One program for each user: who comes second hands over what it was given, and leaves.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QJsonObject>
#include <QObject>
#include <QSocketNotifier>

#include "base/Disk.h"
#include "base/Error.h"
#include "queue/AddOutcome.h"

namespace tarvo {

/// A lock that ends with its holder, and a socket beside it that only this user can reach. A request and
/// its answer are one JSON object each, in one line (RFC 8259). Main thread.
class InstanceSocket : public QObject {
    Q_OBJECT

public:
    using Answer = std::function<void(const QJsonObject& answer)>;

    /// Calls `answer` once, at once or later. A request that is no JSON object comes as an empty one.
    using Handler = std::function<void(const QJsonObject& request, const Answer& answer)>;

    /// What one request may hold: whoever sends more is not heard.
    static constexpr std::size_t kMostBytes = std::size_t{4} << 20;

    /// How many are heard at a time; the next wait in line.
    static constexpr std::size_t kMostVisitors = 16;

    /// How long one may take to send its request, and to take its answer.
    static constexpr int kVisitMs = 3000;

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
    /// One outcome for each, in their order. Many are handed over in several requests; on an error some may
    /// have been taken.
    Result<std::vector<AddOutcome>> handOver(const std::vector<std::string>& what) const;

    /// The texts of such a request; none when it is something else.
    static std::optional<std::vector<std::string>> handedOver(const QJsonObject& request);

    /// The answer to such a request.
    static QJsonObject answerOf(const std::vector<AddOutcome>& outcomes);

private:
    class Visitor;

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
    std::map<std::uint64_t, std::unique_ptr<Visitor>> m_visitors; // by the order in which they came
    std::uint64_t m_lastNumber = 0;
};

} // namespace tarvo
