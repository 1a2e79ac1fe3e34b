// Downloads that another program of the session adds, and what it is answered.
#pragma once

#include <string>

#include <QDBusArgument>
#include <QList>
#include <QMetaType>
#include <QStringList>
#include <QVariantMap>

#include "jobs/JobEnvironment.h"
#include "queue/QueueController.h"

namespace tarvo {

/// What became of an address: "taken", "already there" or "refused", and why. On the bus: (ss).
struct AddAnswer {
    QString outcome;
    QString reason;
};

using AddAnswers = QList<AddAnswer>;

QDBusArgument& operator<<(QDBusArgument& bus, const AddAnswer& answer);
const QDBusArgument& operator>>(const QDBusArgument& bus, AddAnswer& answer);

/// Adds addresses, and absolute paths of unfinished downloads; `options` are those of QueueService::Add().
/// One answer for each, in their order. `homeFolder` is absolute. Main thread.
AddAnswers addFromBus(const QStringList& what, const QVariantMap& options, QueueController& queue,
                      const JobEnvironment& jobs, const std::string& homeFolder);

} // namespace tarvo

Q_DECLARE_METATYPE(tarvo::AddAnswer)
