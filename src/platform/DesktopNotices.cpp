#include "platform/DesktopNotices.h"

#include "base/Log.h"
#include "base/Runloop.h"

#include <QVariantMap>

namespace tarvo {

namespace {

constexpr int kServersChoice = -1; // how long the notice is shown

QDBusMessage methodCall(const QString& method) {
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.Notifications"),
                                          QStringLiteral("/org/freedesktop/Notifications"),
                                          QStringLiteral("org.freedesktop.Notifications"), method);
}

bool isError(const QDBusMessage& answer) {
    const bool is = answer.type() == QDBusMessage::ErrorMessage;
    if (is)
        Log::verbose("The desktop showed no notice: {}", answer.errorMessage().toStdString());
    return is;
}

QVariantMap hintsOf(const UserNotice& notice) {
    QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("com.unregistered.Tarvo")}};
    if (notice.playsSound)
        hints.insert(QStringLiteral("sound-name"), QStringLiteral("complete")); // Sound Naming Specification
    return hints;
}

} // namespace

void DesktopNotices::deliver(const UserNotice& notice) {
    Runloop::assertMain();
    m_sessionBus.call(
        methodCall(QStringLiteral("GetCapabilities")), m_calls, [this, notice](const QDBusMessage& answer) {
            if (!isError(answer))
                notify(notice,
                       answer.arguments().value(0).toStringList().contains(QLatin1String("body-markup")));
        });
}

void DesktopNotices::notify(const UserNotice& notice, bool readsMarkup) {
    const auto text = QString::fromStdString(notice.informativeText);
    auto message = methodCall(QStringLiteral("Notify"));
    message << QStringLiteral("Tarvo") << 0U << QString() // replaces no other; icon: the desktop entry's
            << QString::fromStdString(notice.title) << (readsMarkup ? text.toHtmlEscaped() : text)
            << QStringList() << hintsOf(notice) << kServersChoice;
    m_sessionBus.call(message, m_calls, &isError);
}

} // namespace tarvo
