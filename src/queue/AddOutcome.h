// What became of something that the program was asked to download.
#pragma once

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "base/Error.h"

namespace tarvo {

struct AddOutcome {
    enum class Kind {
        taken,        ///< it is in the queue now, or before the person to decide
        alreadyThere, ///< it was in the queue before
        noLink,       ///< there is nothing in it that could be downloaded
        refused,      ///< see the error
    };

    Kind kind = Kind::taken;
    std::optional<Error> error{}; ///< of what was refused

    static AddOutcome refusal(Error error) { return {Kind::refused, std::move(error)}; }

    /// Whether what was wished for is or will be downloaded.
    bool isFulfilled() const { return kind == Kind::taken || kind == Kind::alreadyThere; }

    /// Of several that were asked for as one: the refusal if there is one, else the best.
    static AddOutcome ofAll(const std::vector<AddOutcome>& all) {
        AddOutcome result{Kind::noLink};
        for (const auto& each : all) {
            if (each.kind == Kind::refused)
                return each;
            result.kind = std::min(result.kind, each.kind);
        }
        return result;
    }
};

} // namespace tarvo
