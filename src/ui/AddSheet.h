// The sheet in which addresses are entered, with where they go and how they are fetched.
#pragma once

#include <QCheckBox>
#include <QDialog>
#include <QSpinBox>
#include <QTimer>
#include <QToolButton>

#include "input/LinkLines.h"
#include "ui/AddDetails.h"
#include "ui/FolderField.h"
#include "ui/URLExtractingTextView.h"
#include "ui/WindowEnvironment.h"

namespace tarvo {

/// Main thread; window-modal. What could not be taken stays in it, with the reason, until the user gives up.
class AddSheet final : public QDialog {
    Q_OBJECT

public:
    /// `look` outlives the sheet.
    AddSheet(const WindowEnvironment& environment, FolderLook& look, QWidget* parent);

    /// Puts links, one a line, behind what stands there. They are typed if the user entered them by hand.
    void append(const std::string& links, bool isTyped);

    /// Whether there is anything that the user would have to enter once more.
    bool hasTyped() const;

    std::string links() const { return m_text->toPlainText().toStdString(); }

    void accept() override;

private:
    void makeControls();
    void placeControls();
    QWidget* makeOptions();
    QWidget* makeButtons();
    void connectControls();
    void discard();
    void showMore(bool isWanted);
    std::vector<LinkLine> readLines();
    void showWhatStandsThere();
    void showRest(const std::vector<int>& lines, std::size_t added, const QString& reason);
    bool fillChoices(AddChoices& choices);
    std::optional<Url> withCredentials(const Url& url) const;

    const WindowEnvironment m_environment;
    LinkReader m_reader;
    QTimer m_pause; // of typing
    URLExtractingTextView* m_text;
    QLabel* m_summary;
    QLabel* m_problem;
    FolderField* m_folder;
    QSpinBox* m_connections;
    QCheckBox* m_starts;
    QToolButton* m_more;
    AddDetails* m_details;
    QPushButton* m_add = nullptr;
};

} // namespace tarvo
