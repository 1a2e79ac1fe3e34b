// One connection of a download: a segment with its offset, its state and its kept headers.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/Clock.h"
#include "base/ThreadOwner.h"
#include "engine/progress/Validator.h"
#include "engine/transfer/CurlSegment.h"
#include "engine/transfer/SpeedWindow.h"

namespace tarvo {

class CurlDownloader;

enum class CurlDownloadState : std::uint8_t {
    Init = 0,      ///< created, not started
    Pausing = 1,   ///< pause requested, not yet applied
    Paused = 2,    ///< the segment's handle is paused
    Resuming = 3,  ///< resume requested, not yet applied
    Running = 4,   ///< transferring
    Stopping = 5,  ///< stop requested, not yet applied
    Succeeded = 6, ///< ended with no segment error
    Failed = 7,    ///< ended with a segment error, or stopped
};

/// Receives what a downloader has understood, on the transfer thread.
class CurlDownloaderDelegate {
public:
    virtual ~CurlDownloaderDelegate() = default;

    /// `data` belongs at `offset` of the file. Answers the number of bytes consumed; anything but the
    /// whole ends the transfer.
    virtual std::int64_t downloaderHasData(CurlDownloader& downloader, std::span<const char> data,
                                           std::int64_t offset) = 0;

    /// A header of the file's answer: name in lower case, value trimmed.
    virtual void downloaderHasParsedHeader(CurlDownloader&, const std::string& /*key*/,
                                           const std::string& /*value*/) {}
};

/// How far a downloader is, in bytes of the file.
struct DownloaderPosition {
    std::int64_t from = 0;    ///< its first byte
    std::int64_t current = 0; ///< where its next byte belongs
    std::int64_t end = 0;     ///< one past the last byte that it brings; 0 while only the server knows
};

/// Requests (pause, resume, stop) may come from any thread and are carried out on the transfer thread,
/// which alone touches the segment; after the end they have no effect. The state may be read from any
/// thread, and once its loop has been made the position; all else belongs to the transfer thread until the
/// transfer has ended. Used for one transfer.
class CurlDownloader final : public CurlSegmentDelegate {
public:
    using Headers = std::map<std::string, std::string>;

    static std::shared_ptr<CurlDownloader> create(std::unique_ptr<CurlSegment> segment);

    void setDelegate(std::weak_ptr<CurlDownloaderDelegate> delegate) { m_delegate = std::move(delegate); }

    CurlSegment& segment() { return *m_segment; }

    const CurlSegment& segment() const { return *m_segment; }

    /// The absolute file offset at which the next byte belongs.
    std::int64_t currentOffset() const { return m_currentOffset.load(std::memory_order_relaxed); }

    CurlDownloadState currentState() const { return m_state; }

    bool isPaused() const { return m_state == CurlDownloadState::Paused; }

    /// Whether a stop was asked for. Before the transfer has ended.
    bool isStopped() const;

    /// One past the last byte that it brings; 0 while only the server knows that.
    std::int64_t end() const { return m_end == kNoEnd ? m_segment->request().upperBound : m_end.load(); }

    /// Each number is of now, though not of the same moment.
    DownloaderPosition position() const { return {m_segment->request().lowerBound, currentOffset(), end()}; }

    /// Has the transfer end before `offset`, a place in the file: what lies before is delivered, nothing from
    /// there on, and the downloader succeeds. False, and nothing changes, when more than that has arrived,
    /// the transfer would not get so far, or is over.
    ///
    /// The server is not asked: its connection is broken off, without a last word to it, as soon as the loop
    /// has turned. So this waits for no server and disturbs none of the other children; it costs the
    /// connection, a new one's handshakes where another is needed, and what the server has sent in vain by
    /// then, some megabytes at the most.
    bool endAt(std::int64_t offset);

    /// Whether all has arrived up to an earlier end.
    bool isAtItsEnd() const { return currentOffset() >= m_end; }

    /// Bytes per second, over the last seconds where it is asked once a second (SpeedWindow). What is
    /// compared with old bytes counts too.
    double speed(TimePoint now);

    /// The value of one header of the file's answer, trimmed; `name` in lower case.
    std::optional<std::string> header(const std::string& name) const;

    /// Whether a web server, or a web proxy, gives the answer, whatever the scheme of the address.
    bool isAnsweredByWeb() const { return m_segment->protocol().starts_with("http"); }

    /// Of which version of the file the answer is.
    Validator validator() const;

    /// Has the transfer begin earlier, at `offset`: what comes up to its first byte so far is to be compared.
    /// Before it starts.
    void beginAt(std::int64_t offset);

    /// Called by the loop before the transfer starts. A request made before stays in force.
    void willStart();

    /// Called by the loop around its first turn: what arrives meanwhile is held back until each of the loop's
    /// transfers has taken its connection, or one that is done by then would pass its own on.
    void hold() { m_held = true; }

    void release();

    /// The transfer has ended and the segment knows its result.
    void didComplete();

    /// Noticed in the loop's next turn, which only the loop's own requests bring about at once.
    void requestPause();
    void requestResume();
    void requestStop();

    /// Hands on what has arrived since the last time. The loop calls it whenever libcurl has no more for the
    /// moment, so that nothing waits here and yet the pieces are large.
    void deliverPending();

    /// Carries out a waiting request. Answers -1 when the transfer has been stopped, else 0.
    std::int64_t applyRequests();

    void curlHasHeader(CurlSegment& layer, std::string_view line) override;
    std::int64_t curlHasData(CurlSegment& layer, std::span<const char> data) override;
    std::int64_t curlHasProgress(CurlSegment& layer) override;

private:
    static constexpr std::int64_t kNoEnd = std::numeric_limits<std::int64_t>::max();

    explicit CurlDownloader(std::unique_ptr<CurlSegment> segment);

    void request(CurlDownloadState state);
    std::int64_t deliver(std::span<const char> data, std::int64_t offset);

    ThreadOwner m_owner; // the transfer thread, from the start to the end
    const std::unique_ptr<CurlSegment> m_segment;
    std::weak_ptr<CurlDownloaderDelegate> m_delegate;
    std::atomic<std::int64_t> m_currentOffset;
    std::atomic<std::int64_t> m_end{kNoEnd}; // an earlier one than the request's
    SpeedWindow m_speed;
    std::vector<char> m_pending; // arrived, not yet delivered; ends at m_currentOffset
    bool m_held = false;         // between hold() and release()
    bool m_heldBack = false;     // something has arrived meanwhile
    bool m_refused = false;      // the delegate took less than it was given
    std::atomic<CurlDownloadState> m_state{CurlDownloadState::Init};
    Headers m_headers;
    Headers m_validatorHeaders; // those that name the version; m_headers holds no value with a colon
};

} // namespace tarvo
