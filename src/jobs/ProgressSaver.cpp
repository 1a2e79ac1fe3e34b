#include "jobs/ProgressSaver.h"

#include "base/Log.h"
#include "jobs/JobErrors.h"
#include "storage/ProgressFile.h"

#include <algorithm>
#include <cerrno>

namespace tarvo {

RecordedRequest requestOf(const Url& url, const DownloadFacts& facts) {
    return {.url = url,
            .referer = facts.referer,
            .headers = facts.headers,
            .connections = facts.requestedPartitions,
            .checksum = facts.checksum ? facts.checksum->text() : ""};
}

Result<void> ProgressSaver::save() const {
    const DataSnapshot data = m_intake.snapshot();
    if (data.refusal)
        return failure(saveWithFault());
    if (!data.record) {
        Log::warning("Refusing to save without progress data");
        return failure(illegalState());
    }
    if (m_bundle.empty()) {
        Log::warning("Refusing to save without bundle bookmark");
        return {};
    }
    const auto saved = flushData(data);
    return saved ? writeRecord(data) : saved;
}

Result<void> ProgressSaver::flushData(const DataSnapshot& data) const {
    if (!data.file || data.record->data->totalBytesDownloaded() == 0)
        return {};
    const auto flushed = m_environment.disk.flush(data.file->descriptor(), data.path);
    return flushed ? flushed : failure(writeFailure(flushed.error()));
}

Result<void> ProgressSaver::writeRecord(const DataSnapshot& data) const {
    const ProgressState state{
        m_request.url,         data.fileSize,          data.record->data,         m_request.referer,
        m_request.connections, data.record->validator, data.record->timesChanged, m_request.checksum,
        m_request.wrongDigest, m_request.headers};
    return m_environment.remoteFileSavingQueue.sync([&]() -> Result<void> {
        if (m_intake.isFinal()) // while the flush took its time
            return {};
        const auto bundle = ProgressBundle::fromBundleBookmark(m_bundle);
        if (!bundle)
            return failure(Error::posix(ENOENT, "open the bundle", m_bundle));
        return ProgressFile(bundle->progressFile(), m_environment.disk).writeData(state);
    });
}

void ProgressSaver::saveBeforeFailing(const Error& cause) const {
    DataSnapshot data = m_intake.snapshot();
    if (!data.record || !data.file)
        return; // given up already: the job was stopped
    if (cause.is(ErrorDomain::Tarvo, kTarvoChangedOnServer)) {
        data.record->data = std::make_shared<ProgressData>(data.fileSize);
        data.record->validator = {};
        data.record->timesChanged += 1;
        m_intake.show(data.record->data->copy(), data.fileSize);
    }
    data.record->data->forgetFrom(Disk::lengthOf(data.file->descriptor()));
    if (!flushData(data))
        return;
    const auto written = writeRecord(data);
    const bool isFull = !written && (written.error().is(ErrorDomain::Posix, ENOSPC) ||
                                     written.error().is(ErrorDomain::Posix, EDQUOT));
    if (isFull && makeRoomForRecord(data))
        writeRecord(data);
}

/// On a full disk the record of all bytes is worth more than the last of them.
bool ProgressSaver::makeRoomForRecord(DataSnapshot& data) const {
    constexpr std::int64_t room = 256 * 1024; // a hundred ranges and more
    const ByteRanges done = data.record->data->readout();
    if (done.empty())
        return false;
    const std::int64_t end = std::max(done.back()->lowerBound, done.back()->upperBound - room);
    data.record->data->forgetFrom(end);
    m_intake.show(data.record->data->copy(), data.fileSize);
    return m_environment.disk.truncate(data.file->descriptor(), end, data.path).has_value();
}

std::optional<Error> fatalOfSave(const Error& problem, const std::string& bundle) {
    if (problem.is(ErrorDomain::RemoteFile, kRemoteFileWriteFailure))
        return problem;
    if (problem.domain != ErrorDomain::Posix || Disk::exists(bundle))
        return std::nullopt;
    Log::error("Unable to resolve bookmark to auto-save file. Failing File.");
    return Error{std::string(ErrorDomain::Posix), EMFILE, problem.description, ""};
}

} // namespace tarvo
