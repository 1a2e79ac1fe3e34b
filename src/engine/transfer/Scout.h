// The probe: two small requests that tell size, name, range support and what stands in the way.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/Error.h"
#include "engine/progress/ConnectionAllowance.h"
#include "engine/transfer/ProbeRequests.h"

namespace tarvo {

/// Made for one probe, run once on the preparation queue (each request within its time limit; requestStop()
/// ends it at once, from any thread), then read there. Its answers mean something only after the run.
class Scout {
public:
    explicit Scout(std::shared_ptr<ProbeRequests> requests) : m_requests(std::move(requests)) {}

    /// Runs the requests, over so many connections at the most. The error to report, if there is one.
    std::optional<Error> runAndGetError(std::int64_t connections = ProbeRequests::kMostConnections);

    /// Ends a run, the present one or the next.
    void requestStop() { m_requests->requestStop(); }

    /// The size of the file in bytes, 0 when unknown.
    std::int64_t contentLength() const;

    /// Whether several connections can fetch different parts of the file.
    bool supportsMultipartDownloads() const;

    /// Of which version of the file the answers are.
    Validator validator() const { return fileAnswer().validator(); }

    bool requiresAuthentication() const;

    /// The address, without credentials, that the last answer came from: where the redirects led.
    std::optional<Url> lastAsked() const;

    /// Of a run that has failed: whether that was for too many connections.
    Refusal refusal() const;

    bool isHtmlPage() const;

    /// Whether the server offers the file to be saved (RFC 6266, section 4.2).
    bool isAttachment() const;

    bool isFtpDirectory() const;

    /// The name to save the file under, cleaned for the file system; never with a folder in it.
    std::string suggestedFilename() const;

private:
    enum class Family { web, fileTransfer, other };

    const CurlDownloader& head() const { return m_requests->head(); }

    const CurlDownloader& body() const { return m_requests->body(); }

    Family family() const;
    bool hasRun() const;
    std::optional<Error> extractBodyHttpError() const;
    const CurlDownloader& fileAnswer() const;
    bool rangeIsBeyondTheFile() const;
    bool rangesAreRefused() const;
    bool asksForFtp() const;
    bool bodyAnswerIsTheRange() const;
    std::string nameFromAddress() const;
    std::optional<std::string> extensionFromType() const;

    ThreadOwner m_owner; // the thread of the run, from then on
    const std::shared_ptr<ProbeRequests> m_requests;
};

/// Makes scouts that probe for real.
class ScoutFactory {
public:
    explicit ScoutFactory(const TransferEnvironment& environment) : m_environment(environment) {}

    std::shared_ptr<Scout> createScout(const Url& url, std::shared_ptr<const TRAuthToken> auth,
                                       const std::optional<Url>& referer,
                                       const RequestHeaders& headers = {}) const;

private:
    const TransferEnvironment& m_environment;
};

/// The file name that a Content-Disposition field proposes: by its filename parameter, or, only when
/// that finds none, by filename* (RFC 6266, section 4.3; RFC 8187). Not cleaned.
std::optional<std::string> nameFromContentDisposition(const std::string& value);

} // namespace tarvo
