// A request, its credentials and the user's settings, said in libcurl's options.
#pragma once

#include <optional>

#include "base/Error.h"
#include "base/UserDefaults.h"
#include "engine/transfer/CurlSegment.h"
#include "engine/transfer/EasyHandle.h"
#include "engine/transfer/RequestTraits.h"

namespace tarvo {

/// Sets all that does not depend on who receives the answer. The settings hold as they are now, however long
/// ago the request was prepared. What has to be put right before anything may be sent; the handle has no
/// address then.
std::optional<Error> setRequestOptions(EasyHandle& handle, const CurlRequest& request,
                                       const UserDefaults& defaults, const RequestTraits& traits);

} // namespace tarvo
