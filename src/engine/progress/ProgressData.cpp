#include "engine/progress/ProgressData.h"

#include "base/Log.h"

#include <algorithm>

namespace tarvo {

namespace {

std::unique_ptr<LinkedByteRange> emptyNodeAt(std::int64_t offset) {
    return std::make_unique<LinkedByteRange>(std::make_shared<ByteRange>(offset, offset));
}

} // namespace

ProgressData::ProgressData(std::int64_t size) : sizeInBytes(size) {
}

ProgressData::ProgressData(std::int64_t size, const ByteRanges& existingRanges) : sizeInBytes(size) {
    for (const auto& range : existingRanges)
        recordBytesDownloaded(range->lowerBound, range->size());
}

std::int64_t ProgressData::totalBytesDownloaded() const {
    std::int64_t total = 0;
    for (auto* node = m_listHead.get(); node; node = node->next.get())
        total += node->byteRange->size();
    return total;
}

ByteRanges ProgressData::readout() const {
    ByteRanges ranges;
    for (auto* node = m_listHead.get(); node; node = node->next.get())
        ranges.push_back(node->byteRange);
    return ranges;
}

ByteRanges ProgressData::readoutHoles() const {
    ByteRanges holes;
    if (isIndeterminateSize())
        return holes;
    std::int64_t start = 0;
    const auto addHoleUpTo = [&](std::int64_t end) {
        if (end > start)
            holes.push_back(std::make_shared<ByteRange>(start, end));
    };
    for (auto* node = m_listHead.get(); node; node = node->next.get()) {
        addHoleUpTo(node->byteRange->lowerBound);
        start = node->byteRange->upperBound;
    }
    addHoleUpTo(sizeInBytes);
    return holes;
}

LinkedByteRange& ProgressData::getOrInsertNode(std::int64_t offset) {
    if (!m_listHead || m_listHead->byteRange->lowerBound > offset) {
        auto node = emptyNodeAt(offset);
        node->next = std::move(m_listHead);
        m_listHead = std::move(node);
        return *m_listHead;
    }
    auto* current = m_listHead.get();
    while (!current->byteRange->includesByte(offset) && current->next &&
           current->next->byteRange->lowerBound <= offset)
        current = current->next.get();
    if (current->byteRange->includesByte(offset))
        return *current;
    Log::assertThat(current->byteRange->upperBound < offset, "getOrInsertNode(_:)");
    current->insertAfter(emptyNodeAt(offset));
    return *current->next;
}

void ProgressData::recordBytesDownloaded(std::int64_t offset, std::int64_t bytes) {
    if (!Log::assertThat(bytes >= 0, "a write can't have a negative length") || bytes == 0)
        return;
    LinkedByteRange& node = getOrInsertNode(offset);
    node.byteRange->increment(offset, bytes);
    if (isIndeterminateSize()) {
        Log::assertThat(node.byteRange->lowerBound == 0, "a stream of unknown size starts at 0");
        return;
    }
    Log::assertThat(node.byteRange->upperBound <= sizeInBytes, "a write past the end of the file");
    // One following node is the normal case; a write over several must not leave one of them behind,
    // or its bytes would be counted twice.
    while (node.next && node.byteRange->includesByte(node.next->byteRange->lowerBound))
        node.mergeWithNext();
}

void ProgressData::forgetFrom(std::int64_t offset) {
    for (auto* link = &m_listHead; *link; link = &(*link)->next) {
        auto& range = *(*link)->byteRange;
        if (range.upperBound <= offset)
            continue;
        range.upperBound = std::max(offset, range.lowerBound);
        if (range.size() == 0)
            link->reset();
        else
            (*link)->next.reset();
        return;
    }
}

std::shared_ptr<ProgressData> ProgressData::copy() const {
    auto other = std::make_shared<ProgressData>(sizeInBytes);
    auto* tail = &other->m_listHead;
    for (auto* node = m_listHead.get(); node; node = node->next.get()) {
        *tail = std::make_unique<LinkedByteRange>(std::make_shared<ByteRange>(*node->byteRange));
        tail = &(*tail)->next;
    }
    return other;
}

bool ProgressData::isSound() const {
    std::int64_t end = 0;
    for (auto* node = m_listHead.get(); node; node = node->next.get()) {
        const auto& range = *node->byteRange;
        if (range.lowerBound < end || range.upperBound < range.lowerBound)
            return false;
        end = range.upperBound;
    }
    if (isIndeterminateSize())
        return !m_listHead || (m_listHead->byteRange->lowerBound == 0 && !m_listHead->next);
    return end <= sizeInBytes;
}

void ProgressData::encode(KeyedArchiver& archiver) const {
    archiver.encodeInteger("sizeInBytes", sizeInBytes);
    const ByteRanges ranges = readout();
    archiver.encodeArray("ranges", {ranges.begin(), ranges.end()});
}

void ProgressData::registerWith(KeyedUnarchiver& unarchiver) {
    ByteRange::registerWith(unarchiver);
    unarchiver.registerClass(
        "ProgressData", [](KeyedUnarchiver& from) -> Result<std::shared_ptr<Archivable>> {
            auto record = std::make_shared<ProgressData>(from.decodeInteger("sizeInBytes"));
            const auto ranges = from.decodeArray("ranges");
            if (!ranges)
                return failure(
                    Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.progress.data-corrupt"));
            for (auto element = ranges->rbegin(); element != ranges->rend(); ++element) {
                auto range = std::dynamic_pointer_cast<ByteRange>(*element);
                if (!range)
                    return failure(
                        Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.progress.data-corrupt"));
                auto node = std::make_unique<LinkedByteRange>(std::move(range));
                node->next = std::move(record->m_listHead);
                record->m_listHead = std::move(node);
            }
            return record;
        });
}

} // namespace tarvo
