// What one program asks another of its kind to take, and what that answers, as JSON (RFC 8259).
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <QJsonArray>
#include <QJsonObject>

#include "queue/AddOutcome.h"

namespace tarvo::HandOver {

/// To take these: addresses, API calls, absolute paths of unfinished downloads.
/// `activationToken` allows the other's window to come to the front; it may be empty.
QJsonObject request(const QJsonArray& what, const std::string& activationToken);

/// Of such a request; empty without one.
std::string activationTokenOf(const QJsonObject& request);

/// The texts of such a request; none when it is something else.
std::optional<std::vector<std::string>> textsOf(const QJsonObject& request);

/// One outcome for each of them, in their order.
QJsonObject answer(const std::vector<AddOutcome>& outcomes);

/// The outcomes of such an answer.
std::vector<AddOutcome> outcomesOf(const QJsonObject& answer);

/// A message as it is sent: in one line.
std::string lineOf(const QJsonObject& message);

/// An empty one for what is no JSON object.
QJsonObject messageIn(const std::string& line);

} // namespace tarvo::HandOver
