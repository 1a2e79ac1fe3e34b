#include "ui/FreeSpace.h"

#include <utility>

#include <QPointer>

#include "base/Runloop.h"

namespace tarvo {

void FreeSpace::ask(const std::string& folder) {
    Runloop::assertMain();
    if (std::exchange(m_isAsking, true))
        return;
    m_queue.async([self = QPointer<FreeSpace>(this), &disk = m_disk, folder] {
        std::string nearest = folder;
        auto bytes = disk.freeSpace(nearest);
        while (!bytes && nearest.size() > 1) {
            nearest = folderOf(nearest);
            bytes = disk.freeSpace(nearest);
        }
        Runloop::runOnMainLater([self, bytes] {
            if (!self)
                return;
            self->m_isAsking = false;
            self->m_bytes = bytes;
            Q_EMIT self->told();
        });
    });
}

} // namespace tarvo
