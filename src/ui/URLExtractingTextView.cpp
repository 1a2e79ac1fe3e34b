#include "ui/URLExtractingTextView.h"

#include <algorithm>
#include <utility>

#include <QMimeData>
#include <QTextBlock>

#include "input/TRPasteboardExtractor.h"
#include "ui/PasteboardData.h"

namespace tarvo {

URLExtractingTextView::URLExtractingTextView(QWidget* parent) : QPlainTextEdit(parent) {
    setTabChangesFocus(true);
    setLineWrapMode(QPlainTextEdit::NoWrap);
    connect(this, &QPlainTextEdit::updateRequest, this, [this](const QRect&, int scrolledBy) {
        if (scrolledBy != 0)
            markVisibleLines();
    });
}

void URLExtractingTextView::appendLinks(const QString& links) {
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(links);
    cursor.movePosition(QTextCursor::End);
    setTextCursor(cursor);
}

void URLExtractingTextView::markLines(std::vector<int> lines) {
    m_marked = std::move(lines);
    markVisibleLines();
}

/// Every selection is looked at for every line that is painted: those out of sight are left out.
void URLExtractingTextView::markVisibleLines() {
    QList<QTextEdit::ExtraSelection> selections;
    const int first = firstVisibleBlock().blockNumber();
    const int last = first + viewport()->height() / std::max(1, fontMetrics().height()) + 1;
    const auto begin = std::lower_bound(m_marked.begin(), m_marked.end(), first);
    for (auto line = begin; line != m_marked.end() && *line <= last; ++line) {
        QTextEdit::ExtraSelection selection;
        selection.format.setUnderlineStyle(QTextCharFormat::WaveUnderline);
        selection.format.setUnderlineColor(palette().color(QPalette::Text));
        selection.cursor = QTextCursor(document()->findBlockByNumber(*line));
        selection.cursor.select(QTextCursor::LineUnderCursor);
        selections.append(selection);
    }
    setExtraSelections(selections);
}

bool URLExtractingTextView::canInsertFromMimeData(const QMimeData* source) const {
    const bool mayHoldLinks =
        source->hasHtml() || source->hasUrls() || source->hasFormat(QStringLiteral("text/rtf"));
    return mayHoldLinks || QPlainTextEdit::canInsertFromMimeData(source);
}

void URLExtractingTextView::insertFromMimeData(const QMimeData* source) {
    const Pasteboard content = pasteboardOf(*source); // after which the source may be gone
    const auto links = TRPasteboardExtractor::findURLsInPasteboard(content);
    if (links.empty())
        return insertPlainText(QString::fromStdString(content.plainText()));
    const std::string current = toPlainText().toStdString();
    appendLinks(QString::fromStdString(TRPasteboardExtractor::textForPasting(current, links)));
}

} // namespace tarvo
