// What transfers share.
#pragma once

#include <memory>

#include "base/Clock.h"
#include "base/Settings.h"
#include "base/UserDefaults.h"
#include "engine/transfer/ConnectionPools.h"
#include "engine/transfer/CookieStore.h"
#include "engine/transfer/HostConnections.h"
#include "engine/transfer/LinePaces.h"
#include "engine/transfer/RequestTraits.h"

namespace tarvo {

/// What every transfer needs to know of the program. All of it outlives the transfers.
struct TransferEnvironment {
    const UserDefaults& defaults;
    const CookieStore& cookies;
    const Clock& clock;
    /// Each of the two requests of a probe may take so long.
    Seconds probeTimeLimit{30.0};
    RequestTraits traits{};
    /// Shared by all probes and transfers. The program calls tick() about once a second.
    std::shared_ptr<ConnectionPools> connectionPools = std::make_shared<ConnectionPools>(clock);
    std::shared_ptr<LinePaces> paces = std::make_shared<LinePaces>();
    /// How many connections each host is to have, over all transfers.
    std::shared_ptr<HostConnections> hostConnections = std::make_shared<HostConnections>(defaults, clock);

    /// Closes connections that have waited for too long, and has the setting of the speed limit hold.
    void tick() const {
        connectionPools->speedLimit().setRate(Settings(defaults).speedLimit());
        connectionPools->closeIdle(clock.now());
    }
};

} // namespace tarvo
