// Shows the manual page.
#pragma once

#include <QDialog>
#include <QPlainTextEdit>
#include <QProcess>

namespace tarvo {

/// Main thread. The text comes from the program man, which is not waited for.
class ManualWindow final : public QDialog {
    Q_OBJECT

public:
    explicit ManualWindow(QWidget* parent);

private:
    void begin();
    void fill(bool isThere);

    QPlainTextEdit* m_text;
    QProcess* m_man; // last child, so that it ends first
};

} // namespace tarvo
