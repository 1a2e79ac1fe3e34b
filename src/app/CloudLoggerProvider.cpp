// What the build says about the remote log.
#include "app/CloudLoggerProvider.h"

#include "base/Log.h"
#include "base/Runloop.h"

namespace tarvo {

CloudLoggerProvider::CloudLoggerProvider(RemoteSyslogSink::Server server) : m_server(std::move(server)) {
}

RemoteSyslogSink::Server CloudLoggerProvider::builtInServer() {
    return {TARVO_REMOTE_LOG_HOST, kPort};
}

std::string CloudLoggerProvider::getEnv() {
    return TARVO_ENVIRONMENT;
}

std::string CloudLoggerProvider::getBuild() {
    const std::string version = TARVO_VERSION;
    return version.empty() ? "UnknownBuild" : version;
}

std::string CloudLoggerProvider::programName() {
    return "Tarvo-" + getEnv() + "-" + getBuild();
}

std::shared_ptr<RemoteSyslogSink> CloudLoggerProvider::sharedLogger() {
    Runloop::assertMain();
    if (!m_logger && !m_server.host.empty()) {
        m_logger = std::make_shared<RemoteSyslogSink>(m_server, programName());
        m_logger->set_level(Log::threshold(LogLevel::warning));
    }
    return m_logger;
}

} // namespace tarvo
