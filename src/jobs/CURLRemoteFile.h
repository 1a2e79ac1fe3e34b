// The segmented job: one file over several connections, kept in a bundle until it is whole.
#pragma once

#include <atomic>
#include <map>
#include <set>
#include <span>
#include <vector>

#include "base/Locked.h"
#include "engine/progress/HandleCreator.h"
#include "engine/transfer/CurlMulti.h"
#include "engine/transfer/RangeAnswer.h"
#include "engine/transfer/Scout.h"
#include "jobs/RemoteFileBase.h"
#include "jobs/WriteBehind.h"
#include "storage/ProgressBundle.h"

namespace tarvo {

/// Preparation and transfer run on workers; everything else on the main thread. What the data path
/// touches stands in one locked Intake: a block is written, counted and recorded as one step that never
/// interleaves with the job's failing, stopping or being saved.
class CURLRemoteFile final : public RemoteFileBase, public CurlDownloaderDelegate {
    Q_OBJECT

public:
    /// A new download of `url` into `directory` (absolute path) over `partitions` connections.
    static std::shared_ptr<CURLRemoteFile> create(const Url& url, std::int64_t partitions,
                                                  const std::string& directory,
                                                  const JobEnvironment& environment);

    /// A download of the saved queue that link() was asked of, begun anew. Where its file turns out to be
    /// there already, of the same size and from the same address, it has succeeded.
    static std::shared_ptr<CURLRemoteFile> fromLink(const DownloadLink& link,
                                                    const JobEnvironment& environment);

    /// The download of a bundle on disk. Always a job: one that can't be restored has failed, with the
    /// reason.
    static std::shared_ptr<CURLRemoteFile> fromBundleFile(const std::string& bundleDirectory,
                                                          const JobEnvironment& environment);

    /// The job that encode() archived; null, and the reason in the log, when its bundle is gone or empty. One
    /// whose folder is away has failed, and goes on when that is back.
    static std::shared_ptr<CURLRemoteFile> fromArchive(KeyedUnarchiver& unarchiver,
                                                       const JobEnvironment& environment);

    ~CURLRemoteFile() override;

    void setReferer(const std::optional<Url>& referer) { m_referer = referer; }

    std::optional<Url> authenticationUrl() const override {
        return m_authenticationUrl ? m_authenticationUrl : m_url;
    }

    std::int64_t totalBytesDownloaded() const override { return m_totalDone; }

    double percentComplete() const override;

    std::string basePath() const override { return m_basePath; }

    std::optional<std::string> finalFilePath() const override { return m_finalFileBookmark; }

    std::optional<std::string> activeFile() const override;

    std::int64_t userRequestedPartitions() const override { return m_requestedPartitions; }

    /// What is asked for when the server supports it, else 1.
    std::int64_t partitionCount() const;
    std::int64_t activeConnections() const override;

    /// Whether fromBundleFile() finds what it needs: not before the bundle has its first record.
    bool supportsRecovery() const override { return m_bundleBookmark && m_recordOnDisk; }

    bool isRetryable() const override;
    std::optional<DownloadLink> link() const override;
    std::optional<std::string> awaitedBundle() const override;

    /// What else is known of the download of a bundle that can't be read now: its address, and its size in
    /// bytes.
    void recall(const Url& url, std::int64_t size);
    Result<void> saveProgress() override;
    Result<void> moveBundleTo(const std::string& folder) override;
    std::optional<Error> removeFiles() override;
    std::shared_ptr<RemoteFile> copy() const override;

    std::string description() const override;

    std::string archivedClassName() const override { return "CURLRemoteFile"; }

    void encode(KeyedArchiver& archiver) const override;

