#include "jobs/DataIntake.h"

#include "base/Log.h"
#include "jobs/BundleAtRest.h"
#include "jobs/JobErrors.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace tarvo {

namespace {

constexpr Seconds kBetweenAnnouncements{0.01};

std::optional<Error> compareBlock(const FileHandle& file, const std::string& path, std::span<const char> data,
                                  std::int64_t offset) {
    const auto present = Disk::readAt(file.descriptor(), offset, data.size(), path);
    if (!present)
        return writeFailure(present.error());
    if (std::equal(present->begin(), present->end(), data.begin(), data.end()))
        return std::nullopt;
    return changedOnServer();
}

} // namespace

void DataIntake::refuse(const Error& reason) {
    auto state = m_state.lock();
    if (!state->refusal)
        state->refusal = reason;
}

void DataIntake::fail(const Error& reason) {
    auto state = m_state.lock();
    if (!state->refusal)
        state->refusal = reason;
    if (!state->isTransferring)
        state->file.reset();
}

void DataIntake::stop() {
    auto state = m_state.lock();
    if (!state->refusal)
        state->refusal = Error::alreadyStopped();
    state->file.reset();
}

Result<void> DataIntake::open(const ProgressBundle& bundle) {
    // A job that is just ending, here or in another process, gives its bundle up within moments.
    constexpr auto patience = std::chrono::milliseconds(200);
    auto file = m_disk.openLocked(bundle.tempFile(), patience);
    if (!file && file.error().is(ErrorDomain::Posix, EWOULDBLOCK))
        return failure(bundleInUse(bundle.bundleDirectory()));
    if (!file)
        return failure(becauseOf("tr.err.no-create-data-file", file.error()));
    auto state = m_state.lock();
    if (state->refusal)
        return failure(*state->refusal);
    state->file = std::make_shared<FileHandle>(std::move(*file));
    state->path = bundle.tempFile();
    return {};
}

Result<void> DataIntake::follow(const ProgressBundle& bundle) {
    auto state = m_state.lock();
    state->path = bundle.tempFile();
    if (!state->file || Disk::isStillAt(state->file->descriptor(), state->path))
        return {};
    auto copy = takeAtRest(bundle, m_disk);
    if (!copy)
        return failure(copy.error());
    state->file = std::make_shared<FileHandle>(std::move(*copy));
    return {};
}

bool DataIntake::tryAddTo(SegmentsSnapshot& snapshot) {
    constexpr std::size_t usualRanges = 256;
    snapshot.done.reserve(usualRanges); // before the lock
    auto state = m_state.tryLock();
    if (!state)
        return false;
    if (state->record)
        state->record->forEachRange([&](const ByteRange& range) {
            snapshot.done.push_back({range.lowerBound, range.upperBound});
        });
    snapshot.validator = state->expected.validator;
    return true;
}

void DataIntake::show(const std::shared_ptr<ProgressData>& record, std::int64_t fileSize) {
    auto state = m_state.lock();
    state->record = record;
    state->expected.size = fileSize;
    m_totalDone = record->totalBytesDownloaded();
}

void DataIntake::showWhole(std::int64_t length) {
    const auto whole = std::make_shared<ProgressData>(length);
    whole->recordBytesDownloaded(0, length);
    show(whole, length);
}

Result<void> DataIntake::adopt(AdoptedRecord adopted, std::int64_t fileSize) {
    auto state = m_state.lock();
    if (!state->file) // given up meanwhile: the job was stopped
        return failure(Error::alreadyStopped());
    const std::int64_t length = Disk::lengthOf(state->file->descriptor());
    adopted.data->forgetFrom(std::max<std::int64_t>(length, 0));
    const std::int64_t wanted = adopted.data->totalBytesDownloaded() == 0 ? 0 : fileSize;
    if (length > wanted) {
        if (auto cut = m_disk.truncate(state->file->descriptor(), wanted, state->path); !cut)
            return cut;
    }
    state->dataEnd = std::min(length, wanted);
    state->record = std::move(adopted.data);
    state->expected = {fileSize, std::move(adopted.validator)};
    state->timesChanged = adopted.timesChanged;
    state->unproven = std::move(adopted.unproven);
    m_totalDone = state->record->totalBytesDownloaded();
    return {};
}

DataSnapshot DataIntake::snapshot() {
    auto state = m_state.lock();
    DataSnapshot taken{.refusal = state->refusal,
                       .record = std::nullopt,
                       .fileSize = state->expected.size,
                       .file = state->file,
                       .path = state->path};
    if (state->record)
        taken.record = AdoptedRecord{state->record->copy(), state->expected.validator, state->timesChanged,
                                     state->unproven};
    return taken;
}

void DataIntake::beginTransfer() {
    auto state = m_state.lock();
    state->isTransferring = true;
    state->writeBehind = std::make_shared<WriteBehind>(m_disk);
}

