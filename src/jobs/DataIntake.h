// What the data of one download passes on its way to the disk, under one lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>

#include "base/Clock.h"
#include "base/Disk.h"
#include "base/Locked.h"
#include "engine/progress/ProgressData.h"
#include "jobs/AnswerJudge.h"
#include "jobs/SegmentsSnapshot.h"
#include "jobs/WriteBehind.h"
#include "storage/ProgressBundle.h"

namespace tarvo {

/// The record that a download goes on with.
struct AdoptedRecord {
    std::shared_ptr<ProgressData> data;
    Validator validator{};             ///< of the version that it is of
    std::int64_t timesChanged = 0;     ///< see ProgressState
    std::set<std::int64_t> unproven{}; ///< holes before which bytes lie of which the version is not known
};

/// The intake at one moment, for a save or a plan; the transfer goes on meanwhile.
struct DataSnapshot {
    std::optional<Error> refusal;
    std::optional<AdoptedRecord> record; ///< its data are a copy; none: there is nothing to be saved
    std::int64_t fileSize = 0;           ///< bytes; below 1: unknown
    std::shared_ptr<FileHandle> file;    ///< null while the bundle is not this job's
    std::string path;                    ///< of the data file
};

/// Takes the blocks of one download: judges each, writes, counts and records it as one step, which never
/// interleaves with the download's failing, stopping or being saved. Owns the bundle's data file and with it
/// the lock that keeps other jobs from the bundle. Knows nothing of the job. All calls from any thread; they
/// wait for the write that is under way.
class DataIntake {
public:
    /// What became of a block.
    struct Taken {
        std::int64_t consumed = 0; ///< all of it; 0: refused; -1: it has made the download fail
        bool announces = false;    ///< observers have not been told for a while
        std::int64_t known = 0;    ///< what of it was there before, and is the same
    };

    /// `disk` and `clock` outlive it.
    DataIntake(Disk& disk, const Clock& clock) : m_disk(disk), m_clock(clock) {}

    /// Bytes that are done, without waiting.
    std::int64_t totalDone() const { return m_totalDone; }

    /// A new attempt begins: blocks are taken again.
    void admit() { m_state.lock()->refusal.reset(); }

    /// No block is taken from now on. The first reason stays.
    void refuse(const Error& reason);

    /// refuse(), and the bundle is given up; a transfer that is under way saves before it does that itself.
    void fail(const Error& reason);

    /// refuse(), and the bundle is given up at once.
    void stop();

    std::optional<Error> refusal() { return m_state.lock()->refusal; }

    /// Opens the bundle's data file, made if it is not there, for this download alone. Waits for moments
    /// only: EWOULDBLOCK when another job has it.
    Result<void> open(const ProgressBundle& bundle);

    bool isOpen() { return m_state.lock()->file != nullptr; }

    /// The bundle has been moved to another place; after a copy its data file is another one.
    Result<void> follow(const ProgressBundle& bundle);

    /// Shows a record that is not gone on with yet, or that the download has ended with.
    void show(const std::shared_ptr<ProgressData>& record, std::int64_t fileSize);

    /// The same of a file that is whole; `length` in bytes.
    void showWhole(std::int64_t length);

    /// Goes on with `adopted`, of which no more is believed than the data file holds; the file is cut to what
    /// is.
    Result<void> adopt(AdoptedRecord adopted, std::int64_t fileSize);

    DataSnapshot snapshot();

    /// Adds which bytes are done, and of which version. False, and nothing is added, where that would have to
    /// wait for a write. Holds the lock for the time that a copy of the ranges takes.
    bool tryAddTo(SegmentsSnapshot& snapshot);

    /// From here to endTransfer() the transfer thread has the file.
    void beginTransfer();

    /// No more blocks come; there is still something to be saved or finished.
    void endBlocks();

    void endTransfer();

    /// The data file has its final name: there is no record to be saved any more.
    void markFinal() { m_state.lock()->isFinal = true; }

    bool isFinal() { return m_state.lock()->isFinal; }

    /// Takes a block that belongs at `offset`. On the transfer thread, in which the downloader's answer may
    /// be looked at.
    Taken take(const CurlDownloader& downloader, std::span<const char> data, std::int64_t offset);

private:
    struct State {
        std::shared_ptr<FileHandle> file; // locked against other jobs
        std::string path;
        std::int64_t dataEnd = 0; // what the data file's length is at least
        std::shared_ptr<ProgressData> record;
        ExpectedFile expected;
        std::int64_t timesChanged = 0;
        std::set<std::int64_t> unproven;
        std::optional<Error> refusal;
        bool isTransferring = false;
        bool isFinal = false;
        std::optional<TimePoint> lastAnnounced;
        std::shared_ptr<WriteBehind> writeBehind; // while blocks come
    };

    /// Adds to `known` what was there before.
    std::optional<Error> takeBlock(State& state, const CurlRequest& request, std::span<const char> data,
                                   std::int64_t offset, std::int64_t& known);
    std::optional<Error> takeRepeated(State& state, std::span<const char> data, std::int64_t offset,
                                      std::int64_t& known);
    std::optional<Error> writeBlock(State& state, std::span<const char> data, std::int64_t offset);
    bool isAnnouncementDue(State& state) const;

    Disk& m_disk;
    const Clock& m_clock;
    Locked<State> m_state;
    std::atomic<std::int64_t> m_totalDone{0}; // for readers that must not wait for a write
};

} // namespace tarvo
