// Fetches a short part of a remote file into memory.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "base/Locked.h"
#include "engine/transfer/CurlMulti.h"
#include "engine/transfer/TransferEnvironment.h"
#include "jobs/AnswerJudge.h"

namespace tarvo {

/// Where a part is fetched, and with which credentials.
struct RangeSource {
    Url url;
    std::shared_ptr<const TRAuthToken> auth{};
    std::optional<Url> referer{};
    RequestHeaders headers{};
};

/// Any number of runs, one after the other, on one worker.
class RangeFetch {
public:
    /// `environment` outlives it.
    explicit RangeFetch(const TransferEnvironment& environment) : m_environment(environment) {}

    RangeFetch(const RangeFetch&) = delete;
    RangeFetch& operator=(const RangeFetch&) = delete;

    /// All bytes of `range`, which has some, of the version of `file`: an answer is judged as those of a
    /// transfer are. It may take as long as one request of a probe, and wait as long for a place at the host.
    /// Error: what the request has failed with; kTarvoChangedOnServer, kTarvoUnexpectedSegmentSize; that it
    /// was stopped.
    Result<std::string> run(const RangeSource& source, const ExpectedFile& file, const ByteRange& range);

    /// Ends the present run at once, and each later one. Any thread.
    void requestStop();

private:
    struct Running {
        std::shared_ptr<CurlMulti> loop;
        bool isStopped = false;
    };

    bool runLoop(const std::shared_ptr<CurlDownloader>& download);

    const TransferEnvironment& m_environment;
    Locked<Running> m_running;
};

} // namespace tarvo
