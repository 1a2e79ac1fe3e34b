// What a request says about the page that it comes from.
#pragma once

#include <optional>
#include <string>

#include "base/Url.h"

namespace tarvo {

/// The referrer of a request to `to` that a redirect at `from` has caused, by the policy
/// "strict-origin-when-cross-origin" (W3C Referrer Policy, section 3.7): to the same origin the whole address
/// without credentials and fragment, to another one its origin alone, from https to anything else none.
std::optional<std::string> refererAfterRedirect(const Url& from, const Url& to);

} // namespace tarvo
