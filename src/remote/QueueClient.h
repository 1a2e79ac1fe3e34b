// The queue of the application that runs, as another program of the session reaches it.
#pragma once

#include <string>
#include <vector>

#include <QVariantMap>

#include "base/Error.h"
#include "platform/DesktopBus.h"
#include "remote/QueueService.h"

namespace tarvo {

/// Main thread. Each call waits for the answer, for some seconds at the most. Error: that no application
/// runs, that there is no bus, or what the application answered.
class QueueClient {
public:
    explicit QueueClient(std::string busAddress);

    Result<QueueRows> list();
    Result<QVariantMap> properties(); ///< of the interface, by their names
    Result<AddAnswers> add(const QStringList& what, const QVariantMap& options);

    /// Calls a method that answers nothing.
    Result<void> call(const char* method, const QVariantList& arguments = {});

    /// Has the slots of `receiver` called: onRowsChanged(QDBusMessage), onListChanged(QDBusMessage) and
    /// onNameOwnerChanged(QDBusMessage).
    Result<void> watch(QObject& receiver);

private:
    Result<QVariantList> ask(const char* interface, const char* method, const QVariantList& arguments = {});

    const std::string m_busAddress;
    DesktopBus m_bus;
};

} // namespace tarvo
