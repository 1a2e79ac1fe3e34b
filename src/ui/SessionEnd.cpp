#include "ui/SessionEnd.h"

#include <QApplication>
#include <QDialog>
#include <QDrag>
#include <QEventLoop>
#include <QPointer>
#include <QTimer>

#include "base/Runloop.h"

namespace tarvo {

namespace {

/// As if the user had cancelled each: a caller that waits for an answer goes on. A drag waits in a loop of
/// its own, above that of a question that came before or meanwhile.
void cancelDialogs() {
    QDrag::cancel();
    const auto windows = QApplication::topLevelWidgets();
    const QList<QPointer<QWidget>> present(windows.begin(), windows.end());
    for (const auto& window : present) {
        auto* dialog = qobject_cast<QDialog*>(window.data());
        if (dialog && dialog->isVisible() && dialog->isModal())
            dialog->reject();
    }
}

} // namespace

SessionEnd::SessionEnd(QueueController& queue, QObject* parent) : QObject(parent), m_queue(queue) {
    Runloop::assertMain();
    connect(&queue, &QueueController::ending, this, &cancelDialogs);
    connect(qApp, &QGuiApplication::commitDataRequest, this, &SessionEnd::saveAll, Qt::DirectConnection);
}

/// The session ends as soon as this returns.
void SessionEnd::saveAll() {
    QEventLoop loop;
    connect(&m_queue, &QueueController::ended, &loop, &QEventLoop::quit);
    QTimer limit;
    limit.setSingleShot(true);
    connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    limit.start(kLimitMs);
    m_queue.quit();
    if (!m_queue.hasEnded())
        loop.exec(QEventLoop::ExcludeUserInputEvents);
}

} // namespace tarvo
