// How much room is left in a folder, asked in the background.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <QObject>

#include "base/Disk.h"
#include "base/LookQueue.h"

namespace tarvo {

/// Main thread.
class FreeSpace final : public QObject {
    Q_OBJECT

public:
    /// `disk` lives as long as the process looks at it: see LookQueue.
    explicit FreeSpace(Disk& disk) : m_disk(disk) {}

    /// Tells of the folder (absolute), or of the nearest above it that is there. Nothing more is asked while
    /// a disk owes an answer.
    void ask(const std::string& folder);

    /// In bytes, as last told; none when that is not known.
    std::optional<std::int64_t> bytes() const { return m_bytes; }

Q_SIGNALS:
    void told();

private:
    Disk& m_disk;
    std::optional<std::int64_t> m_bytes;
    bool m_isAsking = false;
    LookQueue m_queue;
};

} // namespace tarvo
