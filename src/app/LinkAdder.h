// Makes downloads of addresses, with what the user has chosen for them, and hands them to the queue.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/Url.h"
#include "jobs/Checksum.h"
#include "queue/AddOutcome.h"
#include "queue/QueueController.h"

namespace tarvo {

/// The user's choices for one addition.
struct AddChoices {
    std::string folder;                 ///< absolute
    std::int64_t connections = 1;       ///< for each file
    std::optional<bool> starts{};       ///< the queue; where it is not set, the settings decide
    std::optional<Url> referer{};       ///< the page that the addresses stand on
    std::optional<std::string> name{};  ///< of the file; for a single address
    std::optional<Checksum> checksum{}; ///< of the file; for a single address
};

/// What the settings say. `homeFolder` is absolute.
AddChoices usualChoices(const UserDefaults& defaults, const std::string& homeFolder);

/// Adds the addresses in one go. Answers what became of each, in their order: none is no link. Main thread.
std::vector<AddOutcome> addLinks(const std::vector<std::optional<Url>>& links, const AddChoices& choices,
                                 QueueController& queue, const JobEnvironment& environment);

/// Adds the unfinished download in the folder `bundle` (absolute path). Main thread.
AddOutcome addBundle(const std::string& bundle, QueueController& queue);

} // namespace tarvo
