// A half-open interval of a file's bytes, and the list node that holds one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/KeyedArchiver.h"
#include "base/KeyedUnarchiver.h"

namespace tarvo {

/// The bytes [lowerBound, upperBound) of a file. Shared by reference: who keeps one sees it grow.
/// Nothing is enforced on construction; a reversed range has a negative size and is left out where
/// holes are computed. Not locked: its owner serialises all use.
class ByteRange final : public Archivable {
public:
    ByteRange(std::int64_t lower, std::int64_t upper) : lowerBound(lower), upperBound(upper) {}

    std::int64_t lowerBound; ///< offset of the first byte
    std::int64_t upperBound; ///< offset one past the last byte

    std::int64_t size() const { return upperBound - lowerBound; }

    /// The upper test is inclusive on purpose: a write that starts exactly at the end extends the range,
    /// and a range that touches the next one is merged with it.
    bool includesByte(std::int64_t offset) const { return lowerBound <= offset && offset <= upperBound; }

    /// Grows the end to offset + size if that lies further; never shrinks.
    void increment(std::int64_t offset, std::int64_t size);

    /// Takes over the other's end if that lies further. The other starts within or at the end of this.
    void mergeWith(const ByteRange& other);

    /// "ByteRange[0 => 1048576]"
    std::string description() const;

    bool operator==(const ByteRange& other) const {
        return lowerBound == other.lowerBound && upperBound == other.upperBound;
    }

    std::string archivedClassName() const override { return "ByteRange"; }

    void encode(KeyedArchiver& archiver) const override;

    /// Makes an unarchiver able to read byte ranges.
    static void registerWith(KeyedUnarchiver& unarchiver);
};

/// A node of the list of done ranges.
class LinkedByteRange {
public:
    explicit LinkedByteRange(std::shared_ptr<ByteRange> range) : byteRange(std::move(range)) {}

    /// Unlinks what follows one by one: a long list must not be destroyed recursively.
    ~LinkedByteRange();

    LinkedByteRange(const LinkedByteRange&) = delete;
    LinkedByteRange& operator=(const LinkedByteRange&) = delete;

    void insertAfter(std::unique_ptr<LinkedByteRange> node);

    /// Takes the following node's range into this one and unlinks it. Without a following node it is a
    /// logged assertion and nothing changes.
    void mergeWithNext();

    std::unique_ptr<LinkedByteRange> next;
    const std::shared_ptr<ByteRange> byteRange;
};

} // namespace tarvo
