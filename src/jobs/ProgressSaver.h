// Puts the record of a download on the disk, after the bytes that it names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "jobs/DataIntake.h"
#include "jobs/DownloadFacts.h"
#include "jobs/JobEnvironment.h"

namespace tarvo {

/// What the record says of the request.
struct RecordedRequest {
    Url url;
    std::optional<Url> referer{};
    RequestHeaders headers{};
    std::int64_t connections = 1; ///< that were asked for
    std::string checksum{};       ///< that the file must have, as Checksum::text(); empty for none
    std::string wrongDigest{};    ///< see ProgressState
};

RecordedRequest requestOf(const Url& url, const DownloadFacts& facts);

/// What a job fails with whose save has ended with `problem`; none: the next save may do better. Looks
/// whether the bundle, of which the folder is given, is there.
std::optional<Error> fatalOfSave(const Error& problem, const std::string& bundle);

/// Made for one save. On any thread but the main one while a transfer runs: it waits for the disk.
class ProgressSaver {
public:
    /// Both outlive it; `bundle` is the bundle's folder, empty while there is none.
    ProgressSaver(DataIntake& intake, const JobEnvironment& environment, RecordedRequest request,
                  std::string bundle)
        : m_intake(intake), m_environment(environment), m_request(std::move(request)),
          m_bundle(std::move(bundle)) {}

    /// flushData(), then writeRecord(), of what there is now. Error: kRemoteFileSaveWithFault once the job
    /// has failed or was stopped, kRemoteFileIllegalState before there is a record, kRemoteFileWriteFailure
    /// of the data, POSIX of the record.
    Result<void> save() const;

    /// The bytes come before the record that names them; and outside the saving queue, for it may take long.
    Result<void> flushData(const DataSnapshot& data) const;

    /// Nothing, once the data file has its final name.
    Result<void> writeRecord(const DataSnapshot& data) const;

    /// Saves what has arrived, which is good, unless the file has changed on the server: then nothing of it
    /// is. On the transfer thread.
    void saveBeforeFailing(const Error& cause) const;

private:
    bool makeRoomForRecord(DataSnapshot& data) const;

    DataIntake& m_intake;
    const JobEnvironment& m_environment;
    const RecordedRequest m_request;
    const std::string m_bundle;
};

} // namespace tarvo
