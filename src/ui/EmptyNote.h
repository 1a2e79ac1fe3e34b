// What stands in the place of the list while it has no row.
#pragma once

#include <QLabel>
#include <QPushButton>
#include <QWidget>

#include "ui/Actions.h"

namespace tarvo {

/// Main thread.
class EmptyNote final : public QWidget {
    Q_OBJECT

public:
    /// `actions` outlive it.
    EmptyNote(const Actions& actions, QWidget* parent);

    enum class Reason {
        queueIsEmpty,
        noneFits, ///< the filter or what is searched for
    };

    void setReason(Reason reason);

Q_SIGNALS:
    /// The user wants to see every row.
    void wantsAll();

private:
    QLabel* m_icon;
    QLabel* m_title;
    QLabel* m_advice;
    QPushButton* m_add;
    QPushButton* m_showAll;
};

} // namespace tarvo
