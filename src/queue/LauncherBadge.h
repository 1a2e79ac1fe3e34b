// The port to the program's icon in the launcher.
#pragma once

#include <cstdint>
#include <optional>

namespace tarvo {

/// What the icon shows beside itself.
struct LauncherStatus {
    std::optional<double> progress;     ///< 0 to 1; none: no bar
    std::optional<std::int64_t> number; ///< none: no number

    bool operator==(const LauncherStatus&) const = default;
};

class LauncherBadge {
public:
    virtual ~LauncherBadge() = default;

    /// Never blocks. Main thread.
    virtual void show(const LauncherStatus& status) = 0;
};

} // namespace tarvo
