#include "queue/JobSearch.h"

#include <algorithm>

namespace tarvo {

JobSearch::JobSearch(const std::string& text)
    : m_words(QString::fromStdString(text).simplified().split(u' ', Qt::SkipEmptyParts)) {
}

bool JobSearch::matches(const RemoteFile& job) const {
    if (isEmpty())
        return true;
    const QString name = QString::fromStdString(job.displayName());
    const auto url = job.url();
    const QString address = url ? QString::fromStdString(url->withoutPassword()) : QString();
    return std::all_of(m_words.begin(), m_words.end(), [&](const QString& word) {
        return name.contains(word, Qt::CaseInsensitive) || address.contains(word, Qt::CaseInsensitive);
    });
}

} // namespace tarvo
