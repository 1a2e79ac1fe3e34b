// The panel that shows what is in the file of the current row.
#pragma once

#include <QDockWidget>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QStackedWidget>
#include <QTimer>

#include "ui/CurrentJob.h"
#include "ui/PictureView.h"
#include "ui/PreviewLoader.h"

namespace tarvo {

/// Main thread. While it can't be seen, it reads nothing.
class PreviewPanel final : public QDockWidget {
    Q_OBJECT

public:
    /// `current` outlives the panel.
    PreviewPanel(CurrentJob& current, QWidget* parent);

private:
    void placeParts();
    void beginAnew();
    void load();
    void loadIfMore();
    void show(const PreviewContent& content);
    void showFacts(const QString& words, const QString& mediaType);
    QWidget* filled(const PreviewContent& content);

    CurrentJob& m_current;
    QLabel* m_title;
    QLabel* m_note;
    QStackedWidget* m_kinds;
    PictureView* m_picture;
    QPlainTextEdit* m_text;
    QListWidget* m_list;
    QWidget* m_facts;
    QLabel* m_icon;
    QLabel* m_words;
    PreviewLoader m_loader;
    QTimer m_again; // while the file grows
    std::int64_t m_shownBytes = 0;
    bool m_isSeen = false;
};

} // namespace tarvo
