// Tells the model which rows look different, as often as an eye can use it, and only those that are in sight.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <QObject>
#include <QTimer>

#include "queue/RemoteFilesArrayController.h"
#include "rows/RowsModel.h"

namespace tarvo {

/// Both ends are in it; from 0.
struct RowRange {
    int first = 0;
    int last = -1;

    bool contains(int row) const { return row >= first && row <= last; }
};

/// Main thread. Bars follow within 250 ms, states on the next turn, the words of what runs or will be tried
/// again once a second.
class RowsFeed final : public QObject {
    Q_OBJECT

public:
    /// Both outlive the feed. `inSight` answers the rows that the view shows.
    RowsFeed(RowsModel& model, RemoteFilesArrayController& queue, std::function<RowRange()> inSight);

    /// While the view is hidden nothing is done, and the queue gathers no changes for it. At first it is.
    void setVisible(bool isVisible);

    /// All that is in sight.
    void refresh();

private:
    void refreshWords();
    void tellChanged(const std::vector<std::shared_ptr<RemoteFile>>& jobs);
    void tellState(const std::shared_ptr<RemoteFile>& job);

    RowsModel& m_model;
    RemoteFilesArrayController& m_queue;
    const std::function<RowRange()> m_inSight;
    QTimer m_words;
    std::vector<std::shared_ptr<RemoteFile>> m_otherStates; // told on the next turn, all together
    QTimer m_nextTurn;
};

} // namespace tarvo
