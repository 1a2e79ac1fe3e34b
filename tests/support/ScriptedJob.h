// A job that transfers nothing: what it shows and what its steps do is what the test has set.
#pragma once

#include "jobs/RemoteFileBase.h"

#include <functional>
#include <string>

namespace tarvo::test {

/// What the queue sees of it can be set at any time, on the main thread. The state machine is the real
/// one of all jobs; setCurrentState() goes round its rules.
class ScriptedJob final : public RemoteFileBase {
public:
    /// The last part of the address is its file's name.
    static std::shared_ptr<ScriptedJob> create(const JobEnvironment& environment, const std::string& url,
                                               rf_state_t state = rf_state_initializing) {
        auto job = shared(new ScriptedJob(environment));
        job->m_url = Url::parse(url);
        job->setSuggestedFileName(url.substr(url.rfind('/') + 1));
        job->setCurrentState(state);
        return job;
    }

    /// The two steps, on a worker. What makeReady() answers as an error has failed the job.
    std::function<Result<void>(const std::shared_ptr<const TRAuthToken>&)> makeReady = [](const auto&) {
        return Result<void>();
    };
    std::function<Result<void>()> download = [] { return Result<void>(); };

    std::function<Result<void>()> save = [] { return Result<void>(); };
    std::function<std::optional<Error>()> remove = [] { return std::nullopt; };
    /// What copy() answers; without it, a fresh job of the same address with the same steps and abilities.
    std::function<std::shared_ptr<RemoteFile>()> makeCopy;

    std::int64_t done = 0;
    std::int64_t speed = 0;
    std::string folder = "/";
    std::int64_t connections = 1;
    bool retryable = true;
    std::optional<std::string> awaited;
    std::optional<std::string> finalFile;
    std::optional<Error> shownError; ///< in place of what the job has failed with
    std::optional<TimePoint> shownErrorDate;

    int savesDone = 0;

    using RemoteFileBase::setCurrentState;
    using RemoteFileBase::setFileSize;

    std::string description() const override { return "ScriptedJob " + fileName(); }

    std::int64_t totalBytesDownloaded() const override { return done; }

    std::int64_t bytesPerSecond() const override { return speed; }

    const std::optional<Error>& error() const override {
        return shownError ? shownError : RemoteFileBase::error();
    }

    std::optional<TimePoint> errorDate() const override {
        return shownErrorDate ? shownErrorDate : RemoteFileBase::errorDate();
    }

    std::string basePath() const override { return folder; }

    std::optional<std::string> finalFilePath() const override { return finalFile; }

    std::optional<std::string> activeFile() const override { return std::nullopt; }

    std::int64_t userRequestedPartitions() const override { return connections; }

    void setUserRequestedPartitions(std::int64_t asked) override { connections = asked; }

    std::int64_t activeConnections() const override { return connections; }

    bool supportsRecovery() const override { return true; }

    bool supportsRenaming() const override { return isAtRest(); }

    bool isRetryable() const override { return retryable; }

    std::optional<DownloadLink> link() const override {
        return m_url ? std::optional(DownloadLink{*m_url, folder, connections}) : std::nullopt;
    }

    std::optional<std::string> awaitedBundle() const override { return awaited; }

    Result<void> saveProgress() override {
        ++savesDone;
        return save();
    }

    Result<void> moveBundleTo(const std::string& newFolder) override {
        folder = newFolder;
        return {};
    }

    std::optional<Error> removeFiles() override { return remove(); }

    std::shared_ptr<RemoteFile> copy() const override {
        if (makeCopy)
            return makeCopy();
        auto fresh = create(environment(), m_url ? m_url->absoluteString() : "");
        fresh->makeReady = makeReady;
        fresh->download = download;
        fresh->retryable = retryable;
        return fresh;
    }

    std::shared_ptr<RemoteFile> copyAt(const Url& address) const override {
        return create(environment(), address.absoluteString());
    }

    std::string archivedClassName() const override { return "ScriptedJob"; }

    void encode(KeyedArchiver&) const override {}

private:
    using RemoteFileBase::RemoteFileBase;

    StepEnd doMakeReady(std::shared_ptr<const TRAuthToken> auth) override { return {makeReady(auth)}; }

    StepEnd doDownload() override { return {download()}; }
};

} // namespace tarvo::test
