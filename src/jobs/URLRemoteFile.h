// A download that another program brings in one stream: the built-in browser.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "jobs/RemoteFileBase.h"

namespace tarvo {

/// The transfer runs by itself: the job can't be paused, and what is lost of it is lost. It becomes a file
/// under its final name when it is complete, at a name that no file has. Main thread.
class URLRemoteFile final : public RemoteFileBase {
    Q_OBJECT

public:
    /// A transfer under way, as its helper knows it.
    struct Transfer {
        Url url;                      ///< what is fetched
        std::optional<Url> sourceURL; ///< the page that it began on
        std::string folder;           ///< of the finished file; absolute
        std::string partFile;         ///< where all bytes are in the end; absolute, in the same folder
        std::string growingFile;      ///< where they go until then; absolute
        std::string suggestedName;
        std::int64_t size = 0;        ///< bytes; below 1: unknown
        std::function<void()> cancel; ///< ends the transfer; called once at most, on the main thread
    };

    /// A job that runs.
    static std::shared_ptr<URLRemoteFile> create(Transfer transfer, const JobEnvironment& environment);

    /// How many bytes have come in all, and how many there are to be; below 1: unknown.
    void noteBytesDownloaded(std::int64_t total, std::int64_t size);

    /// All bytes are in the file beside: it gets its final name.
    void noteSucceeded();

    /// The transfer is over, and its file worth nothing.
    void noteFailedWithError(const Error& error);

    /// The page that the download began on; the download's own address where there was none.
    const Url& sourceURL() const { return m_source; }

    std::int64_t totalBytesDownloaded() const override { return m_totalBytesDownloaded; }

    std::string basePath() const override { return m_folder; }

    std::optional<std::string> finalFilePath() const override { return m_finalFile; }

    std::optional<std::string> activeFile() const override;

    std::int64_t userRequestedPartitions() const override { return 1; }

    void setUserRequestedPartitions(std::int64_t) override {}

    std::int64_t activeConnections() const override { return 1; }

    bool supportsControl() const override { return false; }

    bool supportsRecovery() const override { return false; }

    bool isRetryable() const override { return false; }

    std::optional<DownloadLink> link() const override { return std::nullopt; }

    std::optional<std::string> awaitedBundle() const override { return std::nullopt; }

    Result<void> saveProgress() override { return {}; }

    Result<void> moveBundleTo(const std::string& folder) override;
    std::optional<Error> removeFiles() override;

    bool pause() override { return false; }

    /// The transfer can't be begun anew: the copy's preparation ends with the page that it began on.
    std::shared_ptr<RemoteFile> copy() const override;

    std::string description() const override;

    std::string archivedClassName() const override { return "URLRemoteFile"; }

    void encode(KeyedArchiver& archiver) const override;

private:
    URLRemoteFile(const Url& url, Url source, std::string folder, const JobEnvironment& environment);

    StepEnd doMakeReady(std::shared_ptr<const TRAuthToken> auth) override;
    StepEnd doDownload() override;
    void aboutToEnter(rf_state_t state) override;
    void takeOver(const Result<std::string>& finished);
    void dropTransfer();

    const Url m_source;
    const std::string m_folder;
    std::string m_partFile; // empty once it is gone
    std::string m_growingFile;
    std::function<void()> m_cancel;
    std::int64_t m_totalBytesDownloaded = 0;
    std::optional<std::string> m_finalFile;
};

} // namespace tarvo
