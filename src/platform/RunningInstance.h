// The program that runs already, as another one sees it that has something for it.
#pragma once

#include <string>
#include <vector>

#include <QJsonObject>

#include "base/Error.h"
#include "queue/AddOutcome.h"

namespace tarvo {

/// Waits for the other program, which listens with an InstanceSocket. Any thread.
class RunningInstance {
public:
    /// `socketPath` is that of the other's InstanceSocket.
    explicit RunningInstance(std::string socketPath) : m_socketPath(std::move(socketPath)) {}

    /// Asks it to take these: addresses, API calls, absolute paths of unfinished downloads. One outcome for
    /// each, in their order. `activationToken` as in HandOver::request(). Many are handed over in several
    /// requests; on an error some may have been taken. Error: POSIX, when no program answers.
    Result<std::vector<AddOutcome>> handOver(const std::vector<std::string>& what,
                                             const std::string& activationToken = {}) const;

private:
    Result<QJsonObject> ask(const QJsonObject& request) const;

    const std::string m_socketPath;
};

} // namespace tarvo
