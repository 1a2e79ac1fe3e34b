// Keeps what was learned of the connections that hosts allow over the end of the program.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Disk.h"
#include "base/SerialQueue.h"
#include "engine/transfer/HostConnections.h"

namespace tarvo {

/// As JSON: "hosts" is a list of objects with "host" (an origin), "connections" and "at" (seconds since
/// 1970).
std::string textOfLimits(const std::vector<LearnedLimit>& limits);

/// None for a text that is damaged, wherever it is.
std::optional<std::vector<LearnedLimit>> limitsOfText(std::string_view text);

/// Both, each host once, with what was seen last; the latest first.
std::vector<LearnedLimit> newestOf(std::vector<LearnedLimit> some, const std::vector<LearnedLimit>& others);

/// Reads the file once and writes it whenever something was learned, on a queue of its own. Several programs
/// may have the same file: each keeps what the others have written. Made and dropped on the main thread,
/// which then waits for the last write.
class LearnedLimitsKeeper {
public:
    /// `disk` outlives it; `file` is an absolute path.
    LearnedLimitsKeeper(std::shared_ptr<HostConnections> hosts, std::string file, Disk& disk);
    ~LearnedLimitsKeeper();

    LearnedLimitsKeeper(const LearnedLimitsKeeper&) = delete;
    LearnedLimitsKeeper& operator=(const LearnedLimitsKeeper&) = delete;

    /// In the folder of what the program notes about itself.
    static std::string standardFile();

private:
    std::vector<LearnedLimit> read();
    void write();

    const std::shared_ptr<HostConnections> m_hosts;
    const std::string m_file;
    Disk& m_disk;
    SerialQueue m_queue{"com.unregistered.tarvo2.learnedLimitsQueue"}; // ends first
};

} // namespace tarvo
