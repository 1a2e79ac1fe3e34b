// The settings on disk: a file that other programs and people with editors write to as well.
#pragma once

#include <map>
#include <optional>
#include <string>

#include <QVariant>

#include "base/Disk.h"
#include "base/Error.h"

namespace tarvo {

/// Nothing that others have put there is lost: what was written since it was read is read again and
/// kept, and what can't be read is copied aside before it is written over. One thread at a time; waits for
/// the disk.
class SettingsFile {
public:
    using Values = std::map<std::string, QVariant>;

    /// `path` is absolute; `disk` outlives the object.
    SettingsFile(std::string path, Disk& disk) : m_path(std::move(path)), m_disk(disk) {}

    /// What the file holds; nothing where there is none. Error: POSIX.
    Result<Values> open();

    /// As open(), once it is no longer being written to, a second later at the most; none when it holds what
    /// it held when last read or written here. Error: POSIX.
    Result<std::optional<Values>> readNews();

    /// Puts `changes` into the file (an invalid value takes its key out) and answers what it then holds, on
    /// the disk. `known` is what it held before, unless there are news. Waits for other programs that do the
    /// same. Error: POSIX; EBUSY when others write all the time.
    Result<Values> write(const Values& changes, const Values& known);

    /// Has the next read take everything for news.
    void forget() { m_knownText.clear(); }

private:
    Result<std::string> settledText() const;
    Result<std::string> text() const;
    Result<void> keepUnreadable();

    const std::string m_path;
    Disk& m_disk;
    bool m_isCopyDue = false; // some of the file, or all, could not be read: writing would lose it
    std::string m_knownText;  // the file as last read or written here
};

} // namespace tarvo
