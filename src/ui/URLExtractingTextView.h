// A text of addresses, one a line, that takes the links out of whatever is pasted or dropped into it.
#pragma once

#include <vector>

#include <QPlainTextEdit>

namespace tarvo {

/// Main thread. The links of what is pasted or dropped go to the end of the text, whatever else it holds;
/// where it holds none, it is inserted as any text.
class URLExtractingTextView final : public QPlainTextEdit {
    Q_OBJECT

public:
    explicit URLExtractingTextView(QWidget* parent = nullptr);

    /// Puts links, one a line, behind the text. It can be undone.
    void appendLinks(const QString& links);

    /// Underlines these lines, counted from 0, in ascending order.
    void markLines(std::vector<int> lines);

protected:
    bool canInsertFromMimeData(const QMimeData* source) const override;
    void insertFromMimeData(const QMimeData* source) override;

private:
    void markVisibleLines();

    std::vector<int> m_marked;
};

} // namespace tarvo
