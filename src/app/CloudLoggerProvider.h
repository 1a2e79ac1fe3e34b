// The remote log, for deployments that have one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "app/RemoteSyslogSink.h"

namespace tarvo {

/// Makes the logger for the syslog server of the deployment. Main thread.
class CloudLoggerProvider {
public:
    static constexpr std::uint16_t kPort = 31096;

    /// `server` is whom to send to; without a host there is no remote log. What is built in comes from
    /// the build options TARVO_REMOTE_LOG_HOST (none unless given) and TARVO_ENVIRONMENT.
    explicit CloudLoggerProvider(RemoteSyslogSink::Server server = builtInServer());

    static RemoteSyslogSink::Server builtInServer();

    /// The label of the build's environment.
    static std::string getEnv();

    /// The program's version, "UnknownBuild" when it has none.
    static std::string getBuild();

    /// "Tarvo-", the environment, "-" and the build.
    static std::string programName();

    /// The logger, made when first asked for; the same one ever after; null without a host. It is to be
    /// attached to the log; it takes errors and warnings until it is given another level.
    std::shared_ptr<RemoteSyslogSink> sharedLogger();

private:
    const RemoteSyslogSink::Server m_server;
    std::shared_ptr<RemoteSyslogSink> m_logger;
};

} // namespace tarvo
