// The words that the list of downloads is searched for.
#pragma once

#include <string>

#include <QStringList>

#include "jobs/RemoteFile.h"

namespace tarvo {

/// Main thread.
class JobSearch {
public:
    JobSearch() = default;

    /// `text`: words between blanks.
    explicit JobSearch(const std::string& text);

    /// Whether every job matches.
    bool isEmpty() const { return m_words.isEmpty(); }

    /// Whether each word stands in the file's name or in the address, as they are shown and in any case.
    bool matches(const RemoteFile& job) const;

    bool operator==(const JobSearch&) const = default;

private:
    QStringList m_words;
};

} // namespace tarvo
