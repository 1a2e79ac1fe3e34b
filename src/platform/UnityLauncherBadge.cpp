#include "platform/UnityLauncherBadge.h"

#include "base/Runloop.h"

namespace tarvo {

namespace {

const QString kPath = QStringLiteral("/com/canonical/unity/launcherentry/tarvo");
const QString kAppUri = QStringLiteral("application://com.unregistered.Tarvo.desktop");

QVariantMap propertiesOf(const LauncherStatus& status) {
    return {{QStringLiteral("progress"), status.progress.value_or(0.0)},
            {QStringLiteral("progress-visible"), status.progress.has_value()},
            {QStringLiteral("count"), static_cast<qlonglong>(status.number.value_or(0))},
            {QStringLiteral("count-visible"), status.number.has_value()}};
}

} // namespace

void UnityLauncherBadge::show(const LauncherStatus& status) {
    Runloop::assertMain();
    m_status = status;
    QDBusConnection bus = m_sessionBus.connection();
    if (!bus.isConnected())
        return;
    bus.registerObject(kPath, this,
                       QDBusConnection::ExportScriptableContents); // anew if the bus is a new one
    auto update = QDBusMessage::createSignal(kPath, QStringLiteral("com.canonical.Unity.LauncherEntry"),
                                             QStringLiteral("Update"));
    update << kAppUri << propertiesOf(status);
    bus.send(update);
}

QString UnityLauncherBadge::Query(QVariantMap& properties) const {
    properties = propertiesOf(m_status);
    return kAppUri;
}

} // namespace tarvo