void DataIntake::endBlocks() {
    // It waits for the disk in its end, which must not happen under the lock.
    const auto ended = std::exchange(m_state.lock()->writeBehind, nullptr);
}

void DataIntake::endTransfer() {
    endBlocks();
    auto state = m_state.lock();
    state->isTransferring = false;
    state->file.reset(); // and with it the lock on the bundle
}

DataIntake::Taken DataIntake::take(const CurlDownloader& downloader, std::span<const char> data,
                                   std::int64_t offset) {
    auto state = m_state.lock();
    if (state->refusal) {
        Log::warning("Refusing to write under error");
        return {};
    }
    const auto verdict = judgeBlock(downloader, data.size(), offset, state->expected);
    if (verdict == RangeVerdict::httpError)
        return {}; // this connection's failure alone, told when the loop has ended
    if (verdict == RangeVerdict::accepted && offset == 0 && !asksForRange(downloader))
        state->expected.validator = downloader.validator(); // what comes is of this answer alone
    Taken taken{.consumed = static_cast<std::int64_t>(data.size())};
    std::optional<Error> fault;
    if (verdict == RangeVerdict::accepted)
        fault = takeBlock(*state, downloader.segment().request(), data, offset, taken.known);
    else
        fault = verdict == RangeVerdict::changed ? changedOnServer() : unexpectedSegmentSize();
    taken.announces = !fault && isAnnouncementDue(*state);
    if (!fault)
        return taken;
    state->refusal =
        std::move(fault); // the job fails once the loop has ended and what is good has been saved
    return {.consumed = -1};
}

std::optional<Error> DataIntake::takeBlock(State& state, const CurlRequest& request,
                                           std::span<const char> data, std::int64_t offset,
                                           std::int64_t& known) {
    if (Disk::lengthOf(state.file->descriptor()) < state.dataEnd)
        return dataFileShrank(state.path);
    const auto size = static_cast<std::int64_t>(data.size());
    known = std::clamp<std::int64_t>(request.compareBelow - offset, 0, size);
    if (known > 0) {
        if (auto problem =
                compareBlock(*state.file, state.path, data.first(static_cast<std::size_t>(known)), offset))
            return problem;
        if (offset + known == request.compareBelow)
            state.unproven.erase(request.compareBelow);
    }
    if (known == size)
        return std::nullopt;
    const auto fresh = data.subspan(static_cast<std::size_t>(known));
    return request.isRepeated ? takeRepeated(state, fresh, offset + known, known)
                              : writeBlock(state, fresh, offset + known);
}

/// Of two that bring the same bytes the first counts; what the second one brings must be the same.
std::optional<Error> DataIntake::takeRepeated(State& state, std::span<const char> data, std::int64_t offset,
                                              std::int64_t& known) {
    const std::int64_t end = offset + static_cast<std::int64_t>(data.size());
    std::int64_t next = offset;
    const auto upTo = [&](std::int64_t to) {
        const auto part =
            data.subspan(static_cast<std::size_t>(next - offset), static_cast<std::size_t>(to - next));
        return std::pair(part, std::exchange(next, to));
    };
    for (const auto& hole : state.record->readoutHoles()) {
        if (hole->upperBound <= next || hole->lowerBound >= end)
            continue;
        if (hole->lowerBound > next) {
            const auto [part, at] = upTo(hole->lowerBound);
            known += static_cast<std::int64_t>(part.size());
            if (auto problem = compareBlock(*state.file, state.path, part, at))
                return problem;
        }
        const auto [part, at] = upTo(std::min(hole->upperBound, end));
        if (auto problem = writeBlock(state, part, at))
            return problem;
    }
    if (next == end)
        return std::nullopt;
    known += end - next;
    const auto [part, at] = upTo(end);
    return compareBlock(*state.file, state.path, part, at);
}

std::optional<Error> DataIntake::writeBlock(State& state, std::span<const char> data, std::int64_t offset) {
    const auto written =
        m_disk.writeAt(state.file->descriptor(), {data.data(), data.size()}, offset, state.path);
    if (!written)
        return writeFailure(written.error());
    const auto count = static_cast<std::int64_t>(data.size());
    state.dataEnd = std::max(state.dataEnd, offset + count);
    state.record->recordBytesDownloaded(offset, count);
    m_totalDone = state.record->totalBytesDownloaded();
    if (state.writeBehind)
        state.writeBehind->noteWritten(state.file, count);
    return std::nullopt;
}

bool DataIntake::isAnnouncementDue(State& state) const {
    const TimePoint now = m_clock.now();
    if (state.lastAnnounced && now - *state.lastAnnounced <= kBetweenAnnouncements)
        return false;
    state.lastAnnounced = now;
    return true;
}

} // namespace tarvo
