#include "rows/Closing.h"

namespace tarvo {

Closing whatClosingMeans(const ClosingSituation& situation) {
    if (!situation.isByUser || situation.means == ClosingMeans::quit)
        return Closing::quit;
    if (situation.isInTray)
        return situation.hasToldOfTray ? Closing::hide : Closing::hideWithNotice;
    if (situation.means == ClosingMeans::background)
        return Closing::hideWithNotice;
    return situation.isDownloading ? Closing::ask : Closing::quit;
}

} // namespace tarvo
