// The segmented job: one file over several connections, kept in a bundle until it is whole.
#pragma once

#include "jobs/DownloadPreparation.h"
#include "jobs/JobErrors.h"
#include "jobs/JobOrigin.h"
#include "jobs/RemoteFileBase.h"
#include "jobs/SegmentedTransfer.h"

namespace tarvo {

/// Lives on the main thread, as every job: its states and signals, what is shown of it, its archive and its
/// copies. The work is done by others: a DownloadPreparation, a SegmentedTransfer, and the DataIntake that
/// the two share with it.
class CURLRemoteFile final : public RemoteFileBase {
    Q_OBJECT

public:
    static std::shared_ptr<CURLRemoteFile> make(const JobOrigin& origin, const JobEnvironment& environment);

    /// A new download of `url` into `directory` (absolute path) over `partitions` connections.
    static std::shared_ptr<CURLRemoteFile> create(const Url& url, std::int64_t partitions,
                                                  const std::string& directory,
                                                  const JobEnvironment& environment);

    /// The download of a bundle on disk. Always a job: one that can't be restored has failed, with the
    /// reason.
    static std::shared_ptr<CURLRemoteFile> fromBundleFile(const std::string& bundleDirectory,
                                                          const JobEnvironment& environment);

    std::optional<Url> authenticationUrl() const override {
        return m_authenticationUrl ? m_authenticationUrl : m_url;
    }

    std::optional<Checksum> expectedChecksum() const override { return m_facts.checksum; }

    std::optional<std::int64_t> bytesVerified() const override {
        return isActive() && m_transfer ? m_transfer->bytesVerified() : std::nullopt;
    }

    std::int64_t totalBytesDownloaded() const override { return m_intake->totalDone(); }

    double percentComplete() const override;

    std::string basePath() const override { return m_basePath; }

    std::optional<std::string> finalFilePath() const override { return m_finalFileBookmark; }

    std::optional<std::string> activeFile() const override;

    std::int64_t userRequestedPartitions() const override { return m_facts.requestedPartitions; }

    void setUserRequestedPartitions(std::int64_t asked) override { m_facts.choosePartitions(asked); }

    std::int64_t activeConnections() const override;

    std::optional<ConnectionLimit> connectionLimit() const override {
        return isActive() && m_transfer ? m_transfer->connectionLimit() : std::nullopt;
    }

    std::optional<SegmentsSnapshot> segments() const override;

    /// Whether fromBundleFile() finds what it needs: not before the bundle has its first record.
    bool supportsRecovery() const override { return m_facts.bundle.bookmark && m_facts.bundle.hasRecord; }

    bool supportsRenaming() const override { return isAtRest() && m_url && !awaitedBundle(); }

    bool recoveredSession() const override { return m_facts.isRecovered; }

    bool isRetryable() const override { return !error() || canHeal(*error()); }

    std::optional<DownloadLink> link() const override;
    std::optional<std::string> awaitedBundle() const override;
    Result<void> saveProgress() override;
    Result<void> moveBundleTo(const std::string& folder) override;

    Result<void> moveFiles(const std::string& name) override { return moveTo({m_basePath, name}); }

    std::optional<Error> removeFiles() override;
    std::shared_ptr<RemoteFile> copy() const override;
    std::shared_ptr<RemoteFile> copyAt(const Url& address) const override;

    std::string description() const override;

    std::string archivedClassName() const override { return "CURLRemoteFile"; }

    void encode(KeyedArchiver& archiver) const override;

private:
    explicit CURLRemoteFile(const JobEnvironment& environment);

    void aboutToMakeReady(const std::shared_ptr<const TRAuthToken>& auth) override;
    StepEnd doMakeReady(std::shared_ptr<const TRAuthToken> auth) override;
    void takeOver(const Findings& found);
    void takeOver(ReadyDownload ready);
    std::optional<BundlePlace> showProbe(const ProbeAnswers& probe);
    StepEnd doDownload() override;
    void takeOver(const FinishedFile& finished);
    bool failsWhenStalled() const override;
    void aboutToEnter(rf_state_t state) override;
    Result<void> moveTo(const ProgressBundle& target);
    JobOrigin originAt(const Url& url, const DownloadFacts& facts) const;

    std::string m_basePath;
    DownloadFacts m_facts;
    std::optional<Url> m_authenticationUrl;
    std::optional<std::string> m_finalFileBookmark;
    AuthTokens m_tokens;
    const std::shared_ptr<DataIntake> m_intake;
    std::shared_ptr<DownloadPreparation> m_preparation; // while one is under way
    std::shared_ptr<SegmentedTransfer> m_transfer;      // of the last preparation
};

} // namespace tarvo
