// Which bytes of one remote file have been written to its data file.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "base/Error.h"
#include "base/Url.h"
#include "engine/progress/ByteRange.h"
#include "engine/progress/Validator.h"
#include "engine/transfer/RequestHeaders.h"

namespace tarvo {

using ByteRanges = std::vector<std::shared_ptr<ByteRange>>;

/// The single source of truth of a download's progress: a sorted list of disjoint done ranges, of which
/// no two touch. For an unknown size there is at most one, which starts at 0. It only grows, except
/// that forgetFrom() gives up what the disk does not hold. Not locked: the job serialises all use.
class ProgressData final : public Archivable {
public:
    /// `sizeInBytes` below 1 means that the size is not known.
    explicit ProgressData(std::int64_t sizeInBytes);

    /// A record in which `existingRanges` are done; touching and overlapping ones are merged.
    ProgressData(std::int64_t sizeInBytes, const ByteRanges& existingRanges);

    std::int64_t sizeInBytes;

    bool isIndeterminateSize() const { return sizeInBytes < 1; }

    std::int64_t totalBytesDownloaded() const;

    /// Whether every byte of a known size is done.
    bool isComplete() const { return !isIndeterminateSize() && readoutHoles().empty(); }

    /// The done ranges in order: the objects themselves, not copies.
    ByteRanges readout() const;

    /// Calls `use` with each done range, in order. Copies nothing.
    template <class Use>
    void forEachRange(Use use) const {
        for (auto* node = m_listHead.get(); node; node = node->next.get())
            use(std::as_const(*node->byteRange));
    }

    /// The missing ranges in order; none for an unknown size.
    ByteRanges readoutHoles() const;

    /// Records that `bytes` bytes were written at `offset`.
    void recordBytesDownloaded(std::int64_t offset, std::int64_t bytes);

    /// Takes back every claim to bytes at or past `offset`.
    void forgetFrom(std::int64_t offset);

    /// A record with ranges of its own.
    std::shared_ptr<ProgressData> copy() const;

    /// Whether the ranges are what recordBytesDownloaded could have left: ascending, disjoint, not
    /// negative and within the size. What is read from a file is believed only if this holds.
    bool isSound() const;

    std::string archivedClassName() const override { return "ProgressData"; }

    void encode(KeyedArchiver& archiver) const override;

    /// Makes an unarchiver able to read records and their ranges.
    static void registerWith(KeyedUnarchiver& unarchiver);

private:
    LinkedByteRange& getOrInsertNode(std::int64_t offset);

    std::unique_ptr<LinkedByteRange> m_listHead;
};

/// What a progress file holds: the record and the facts of the request beside it. Never changed.
struct ProgressState {
    Url url;
    std::int64_t fileSize = 0; ///< bytes; below 1: not known
    std::shared_ptr<ProgressData> progressData;
    std::optional<Url> referer;
    std::int64_t requestedConnections = 0;
    Validator validator{};         ///< of the version that the done ranges are of
    std::int64_t timesChanged = 0; ///< how often in a row the download began anew for a new version
    std::string checksum{};        ///< that the user wants the file to have, as in "sha256=HEX"; or empty
    std::string wrongDigest{};     ///< that the whole file turned out to have instead; or empty
    RequestHeaders headers{};      ///< of its requests over HTTP; no secrets

    /// Whether the record is of the download of this address.
    bool isOf(const Url& address) const { return isSameButForPassword(url, address); }
};

} // namespace tarvo
