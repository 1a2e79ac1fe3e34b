#include "engine/progress/ByteRange.h"

#include "base/Log.h"

#include <algorithm>

namespace tarvo {

void ByteRange::increment(std::int64_t offset, std::int64_t size) {
    upperBound = std::max(upperBound, offset + size);
}

void ByteRange::mergeWith(const ByteRange& other) {
    upperBound = std::max(upperBound, other.upperBound);
}

std::string ByteRange::description() const {
    return fmt::format("ByteRange[{} => {}]", lowerBound, upperBound);
}

void ByteRange::encode(KeyedArchiver& archiver) const {
    archiver.encodeInteger("lowerBound", lowerBound);
    archiver.encodeInteger("upperBound", upperBound);
}

void ByteRange::registerWith(KeyedUnarchiver& unarchiver) {
    unarchiver.registerClass("ByteRange", [](KeyedUnarchiver& from) -> Result<std::shared_ptr<Archivable>> {
        const auto lower = from.decodeInteger("lowerBound");
        return std::make_shared<ByteRange>(lower, from.decodeInteger("upperBound"));
    });
}

LinkedByteRange::~LinkedByteRange() {
    while (next)
        next = std::move(next->next);
}

void LinkedByteRange::insertAfter(std::unique_ptr<LinkedByteRange> node) {
    node->next = std::move(next);
    next = std::move(node);
}

void LinkedByteRange::mergeWithNext() {
    if (!Log::assertThat(next != nullptr, "mergeWithNext() needs a following node"))
        return;
    byteRange->mergeWith(*next->byteRange);
    next = std::move(next->next);
}

} // namespace tarvo
