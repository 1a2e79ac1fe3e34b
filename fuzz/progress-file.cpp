// Feeds the bytes of a progress file. A record that is believed is possible for its size, and is the same
// after it was written and read again.
#include "Fuzz.h"

#include "base/PosixDisk.h"
#include "storage/ProgressFile.h"

using namespace tarvo;
using fuzz::require;

namespace {

/// A disk with one file, in memory.
class OneFile final : public PosixDisk {
public:
    explicit OneFile(std::string bytes) : m_bytes(std::move(bytes)) {}

    Result<std::string> readFile(const std::string& /*path*/, std::int64_t /*limit*/) override {
        return m_bytes;
    }

    Result<void> replaceFile(const std::string& /*path*/, std::string_view bytes, bool /*durable*/) override {
        m_bytes = bytes;
        return {};
    }

private:
    std::string m_bytes;
};

bool areSame(const ProgressState& one, const ProgressState& other) {
    const auto ranges = one.progressData->readout();
    const auto others = other.progressData->readout();
    return one.url == other.url && one.fileSize == other.fileSize && one.referer == other.referer &&
           one.requestedConnections == other.requestedConnections && one.validator == other.validator &&
           one.timesChanged == other.timesChanged && one.headers == other.headers &&
           std::equal(ranges.begin(), ranges.end(), others.begin(), others.end(),
                      [](const auto& a, const auto& b) {
                          return a->lowerBound == b->lowerBound && a->upperBound == b->upperBound;
                      });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    OneFile disk(std::string(reinterpret_cast<const char*>(data), size));
    const ProgressFile file("/progress", disk);
    const auto state = file.readData();
    if (!state)
        return 0;
    const ProgressData& record = *state->progressData;
    require(record.isSound() && record.sizeInBytes == state->fileSize, "a record is possible");
    const std::int64_t done = record.totalBytesDownloaded();
    require(done >= 0 && (state->fileSize < 1 || done <= state->fileSize), "no more is done than there is");
    require(state->fileSize < 1 || record.isComplete() == (done == state->fileSize),
            "complete means all bytes");
    require(state->validator.ifRange().find_first_of("\r\n") == std::string::npos,
            "no header grows out of it");
    for (const auto& header : state->headers)
        require(isRequestHeader(header) && !isReservedHeader(header), "each header is one, and may be set");
    require(file.writeData(*state).has_value(), "a record can be written");
    const auto again = file.readData();
    require(again && areSame(*state, *again), "a record stays what it is");
    return 0;
}
