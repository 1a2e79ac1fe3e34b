// The commands on the selected rows: which are enabled, and what they do to the queue.
#pragma once

#include <functional>
#include <vector>

#include <QAbstractItemView>
#include <QObject>
#include <QTimer>

#include "ui/Actions.h"
#include "ui/FileOpener.h"
#include "ui/WindowEnvironment.h"

namespace tarvo {

/// Main thread. Follows the selection and the states of the jobs, once a turn however many they are.
class SelectionCommands final : public QObject {
    Q_OBJECT

public:
    using Jobs = std::vector<QueueController::Job>;

    /// `selectedJobs` answers the jobs of the selected rows in their order. All of them outlive the object.
    SelectionCommands(const WindowEnvironment& environment, Actions& actions, QAbstractItemView& list,
                      std::function<Jobs()> selectedJobs);

    /// The commands' words, keys and states on the next turn.
    void refreshSoon() { m_refresh.start(); }

    void showDownloadFolder();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void followChanges();
    void connectQueue();
    void connectFiles();
    void offerConnections();
    void keepKeysToList();
    void refresh();
    void showStartStopControl();
    void pauseOrResume();
    void openOrInform();
    void copyAddresses() const;
    void showRowMenu(const QPoint& place);

    const WindowEnvironment m_environment;
    QueueController& m_queue;
    Actions& m_actions;
    QAbstractItemView& m_list;
    const std::function<Jobs()> m_selectedJobs;
    FileOpener m_opener;
    QTimer m_refresh;
    bool m_pausesRather = true;
};

} // namespace tarvo
