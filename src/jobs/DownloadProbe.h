// Asks the servers what a file is, with the credentials that each of them wants.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "base/Locked.h"
#include "engine/transfer/Scout.h"

namespace tarvo {

using AuthToken = std::shared_ptr<const TRAuthToken>;
using AuthTokens = std::map<std::string, AuthToken>; ///< by their service

/// What a probe has found out. `url` and `auth` are where the file was found, and with which credentials.
struct ProbeAnswers {
    bool supportsParts = false;
    std::int64_t contentLength = 0; ///< bytes; 0: unknown
    std::string suggestedFileName;
    Validator validator;
    Url url;
    AuthToken auth;
};

/// Made for one run, which belongs to one worker. Redirects may lead to servers that ask for credentials of
/// their own; each of these is then asked directly.
class DownloadProbe {
public:
    /// `environment` outlives it.
    DownloadProbe(const TransferEnvironment& environment, Url url, std::optional<Url> referer,
                  AuthTokens tokens, RequestHeaders headers = {})
        : m_environment(environment), m_url(std::move(url)), m_referer(std::move(referer)),
          m_tokens(std::move(tokens)), m_headers(std::move(headers)),
          m_waitsUntil(environment.clock.now() +
                       std::chrono::duration_cast<TimePoint::duration>(environment.probeTimeLimit)) {}

    /// Error: ErrorDomain::RemoteFile for a server that wants credentials (5), a page (6), an FTP directory
    /// (7); else what the request has failed with.
    Result<ProbeAnswers> run();

    /// Ends a run, the present one or the next, at once. Any thread.
    void requestStop();

    /// After a run that has failed for want of credentials: who asks for them, if that is another server than
    /// that of the address.
    const std::optional<Url>& authenticationUrl() const { return m_authenticationUrl; }

private:
    struct Source {
        Url url;
        AuthToken auth;
    };

    struct Run {
        std::shared_ptr<Scout> scout;
        std::optional<Error> problem;
    };

    struct Running {
        std::shared_ptr<Scout> scout;
        bool isStopped = false;
    };

    Run probe(Source& source);
    Run probeWithKeys(Source& source);
    Run runScout(const Source& source, const std::optional<Url>& referer);
    Run runScoutOnce(const Source& source, const std::optional<Url>& referer, std::int64_t places);
    std::int64_t awaitPlaces(HostShare& share);
    Source sourceAt(const Url& url) const;
    Result<void> checkPage(const Scout& scout) const;
    Error authenticationError(const Url& asking, const Error& problem);

    const TransferEnvironment& m_environment;
    const Url m_url;
    const std::optional<Url> m_referer;
    const AuthTokens m_tokens;
    const RequestHeaders m_headers;
    std::optional<Url> m_authenticationUrl;
    const TimePoint m_waitsUntil; // for a place at a host
    Locked<Running> m_running;
};

} // namespace tarvo
