// The preferences: three panes of controls, each of which stores its setting at once.
#pragma once

#include <functional>
#include <map>
#include <string>

#include <QDialog>
#include <QFormLayout>
#include <QLabel>

#include "app/FolderLook.h"
#include "rows/Preferences.h"

namespace tarvo {

/// Main thread. It follows what is changed elsewhere while it is open. What can't be used is said below its
/// field and not stored.
class PreferencesWindow final : public QDialog {
    Q_OBJECT

public:
    /// `defaults` and `look` outlive the window; `homeFolder` stands for "~".
    PreferencesWindow(UserDefaults& defaults, FolderLook& look, std::string homeFolder, QWidget* parent);

Q_SIGNALS:
    /// A setting has another value, which is not on the disk yet.
    void stored();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    /// A control, and how it shows what is stored.
    struct Control {
        QWidget* widget;
        std::function<void(const QVariant&)> show;
    };

    void addRow(const Preference& preference, QFormLayout& form);
    Control makeControl(const Preference& preference);
    Control makeToggle(const Preference& preference);
    Control makeNumber(const Preference& preference);
    Control makeChoice(const Preference& preference);
    Control makeText(const Preference& preference);
    Control makeReset(const Preference& preference);
    Control makeFolder(const Preference& preference);
    QLabel* problemLabel(const Preference& preference);
    void store(const Preference& preference, const QVariant& value);
    void complain(const Preference& preference, const QString& problem);

    UserDefaults& m_defaults;
    FolderLook& m_look;
    const std::string m_homeFolder;
    std::map<std::string, std::function<void()>, std::less<>> m_show; // the stored value, by key
    std::map<std::string, QLabel*, std::less<>> m_problems;           // by key
};

} // namespace tarvo
