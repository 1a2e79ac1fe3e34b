// Fetches one file from its first byte to its last, for a reader that takes the bytes as they come.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

#include "base/Locked.h"
#include "base/ThreadOwner.h"
#include "engine/transfer/CurlMulti.h"
#include "jobs/DownloadProbe.h"
#include "jobs/JobEnvironment.h"

namespace tarvo {

/// Over one connection at a time, without a file. Nothing can be taken back, so that a connection that has
/// broken is gone on with only where the server says that it still has the same version. The runs belong to
/// one thread.
class StreamTransfer final : public CurlDownloaderDelegate,
                             public CurlMultiDelegate,
                             public std::enable_shared_from_this<StreamTransfer> {
public:
    /// Takes the next bytes, and may wait. An error ends the run. On the thread of the run.
    using Take = std::function<Result<void>(std::span<const char>)>;

    /// `environment` outlives it.
    static std::shared_ptr<StreamTransfer> create(ProbeAnswers source, std::optional<Url> referer,
                                                  const JobEnvironment& environment, Take take);

    /// Fetches what has not been taken yet. Error: of the connection, of `take`, that the run was stopped;
    /// kTarvoChangedOnServer; kTarvoSchedulerTimeout after a silence. Another run goes on after that if
    /// canGoOn().
    Result<void> run();

    /// Whether another run could bring the rest: nothing has been taken, or the server has told which version
    /// it was of, and gives parts of that.
    bool canGoOn() const;

    /// Bytes that were taken. Any thread.
    std::int64_t taken() const { return m_taken; }

    /// Ends a run, the present one or the next, at once. Any thread.
    void requestStop();

    std::int64_t downloaderHasData(CurlDownloader& downloader, std::span<const char> data,
                                   std::int64_t offset) override;

    void childHasEnded(CurlMulti&, CurlDownloader&) override {}

    void loopHasTurned(CurlMulti& loop) override;

private:
    struct Control {
        std::shared_ptr<CurlMulti> loop;
        bool isStopped = false;
    };

    StreamTransfer(ProbeAnswers source, std::optional<Url> referer, const JobEnvironment& environment,
                   Take take);

    std::shared_ptr<CurlDownloader> connect();
    std::optional<Error> judge(const CurlDownloader& downloader, std::size_t count,
                               std::int64_t offset) const;

    const ProbeAnswers m_source;
    const std::optional<Url> m_referer;
    const JobEnvironment& m_environment;
    const Take m_take;
    std::atomic<std::int64_t> m_taken{0};
    Validator m_validator; // of the answer that the first bytes were of
    TimePoint m_lastTaken{};
    std::optional<Error> m_fault; // that ends this run
    Locked<Control> m_control;
    ThreadOwner m_owner;
};

} // namespace tarvo