    std::int64_t downloaderHasData(CurlDownloader& downloader, std::span<const char> data,
                                   std::int64_t offset) override;
    void downloaderHasParsedHeader(CurlDownloader& downloader, const std::string& key,
                                   const std::string& value) override;

private:
    /// What the data path touches, and nothing else. Whoever holds it excludes a block being written.
    struct Intake {
        std::shared_ptr<FileHandle> file;     // the bundle's data file, locked against other jobs
        std::string path;                     // its path, for errors
        std::int64_t dataEnd = 0;             // what the data file's length is at least
        std::shared_ptr<ProgressData> record; // what of it is done
        std::int64_t fileSize = 0;            // of the whole file; below 1: unknown
        Validator validator;                  // of the version that the record is of
        std::int64_t timesChanged = 0;        // see ProgressState
        std::set<std::int64_t> unproven; // holes before which old bytes lie, of what version is not known
        std::optional<Error> refusal;    // set once the job failed or was stopped
        bool isTransferring = false;     // the transfer thread saves before it gives the file up
        std::optional<TimePoint> lastBytesDownloadedEvent;
        std::shared_ptr<WriteBehind> writeBehind; // while a transfer runs
    };

    /// What can be asked to stop from outside: a probe, a loop.
    struct Running {
        std::shared_ptr<Scout> probe;
        std::shared_ptr<CurlMulti> loop;
        std::shared_ptr<CurlMulti> check; // of the version, at the end
    };

    using Token = std::shared_ptr<const TRAuthToken>;
    using Tokens = std::map<std::string, Token>; // by their service

    /// Where the file is fetched, and with which credentials: redirects may lead to a server that asks for
    /// credentials of its own, and libcurl gives it none but when it is asked directly.
    struct Source {
        std::optional<Url> url;
        Token auth;
    };

    struct Probe {
        std::shared_ptr<Scout> scout;
        std::optional<Error> problem;
    };

    struct ProbeAnswers {
        bool supportsMultipartDownloads = false;
        std::int64_t contentLength = 0;
        std::string suggestedFileName;
        Validator validator;
        Source source;
    };

    /// What a preparation takes over of the bundle's record.
    struct Adopted {
        std::shared_ptr<ProgressData> record;
        std::int64_t timesChanged = 0;     // see Intake
        std::set<std::int64_t> unproven{}; // see Intake
    };

    /// What a preparation goes by and what it has found out; the worker's between the two visits to the
    /// main thread that fill it in and take it over.
    struct Preparation {
        std::optional<Url> url;
        std::optional<Url> referer;
        Tokens tokens;
        std::optional<Url> authenticationUrl; // another server's than that of `url`, which asks
        Source source;
        std::int64_t requestedPartitions = 1;
        std::optional<std::string> bookmark; // the bundle, once there is one
        std::optional<std::string> name;     // the name that was chosen with a new bundle
        std::shared_ptr<ProgressData> record;
        std::int64_t fileSize = 0;
        HandleCreator::Handles handles;
        std::optional<dev_t> device; // that the bundle is on, once it has been seen there
        bool recordOnDisk = false;
        bool ownsBundle = false;
        bool recoveredSession = false;
        bool succeeded = false;
        std::optional<std::string> finalFile; // it turned out to be finished already
    };

    struct Finished {
        std::string file;
        std::int64_t length = 0;
    };

    /// What a save writes: taken at one moment, written while the transfer goes on.
    struct Save {
        std::optional<ProgressState> state{};  // none: there is nothing to be saved
        std::optional<std::string> bookmark{}; // none: there is no bundle
        std::shared_ptr<FileHandle> file{};    // none: the job does not have the bundle
        std::string path{};
        bool isUnderFault = false;
    };

    explicit CURLRemoteFile(const JobEnvironment& environment);

    Save takeSave();
    Result<void> flushData(const Save& save);
    Result<void> writeRecord(const Save& save);
    void saveBeforeFailing(const Error& cause);
    bool makeRoomForRecord(Save& save);
    static std::shared_ptr<CURLRemoteFile> fromAbsentBundle(const ProgressBundle& bundle,
                                                            const JobEnvironment& environment);
    static Error folderAway(const ProgressBundle& bundle);
    void setRecord(const std::shared_ptr<ProgressData>& record, std::int64_t size);
    static Error writeFailure(const Error& cause);
    static Error changedOnServer();
    std::shared_ptr<CURLRemoteFile> self();
    std::optional<Error> removeBundle(const ProgressBundle& bundle, const std::optional<Url>& url);
    Result<void> takeMovedDataFile(const ProgressBundle& bundle);

