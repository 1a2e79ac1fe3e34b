// The errors that the user has not looked at yet, in one window.
#pragma once

#include <QDialog>
#include <QPlainTextEdit>
#include <QString>

namespace tarvo {

/// Main thread. Goes on filling while it is open; its text can be copied. It never takes the focus from
/// another program.
class ErrorList final : public QDialog {
    Q_OBJECT

public:
    explicit ErrorList(QWidget* parent);

    /// Shows the list with one more. The same again at once is counted.
    void add(const QString& sentence);

private:
    QPlainTextEdit* m_text;
    QString m_last;
    int m_times = 0; // that the last has come
};

} // namespace tarvo
