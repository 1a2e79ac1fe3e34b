// What is known of the program's crashes: a text file each, and a word to the user at the next start.
#pragma once

#include <string>
#include <vector>

#include "app/TRLoggingManager.h"
#include "base/Disk.h"
#include "queue/UserNotices.h"

namespace tarvo {

/// The folder of the reports, readable by their owner only. Nothing of it is ever sent anywhere.
class CrashReports {
public:
    /// By this a service that collects reports would know the program.
    static constexpr const char* kApplicationIdentifier = "0f1e2d3c4b5a69788796a5b4c3d2e1f0";

    /// Reports that are kept: a program that crashes at every start does not fill the disk.
    static constexpr std::size_t kMostReports = 20;

    /// `disk` outlives the object.
    CrashReports(Disk& disk, std::string folder) : m_disk(disk), m_folder(std::move(folder)) {}

    /// $XDG_STATE_HOME/tarvo/crashes, by the XDG Base Directory Specification.
    static std::string standardFolder();

    /// Leaves a report of now: the versions, `trace` as the crashed process told it, and the log's end.
    Result<void> write(const std::string& trace, const TRLoggingManager& logging);

    /// Says in the log and in one notice that the program crashed, if there are reports of which that was not
    /// said before. Main thread.
    void tellNews(UserNotices& notices);

private:
    std::vector<std::string> namesOldestFirst() const;

    Disk& m_disk;
    const std::string m_folder;
};

} // namespace tarvo
