// What transfers share.
#pragma once

#include <memory>

#include "base/Clock.h"
#include "base/UserDefaults.h"
#include "engine/transfer/ConnectionPools.h"
#include "engine/transfer/CookieStore.h"

namespace tarvo {

/// What every transfer needs to know of the program. All of it outlives the transfers.
struct TransferEnvironment {
    const UserDefaults& defaults;
    const CookieStore& cookies;
    const Clock& clock;
    /// Each of the two requests of a probe may take so long.
    Seconds probeTimeLimit{30.0};
    /// Shared by all probes and transfers. The program calls its closeIdle() about once a second.
    std::shared_ptr<ConnectionPools> connectionPools = std::make_shared<ConnectionPools>(clock);
};

} // namespace tarvo
