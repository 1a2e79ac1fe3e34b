// A hint above the list: a sentence, one button, a way to close it.
#pragma once

#include <QBoxLayout>
#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>

namespace tarvo {

/// Main thread. Hidden until there is something to show.
class HintBar final : public QFrame {
    Q_OBJECT

public:
    explicit HintBar(QWidget* parent);

    void showHint(const QString& sentence, const QString& button);

protected:
    void resizeEvent(QResizeEvent* event) override;

Q_SIGNALS:
    void wanted();      ///< the button
    void closed();      ///< for now
    void switchedOff(); ///< for good

private:
    QLabel* m_sentence;
    QPushButton* m_button;
    QToolButton* m_never;
    QToolButton* m_close;
    QBoxLayout* m_parts;
    QHBoxLayout* m_buttons;
};

} // namespace tarvo
