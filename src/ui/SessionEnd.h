// The end of the program with its windows: dialogs close, and a session that ends finds everything saved.
#pragma once

#include <QObject>

#include "queue/QueueController.h"

namespace tarvo {

/// Main thread.
class SessionEnd final : public QObject {
    Q_OBJECT

public:
    /// What a session's end waits for the downloads to be saved; the desktop has little patience.
    static constexpr int kLimitMs = 5000;

    /// `queue` outlives it.
    SessionEnd(QueueController& queue, QObject* parent);

private:
    void saveAll();

    QueueController& m_queue;
};

} // namespace tarvo
