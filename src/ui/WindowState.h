// Where the window was and what it showed, from one start of the program to the next.
#pragma once

#include <string>

#include <QMainWindow>

#include "base/SerialQueue.h"
#include "ui/Actions.h"

namespace tarvo {

/// Main thread. Reads when it is made; keeps the state when the window is hidden, and when it goes itself.
class WindowState final : public QObject {
    Q_OBJECT

public:
    /// In `file` (absolute path). `window` and `actions` outlive it.
    WindowState(QMainWindow& window, Actions& actions, std::string file);
    ~WindowState() override;

    /// In the folder for such things.
    static std::string standardFile();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void restore();
    void keep();

    QMainWindow& m_window;
    Actions& m_actions;
    const std::string m_file;
    SerialQueue m_queue{"com.unregistered.tarvo2.windowStateQueue"}; // last, so that it ends first
};

} // namespace tarvo
