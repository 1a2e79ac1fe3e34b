// A download job: one file that the user asked for, whatever way it is fetched.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QObject>

#include "base/Clock.h"
#include "base/Error.h"
#include "base/KeyedArchiver.h"
#include "base/Url.h"
#include "base/WorkQueue.h"
#include "engine/transfer/HostConnections.h"
#include "engine/transfer/TRAuthToken.h"
#include "jobs/DownloadLink.h"
#include "jobs/SegmentsSnapshot.h"

namespace tarvo {

enum rf_state_t : std::int32_t {
    rf_state_initializing = 0, ///< newly created or restored; nothing learned yet
    rf_state_preparing = 1,    ///< being made ready
    rf_state_ready = 2,        ///< size, name and storage known; waiting to be started
    rf_state_running = 3,      ///< transferring
    rf_state_paused = 4,       ///< transfer suspended; can resume
    rf_state_failed = 5,       ///< error() and errorDate() are set
    rf_state_stopped = 6,      ///< stopped for good; nothing leaves this state
    rf_state_succeeded = 7,    ///< the file is complete
};

/// The user's word for a state; "Unknown" for rf_state_preparing and for what is no state.
std::string statusText(int state);

/// The one face that queue, scheduler and interface see. Lives on the main thread: everything is
/// called there, except the operations that say otherwise. Held by shared pointer; the last one may be
/// dropped on any thread.
class RemoteFile : public QObject, public Archivable, public std::enable_shared_from_this<RemoteFile> {
    Q_OBJECT

public:
    virtual std::optional<Url> url() const = 0;

    /// The address that asked for the credentials for want of which preparation has failed: redirects may
    /// have led it to another server than that of url(). Also on the thread that prepared.
    virtual std::optional<Url> authenticationUrl() const { return url(); }

    /// What makes two jobs the same download: the address, "unknown" without one.
    std::string identity() const { return url() ? url()->absoluteString() : "unknown"; }

    /// For logs; without secrets.
    virtual std::string description() const = 0;

    virtual rf_state_t currentState() const = 0;
    virtual std::int64_t fileSize() const = 0; ///< bytes; below 1 while unknown
    virtual std::int64_t totalBytesDownloaded() const = 0;
    virtual double percentComplete() const = 0; ///< 0 to 100; -1 when unknown
    virtual std::int64_t bytesPerSecond() const = 0;

    /// The speeds that bytesPerSecond() is the mean of, oldest first, each of half a second or a little more.
    virtual std::vector<std::int64_t> recentSpeeds() const { return {}; }

    virtual double secondsRemaining() const = 0;

    /// What the user wants the finished file to be compared with.
    virtual std::optional<Checksum> expectedChecksum() const { return std::nullopt; }

    /// While all bytes are there and the file is compared with that: how many have been read for it.
    virtual std::optional<std::int64_t> bytesVerified() const { return std::nullopt; }

    virtual const std::optional<Error>& error() const = 0;
    virtual std::optional<TimePoint> errorDate() const = 0;

    /// When the user asked for the file; none where a session of an earlier version did not keep it.
    virtual std::optional<WallTime> addedDate() const { return std::nullopt; }

    /// When it came to rf_state_succeeded.
    virtual std::optional<WallTime> finishedDate() const { return std::nullopt; }

    /// Which of its bytes are there and which are on their way. None where the answer would have to wait:
    /// what was there last still holds. Costs a walk over the done ranges.
    virtual std::optional<SegmentsSnapshot> segments() const { return SegmentsSnapshot{fileSize()}; }

    virtual std::string fileName() const = 0; ///< the cleaned name the file will have

    std::string displayName() const { return fileName(); }

    virtual void setOverridenFileName(const std::string& name) = 0; ///< what the user chose

    virtual std::string basePath() const = 0;                     ///< folder of bundle and finished file
    virtual std::optional<std::string> finalFilePath() const = 0; ///< the finished file, once finished
    virtual std::optional<std::string> activeFile() const = 0;    ///< bundle while running, then the file

    virtual std::int64_t userRequestedPartitions() const = 0; ///< connections asked for

    /// From the next preparation on.
    virtual void setUserRequestedPartitions(std::int64_t connections) = 0;

    virtual std::int64_t activeConnections() const = 0;

    /// While it runs, what keeps it from having as many connections as were asked for.
    virtual std::optional<ConnectionLimit> connectionLimit() const { return std::nullopt; }

    virtual bool supportsControl() const = 0;
    virtual bool supportsMultipartDownloads() const = 0;
    virtual bool supportsRecovery() const = 0;
    virtual bool supportsRenaming() const = 0;
    virtual bool recoveredSession() const = 0;
    virtual bool isRetryable() const = 0;

    /// What the job could be made anew from; none without an address.
    virtual std::optional<DownloadLink> link() const = 0;

    /// The path that has to be there again before another attempt can come further than the last.
    virtual std::optional<std::string> awaitedBundle() const = 0;

    std::uint64_t attemptNumber = 0;           ///< how many times the job has been started
    std::uint64_t fruitlessAttempts = 0;       ///< failures in a row without a new byte
    std::optional<std::int64_t> bytesAtStart;  ///< what there was when the transfer began
    std::optional<TimePoint> nextScheduledRun; ///< when it will be tried next

    /// Learns what is to be downloaded and prepares storage. `auth` goes to its own service only, and only
    /// when that asks; the tokens of earlier calls are remembered. Blocks; on a worker thread.
    virtual Result<void> makeReadyAndBlock(std::shared_ptr<const TRAuthToken> auth) = 0;

    /// Transfers to the end. Blocks; on a worker thread. Answers whether the file is complete.
    virtual bool downloadAndBlock() = 0;

    /// Starts a ready job on `queue`, resumes a paused one. Never blocks.
    virtual bool resumeOrStart(WorkQueue& queue) = 0;

    /// Each answers whether the transition was made.
    virtual bool pause() = 0;
    virtual bool resume() = 0;
    virtual bool stop() = 0;

    /// Writes the progress record. Any thread but the main one while a transfer runs: it waits for the
    /// disk.
    virtual Result<void> saveProgress() = 0;

    /// Moves the unfinished download, which must not be under way, to another folder; what is kept and
    /// what is refused: see moveBundle(). To another file system it takes as long as the disks need.
    virtual Result<void> moveBundleTo(const std::string& folder) = 0;

    /// Has what there is of the unfinished download on disk go by `name`, which is cleaned: see renameJob().
    virtual Result<void> moveFiles(const std::string& name) = 0;

    /// Deletes what is the job's on disk, finished or not; a bundle that it was refused, or that another
    /// program works on, stays. The last failure, if there was one. On a worker, once the job was stopped:
    /// it waits for the end of what was under way, and for the disk.
    virtual std::optional<Error> removeFiles() = 0;

    /// A fresh job for the same download, in the state rf_state_initializing.
    virtual std::shared_ptr<RemoteFile> copy() const = 0;

    /// The same, but to go on from another address, which its preparation puts to the proof (AddressProof):
    /// without that it fails, and what is on disk is as it was. Null where that can't be.
    virtual std::shared_ptr<RemoteFile> copyAt(const Url& /*address*/) const { return nullptr; }

Q_SIGNALS:
    /// Once for each real change.
    void currentStateChanged(tarvo::rf_state_t oldState, tarvo::rf_state_t newState);
    /// At most every 10 ms.
    void totalBytesDownloadedChanged();
    void fileSizeChanged();
    void fileNameChanged();
};

} // namespace tarvo
