// Where the words are typed that the list is searched for.
#pragma once

#include <QLineEdit>

namespace tarvo {

/// Main thread. Escape clears it, and leaves it when it is empty; the arrow down goes to the list.
class SearchField final : public QLineEdit {
    Q_OBJECT

public:
    explicit SearchField(QWidget* parent);

Q_SIGNALS:
    /// The user goes on to what was found.
    void left();

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
};

} // namespace tarvo
