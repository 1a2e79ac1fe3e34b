#include "storage/ProgressFile.h"

#include "base/Localized.h"
#include "base/Log.h"
#include "engine/transfer/CurlEasy.h"

#include <algorithm>

namespace tarvo {

namespace {

/// A record of a hundred thousand ranges takes some 30 MB; what is longer is no progress file.
constexpr std::int64_t kLongestFile = 64 * 1024 * 1024;

Error unreadable(const std::string& path, const Error& cause) {
    return Error::tarvo(localized("tr.err.progress-file-unreadable", {path, cause.sentence()}));
}

Error corrupt() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.progress.data-corrupt");
}

using Records = std::vector<std::shared_ptr<Archivable>>;

/// The done part of each connection of an older file: what it had fetched of its range.
Result<ByteRanges> rangesOfLegacyRecords(const Records& records, std::int64_t fileSize) {
    ByteRanges ranges;
    for (const auto& element : records) {
        const auto record = std::dynamic_pointer_cast<CurlEasy>(element);
        const bool possible = record && record->lowerBound >= 0 &&
                              record->currentOffset >= record->lowerBound &&
                              (fileSize < 1 || record->currentOffset <= fileSize);
        if (!possible)
            return failure(corrupt());
        ranges.push_back(std::make_shared<ByteRange>(record->lowerBound, record->currentOffset));
    }
    // The last comes first: a list that grows at its head is not walked for each of its ranges.
    std::stable_sort(ranges.begin(), ranges.end(),
                     [](const auto& a, const auto& b) { return a->lowerBound > b->lowerBound; });
    return ranges;
}

Url withoutPassword(const Url& url) {
    return Url::parse(url.withoutPassword()).value_or(url.withoutCredentials());
}

/// Keys of its own: earlier versions pass over them.
void encode(KeyedArchiver& archiver, const Validator& validator) {
    archiver.encodeString("entityTag", validator.entityTag);
    archiver.encodeString("lastModified", validator.lastModified);
    archiver.encodeInteger("isModificationStrong", validator.isModificationStrong ? 1 : 0);
    archiver.encodeString("validatorOrigin", validator.origin);
}

Validator decodeValidator(KeyedUnarchiver& unarchiver) {
    return {.entityTag = unarchiver.decodeString("entityTag").value_or(""),
            .lastModified = unarchiver.decodeString("lastModified").value_or(""),
            .isModificationStrong = unarchiver.decodeInteger("isModificationStrong") == 1,
            .origin = unarchiver.decodeString("validatorOrigin").value_or("")};
}

} // namespace

Result<void> ProgressFile::writeData(const ProgressState& state) const {
    const std::int64_t done = state.progressData->totalBytesDownloaded();
    KeyedArchiver archiver(KeyedArchiver::Format::Xml);
    archiver.encodeUrl("URL", withoutPassword(state.url));
    archiver.encodeInteger("fileSize", state.fileSize);
    archiver.encodeObject("progressData", state.progressData);
    archiver.encodeUrl("HTTPReferer",
                       state.referer ? std::optional(withoutPassword(*state.referer)) : std::nullopt);
    archiver.encodeInteger("requestedConnections", state.requestedConnections);
    archiver.encodeInteger("totalBytesDownloaded", done);
    encode(archiver, state.validator);
    archiver.encodeInteger("timesChanged", state.timesChanged);
    if (!state.checksum.empty())
        archiver.encodeString("checksum", state.checksum);
    if (!state.wrongDigest.empty())
        archiver.encodeString("wrongDigest", state.wrongDigest);
    if (const auto kept = headersToKeep(state.headers); !kept.empty())
        archiver.encodeString("requestHeaders", textOf(kept));
    Log::info("Begin file save");
    // A record that claims nothing is worth no flush: losing it loses nothing.
    auto written = m_disk.replaceFile(m_filepath, archiver.finish(), done > 0);
    if (!written)
        Log::error("Unable to save file: {}", written.error().description);
    return written;
}

Result<ProgressState> ProgressFile::readData() const {
    const auto bytes = m_disk.readFile(m_filepath, kLongestFile);
    if (!bytes) {
        Log::error("Could not read: progressData was nil for {}", m_filepath);
        return failure(unreadable(m_filepath, bytes.error()));
    }
    auto opened = KeyedUnarchiver::open(*bytes);
    if (!opened) {
        Log::error("Could not read: progressData could not be unarchived {}", m_filepath);
        return failure(unreadable(m_filepath, opened.error()));
    }
    KeyedUnarchiver& unarchiver = **opened;
    ProgressData::registerWith(unarchiver);
    const auto url = unarchiver.decodeUrl("URL");
    const auto fileSize = unarchiver.decodeInteger("fileSize");
    const auto referer = unarchiver.decodeUrl("HTTPReferer");
    const auto legacy = unarchiver.decodeArray("easyHandles", CurlEasy::make);
    auto record = std::dynamic_pointer_cast<ProgressData>(unarchiver.decodeObject("progressData"));
    auto connections = unarchiver.decodeInteger("requestedConnections");
    auto validator = decodeValidator(unarchiver);
    const auto timesChanged = unarchiver.decodeInteger("timesChanged");
    auto checksum = unarchiver.decodeString("checksum").value_or("");
    auto wrongDigest = unarchiver.decodeString("wrongDigest").value_or("");
    auto headers = headersIn(unarchiver.decodeString("requestHeaders").value_or(""));
    if (unarchiver.firstError() || !url)
        return failure(corrupt());
    if (legacy) {
        const auto ranges = rangesOfLegacyRecords(*legacy, fileSize);
        if (!ranges)
            return failure(ranges.error());
        record = std::make_shared<ProgressData>(fileSize, *ranges);
        connections = static_cast<std::int64_t>(legacy->size());
    }
    if (!record || !record->isSound() || record->sizeInBytes != fileSize)
        return failure(corrupt());
    return ProgressState{*url,
                         fileSize,
                         record,
                         referer,
                         connections,
                         std::move(validator),
                         timesChanged,
                         std::move(checksum),
                         std::move(wrongDigest),
                         std::move(headers)};
}

} // namespace tarvo
