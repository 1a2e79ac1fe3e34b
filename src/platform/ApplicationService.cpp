#include "platform/ApplicationService.h"

#include <QDBusMessage>

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"

namespace tarvo {

namespace {

// D-Bus Specification, "org.freedesktop.DBus.RequestName".
constexpr uint kDoNotQueue = 4;
constexpr uint kIsPrimaryOwner = 1;
constexpr uint kIsOwnerAlready = 4;

/// Desktop Entry Specification, "D-Bus Activation": the second key is of the time before Wayland.
std::string activationTokenIn(const QVariantMap& platformData) {
    for (const auto* key : {"activation-token", "desktop-startup-id"}) {
        const std::string token = platformData.value(QString::fromLatin1(key)).toString().toStdString();
        if (!token.empty())
            return token;
    }
    return {};
}

} // namespace

ApplicationService::ApplicationService(DesktopBus& sessionBus, ApplicationRequests requests)
    : m_sessionBus(sessionBus), m_requests(std::move(requests)) {
}

void ApplicationService::start() {
    Runloop::assertMain();
    QDBusConnection bus = m_sessionBus.connection();
    if (!bus.isConnected())
        return;
    // The object first: a call may follow the name at once.
    if (!bus.registerObject(QString::fromLatin1(kPath), this, QDBusConnection::ExportScriptableContents))
        Log::error("Could not put the program on the session bus");
    auto request = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("RequestName"));
    request << QString::fromLatin1(kName) << kDoNotQueue;
    m_sessionBus.call(request, *this, [](const QDBusMessage& answer) {
        const uint outcome = answer.arguments().value(0).toUInt();
        if (outcome != kIsPrimaryOwner && outcome != kIsOwnerAlready)
            Log::error("Could not take the name {} on the session bus: {}", kName,
                       answer.errorMessage().toStdString());
    });
}

void ApplicationService::Activate(const QVariantMap& platformData) {
    Runloop::assertMain();
    m_requests.activate(activationTokenIn(platformData));
}

void ApplicationService::Open(const QStringList& uris, const QVariantMap& platformData) {
    Runloop::assertMain();
    qsizetype characters = 0;
    for (const QString& uri : uris)
        characters += uri.size();
    if (uris.size() > kMostUris || characters > kMostCharacters) {
        sendErrorReply(
            QDBusError::LimitsExceeded,
            QString::fromStdString(localized("tr.err.opens-limit",
                                             {std::to_string(kMostUris), std::to_string(kMostCharacters)})));
        return;
    }
    std::vector<std::string> texts;
    texts.reserve(static_cast<std::size_t>(uris.size()));
    for (const QString& uri : uris)
        texts.push_back(uri.toStdString());
    setDelayedReply(true);
    m_requests.open(texts, activationTokenIn(platformData),
                    [bus = connection(), reply = message().createReply()] { bus.send(reply); });
}

void ApplicationService::ActivateAction(const QString& name, const QVariantList&,
                                        const QVariantMap& platformData) {
    Runloop::assertMain();
    m_requests.activateAction(name.toStdString(), activationTokenIn(platformData));
}

} // namespace tarvo
