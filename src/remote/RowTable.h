// The rows of the queue as lines of a terminal, and as JSON.
#pragma once

#include <string>
#include <vector>

#include <QJsonObject>

#include "remote/QueueRow.h"

namespace tarvo {

/// A head, a line for each row, and below one that has failed the reason; nothing without rows. `columns` is
/// the width of the terminal, 0 for none, and then names are whole. What could steer the terminal is not let
/// through.
std::vector<std::string> rowTable(const QueueRows& rows, int columns);

QJsonObject jsonOf(const QueueRow& row);

/// The run state, the counts of rows by state, and the speed, of what QueueClient::properties() answers.
std::vector<std::string> statusLines(const QVariantMap& properties);

} // namespace tarvo
