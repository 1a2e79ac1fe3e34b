#include "ui/SearchField.h"

#include <QKeyEvent>

#include "base/Runloop.h"
#include "ui/Text.h"

namespace tarvo {

SearchField::SearchField(QWidget* parent) : QLineEdit(parent) {
    Runloop::assertMain();
    setObjectName(QStringLiteral("search"));
    setAccessibleName(tarvo::text("tr.search.name"));
    setPlaceholderText(tarvo::text("tr.search.name"));
    setToolTip(tarvo::text("tr.search.hint"));
    setClearButtonEnabled(true);
    setMinimumWidth(fontMetrics().averageCharWidth() * 14);
    setMaximumWidth(fontMetrics().averageCharWidth() * 36);
    connect(this, &QLineEdit::returnPressed, this, &SearchField::left);
}

/// Return and Escape are for the field while it has the focus, whatever commands have them as shortcuts.
bool SearchField::event(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Escape || key == Qt::Key_Down) {
            event->accept();
            return true;
        }
    }
    return QLineEdit::event(event);
}

void SearchField::keyPressEvent(QKeyEvent* event) {
    const bool isEscape = event->key() == Qt::Key_Escape;
    if (isEscape && !text().isEmpty())
        clear();
    else if (isEscape || event->key() == Qt::Key_Down)
        Q_EMIT left();
    else
        QLineEdit::keyPressEvent(event);
}

} // namespace tarvo