    // Preparation (CURLRemoteFilePreparation.cpp)
    void aboutToMakeReady(const std::shared_ptr<const TRAuthToken>& auth) override;
    Result<void> doMakeReady(std::shared_ptr<const TRAuthToken> auth) override;
    void didMakeReady() override;
    Result<void> prepare();
    bool wasFinishedBefore();
    Result<ProbeAnswers> tryScoutConnection(const Url& url);
    Probe probe(Source& source);
    Probe probeWithKeys(Source& source);
    Probe runScout(const Source& source, const std::optional<Url>& referer);
    Source sourceAt(const Url& url) const;
    Error authenticationError(const Url& asking, const Error& problem);
    Result<ProgressBundle> ensureBundle(const ProbeAnswers& probe);
    Result<ProgressBundle> createBundle(const std::string& wantedName, const std::string& folder,
                                        std::int64_t size);
    bool isFinishedHere(const std::string& file, std::int64_t size) const;
    void takeFinished(const std::string& file, std::int64_t size);
    Result<void> takeDataFile(const ProgressBundle& bundle);
    Result<void> adoptOrStartRecord(const ProgressBundle& bundle, const ProbeAnswers& probe);
    Result<Adopted> adoptRecord(const ProgressBundle& bundle, const ProbeAnswers& probe);
    Result<void> startOver(const ProgressBundle& bundle, const ProgressState& saved);
    Result<void> ensureBundleSubfiles(const ProgressBundle& bundle);
    bool fetchesParts(const Intake& intake) const;
    HandleCreator::Handles handlesFor(const std::shared_ptr<const ProgressData>& record, const Source& source,
                                      const std::optional<Url>& referer, std::int64_t count);

    // Transfer (CURLRemoteFileTransfer.cpp)
    Result<void> doDownload() override;
    void didDownload() override;
    Result<void> checkSpace();
    Result<void> transferAndFinish();
    Result<void> runLoops();
    Result<void> runLoopOnce();
    Result<void> confirmVersion(const CurlDownloader& part);
    std::shared_ptr<CurlMulti> makeLoop();
    void createHandles();
    std::optional<Error> firstErrorOf(const HandleCreator::Handles& handles);
    std::optional<Error> takeBlock(Intake& intake, const CurlRequest& request, std::span<const char> data,
                                   std::int64_t offset);
    std::optional<Error> compareBlock(Intake& intake, std::span<const char> data, std::int64_t offset);
    std::optional<Error> writeBlock(Intake& intake, std::span<const char> data, std::int64_t offset);
    bool updateTotalBytesDownloaded(Intake& intake) const;
    static RangeVerdict judge(const Intake& intake, const CurlDownloader& downloader, std::size_t count,
                              std::int64_t offset);
    static RangeVerdict judgeHead(const Intake& intake, const CurlDownloader& downloader);
    Result<void> finish(const std::string& name);
    Result<std::string> finalizeFile(const std::string& name);
    void setFinalFileExtendedAttributes(const std::string& file) const;

    bool failsWhenStalled() const override;
    void aboutToEnter(rf_state_t state) override;
    void onStart() override;
    void onPause() override;
    void onResume() override;
    void onFail() override;
    void onStop() override;
    void stopTransfers();

    std::string m_basePath;
    std::optional<Url> m_referer;
    HandleCreator::Handles m_easyHandles;
    Tokens m_tokens;
    std::optional<Url> m_authenticationUrl;
    Source m_source; // as the last preparation has found it
    std::int64_t m_requestedPartitions = 1;
    std::optional<std::string> m_bundleBookmark;
    bool m_ownsBundle = false;     // it was made by this download, or taken over from an earlier run of it
    std::optional<dev_t> m_device; // see Preparation
    bool m_recordOnDisk = false;   // the bundle holds this download's record
    std::optional<std::string> m_finalFileBookmark;
    Preparation m_preparation;
    Finished m_finished;                        // set by the transfer thread, taken over on the main thread
    std::shared_ptr<CurlDownloader> m_lastPart; // the transfer thread's: one of those that came in last
    /// The data file has its final name: there is no record to save any more.
    std::atomic<bool> m_finalized{false};
    Locked<Intake> m_intake;
    std::atomic<std::int64_t> m_totalDone{
        0}; // the record's total, for readers that must not wait for a write
    Locked<Running> m_running;
};

} // namespace tarvo
