// What the information on a download lists: each fact with its label, as texts.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jobs/RemoteFile.h"

namespace tarvo {

struct InfoFact {
    std::string_view labelKey; ///< of the texts
    std::string text;          ///< empty: there is nothing to say
};

/// The same labels in the same order for every job. No text holds a password. `segments` of the job, none
/// while it is not known; `eachConnection` is connectionsText(). Main thread.
std::vector<InfoFact> infoFacts(const RemoteFile& job, const std::optional<SegmentsSnapshot>& segments,
                                const std::string& eachConnection);

/// The version of a file: entity tag and time of the last change, as far as they are known.
std::string versionText(const Validator& validator);

/// A date as the user's language writes it, in the local time.
std::string dateText(const WallTime& date);

} // namespace tarvo
