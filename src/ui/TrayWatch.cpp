#include "ui/TrayWatch.h"

#include <utility>

#include <QDBusVariant>

#include "base/Runloop.h"

namespace tarvo {

namespace {

const QString kWatcher = QStringLiteral("org.kde.StatusNotifierWatcher");

} // namespace

TrayWatch::TrayWatch(DesktopBus& sessionBus) : m_sessionBus(sessionBus) {
    m_limit.setInterval(kLimitMs);
    m_limit.setSingleShot(true);
    connect(&m_limit, &QTimer::timeout, this, [this] {
        ++m_question;
        set(false);
    });
}

void TrayWatch::start() {
    Runloop::assertMain();
    m_sessionBus.listen(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"), kWatcher,
                        this, SLOT(ownerChanged(QDBusMessage)));
    for (const auto* signal : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"})
        m_sessionBus.listen(kWatcher, QString::fromLatin1(signal), {}, this, SLOT(ask()));
    ask();
}

void TrayWatch::ownerChanged(const QDBusMessage& signal) {
    if (!signal.arguments().value(2).toString().isEmpty()) // the new owner
        return ask();
    ++m_question;
    m_limit.stop();
    set(false);
}

void TrayWatch::ask() {
    auto call = QDBusMessage::createMethodCall(kWatcher, QStringLiteral("/StatusNotifierWatcher"),
                                               QStringLiteral("org.freedesktop.DBus.Properties"),
                                               QStringLiteral("Get"));
    call.setAutoStartService(false);
    call << kWatcher << QStringLiteral("IsStatusNotifierHostRegistered");
    m_limit.start();
    m_sessionBus.call(call, *this, [this, number = ++m_question](const QDBusMessage& answer) {
        if (number != m_question)
            return;
        m_limit.stop();
        set(answer.arguments().value(0).value<QDBusVariant>().variant().toBool());
    });
}

void TrayWatch::set(bool isThere) {
    Runloop::assertMain();
    if (std::exchange(m_isThere, isThere) != isThere)
        Q_EMIT changed(isThere);
}

} // namespace tarvo
