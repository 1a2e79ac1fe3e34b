// The last steps of a download: its checksum, its final name, where it came from.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "jobs/DataIntake.h"
#include "jobs/JobEnvironment.h"
#include "jobs/ProgressSaver.h"

namespace tarvo {

/// Made with a transfer, and run once on its thread when all bytes are there. All else from any thread.
class Finishing {
public:
    /// `environment` outlives it.
    Finishing(RecordedRequest request, std::shared_ptr<DataIntake> intake, const JobEnvironment& environment);

    /// Gives the data file its name, or the next free one, and removes the bundle. Error: what keeps the disk
    /// from that; why the job has been stopped; kTarvoWrongChecksum, and the file stays in its bundle.
    Result<FinishedFile> run(const std::string& name);

    /// Ends the reading of a large file within a block.
    void requestStop();

    /// How many bytes have been read to be compared with the checksum; none: they are not.
    std::optional<std::int64_t> bytesVerified() const;

    /// As in "sha256=HEX", what a run has found instead of the right one; else empty. On the thread of the
    /// run.
    const std::string& wrongDigest() const { return m_wrongDigest; }

private:
    class Watch;

    Result<void> verify(const DataSnapshot& data);
    Result<std::string> moveToFinalName(const DataSnapshot& data, const std::string& name);

    const RecordedRequest m_request;
    const std::shared_ptr<DataIntake> m_intake;
    const JobEnvironment& m_environment;
    const std::shared_ptr<Watch> m_watch;
    std::string m_wrongDigest;
};

} // namespace tarvo
