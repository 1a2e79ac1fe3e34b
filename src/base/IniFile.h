// The form that settings have in their file: INI, as QSettings reads it and as people edit it.
#pragma once

#include <map>
#include <string>

#include <QVariant>

#include "base/Error.h"

namespace tarvo {

struct IniContent {
    std::map<std::string, QVariant> values; ///< a key in a section has the section's name and "/" before it
    bool isWhole = true;                    ///< false: there were lines that can't be read
};

/// Reads the file at `path`; one that is not there holds nothing. Any thread. Error: POSIX.
Result<IniContent> readIniFile(const std::string& path);

/// `values` as such a file, sorted. A number or truth value is read back as its text.
///
/// QSettings is not asked to write: when a large value fits only in part on the disk, it takes the part for
/// the whole, says that all went well, and puts that in the place of the old file (Qt 6.4, QSaveFile).
std::string iniText(const std::map<std::string, QVariant>& values);

} // namespace tarvo
