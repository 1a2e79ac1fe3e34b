// A field for a folder: what is typed, one of the recent ones, or one that is looked for; and its free space.
#pragma once

#include <string>
#include <vector>

#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QWidget>

#include "app/FolderLook.h"

namespace tarvo {

/// Main thread. The disk is asked beside it; until it has answered, a folder counts as usable.
class FolderField final : public QWidget {
    Q_OBJECT

public:
    /// `look` outlives the field. `homeFolder` stands for "~". `name` is what screen readers say.
    FolderField(FolderLook& look, std::string homeFolder, const QString& name, QWidget* parent = nullptr);
    ~FolderField() override;

    void setRecent(const std::vector<std::string>& folders);
    void setFolder(const std::string& folder);

    /// Absolute; empty where what is typed is no absolute path.
    std::string folder() const;

    /// Why the folder can't be used; empty where it can.
    QString problem() const;

    /// For a label's buddy.
    QComboBox& input() { return *m_input; }

    /// What stands for no folder at all, in an empty field. With it, an empty field is no problem.
    void setPlaceholder(const QString& text);

Q_SIGNALS:
    /// Another folder stands there.
    void edited();
    /// The user has finished with the field, and the disk has answered.
    void settled();

private:
    void lookSoon();
    void lookNow();
    void show(const FolderFacts& facts);
    void browse();

    bool isEmpty() const { return m_input->currentText().trimmed().isEmpty(); }

    FolderLook& m_look;
    const std::string m_homeFolder;
    QComboBox* m_input;
    QPushButton* m_browse;
    QLabel* m_facts;
    QTimer m_pause; // of typing
    std::uint64_t m_question = 0;
    bool m_isPlaceholderGood = false;
    bool m_isFinished = false; // the user's last change was a whole one
    QString m_problem;
};

} // namespace tarvo
