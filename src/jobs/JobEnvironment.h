// What every job is given instead of reaching for it: settings, disk, time, cookies, queues.
#pragma once

#include "base/Clock.h"
#include "base/Disk.h"
#include "base/SerialQueue.h"
#include "engine/transfer/LiveCurlSegment.h"

namespace tarvo {

/// Everything referred to outlives the jobs.
struct JobEnvironment {
    const UserDefaults& defaults;
    Disk& disk;
    const Clock& clock;
    const TransferEnvironment& transfers;
    /// "com.unregistered.tarvo2.remoteFileSavingQueue": every write of a progress file and every move
    /// to a final name, so that a save never overlaps another save or a finish; and every choice of a name.
    SerialQueue& remoteFileSavingQueue;
    /// A running job that receives nothing for longer than this fails, to be tried again.
    Seconds stallTimeout{15.0};
    /// Whether a file that has another checksum than it must have is kept from its final name.
    bool checksumDecides = false;
};

} // namespace tarvo
