#include "remote/QueueClient.h"

#include <QDBusError>

#include "base/Localized.h"
#include "platform/ApplicationService.h"

namespace tarvo {

namespace {

constexpr int kLongestWait = 20'000; // milliseconds: the data of many large files take their time to go

Error errorOf(const QDBusMessage& answer) {
    const QDBusError::ErrorType type = QDBusError(answer).type();
    // A bus that is asked not to start a service has another word for its absence.
    const bool isAbsent = type == QDBusError::ServiceUnknown ||
                          answer.errorName() == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner");
    if (isAbsent || type == QDBusError::NoReply || type == QDBusError::UnknownObject) {
        return Error::tarvo(
            localized(isAbsent ? "tr.remote.none-runs" : "tr.remote.no-answer"),
            localized(isAbsent ? "tr.remote.none-runs-recovery" : "tr.remote.no-answer-recovery"));
    }
    return Error::tarvo(answer.errorMessage().toStdString());
}

template <class Value>
Result<Value> valueOf(const Result<QVariantList>& answer) {
    if (!answer)
        return tl::unexpected(answer.error());
    return qdbus_cast<Value>(answer->value(0));
}

} // namespace

QueueClient::QueueClient(std::string busAddress) : m_busAddress(std::move(busAddress)), m_bus(m_busAddress) {
    QueueService::registerTypes();
}

Result<QVariantList> QueueClient::ask(const char* interface, const char* method,
                                      const QVariantList& arguments) {
    const QDBusConnection bus = m_bus.connection();
    if (!bus.isConnected())
        return tl::unexpected(
            Error::tarvo(localized("tr.remote.no-bus"), localized("tr.remote.no-bus-recovery")));
    auto message = QDBusMessage::createMethodCall(
        QString::fromLatin1(ApplicationService::kName), QString::fromLatin1(QueueInterface::kPath),
        QString::fromLatin1(interface), QString::fromLatin1(method));
    message.setArguments(arguments);
    message.setAutoStartService(false); // who asks wants to see what runs
    const QDBusMessage answer = bus.call(message, QDBus::Block, kLongestWait);
    if (answer.type() != QDBusMessage::ReplyMessage)
        return tl::unexpected(errorOf(answer));
    return answer.arguments();
}

Result<QueueRows> QueueClient::list() {
    return valueOf<QueueRows>(ask(QueueInterface::kName, "List"));
}

Result<QVariantMap> QueueClient::properties() {
    return valueOf<QVariantMap>(ask("org.freedesktop.DBus.Properties", "GetAll", {QueueInterface::kName}));
}

Result<AddAnswers> QueueClient::add(const QStringList& what, const QVariantMap& options) {
    return valueOf<AddAnswers>(ask(QueueInterface::kName, "Add", {what, options}));
}

Result<void> QueueClient::call(const char* method, const QVariantList& arguments) {
    const auto answer = ask(QueueInterface::kName, method, arguments);
    if (!answer)
        return tl::unexpected(answer.error());
    return {};
}

Result<void> QueueClient::watch(QObject& receiver) {
    const QString interface = QString::fromLatin1(QueueInterface::kName);
    m_bus.listen(interface, QStringLiteral("RowsChanged"), {}, &receiver, SLOT(onRowsChanged(QDBusMessage)));
    m_bus.listen(interface, QStringLiteral("ListChanged"), {}, &receiver, SLOT(onListChanged(QDBusMessage)));
    m_bus.listen(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"),
                 QString::fromLatin1(ApplicationService::kName), &receiver,
                 SLOT(onNameOwnerChanged(QDBusMessage)));
    return call("Watch");
}

} // namespace tarvo
