// The last touch on a finished file: where it came from.
#pragma once

#include <string>
#include <string_view>

#include "engine/progress/Validator.h"

namespace tarvo {

/// Tags a finished file. A courtesy: a failure is only logged.
/// Used on the thread that finishes the download.
class FileFinalizer {
public:
    /// `filePath` is absolute, as bytes.
    explicit FileFinalizer(std::string filePath) : m_filePath(std::move(filePath)) {}

    /// Notes the address of the download, without user name and password, in the file's extended
    /// attributes: as plain text under "user.xdg.origin.url" (freedesktop.org's common extended
    /// attributes) and as a binary property list that holds an array of the one text under
    /// "user.com.apple.metadata:kMDItemWhereFroms". What is no URL is not noted.
    void setWhereFrom(std::string_view address) const;

    /// Notes of which version the file is, in attributes of the program's own, to be compared when the same
    /// address is asked for again.
    void setVersion(const Validator& version) const;

    /// What setVersion() has noted; empty without it.
    Validator version() const;

    /// Whether setWhereFrom() has noted this address in the file.
    bool isFrom(std::string_view address) const;

private:
    std::string m_filePath;
};

} // namespace tarvo
