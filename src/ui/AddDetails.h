// What can be said of an addition besides where it goes: credentials, the page it comes from, name, checksum.
#pragma once

#include <optional>
#include <string>

#include <QLabel>
#include <QLineEdit>
#include <QWidget>

#include "app/LinkAdder.h"

namespace tarvo {

/// Main thread.
class AddDetails final : public QWidget {
    Q_OBJECT

public:
    explicit AddDetails(QWidget* parent = nullptr);

    /// Name and checksum are for a single address.
    void setAddressCount(std::size_t count);

    /// Puts what was entered into `choices`. False, and said at the field, which gets the focus, where
    /// something can't be used.
    bool fill(AddChoices& choices);

    std::string userName() const { return m_user->text().toStdString(); }

    std::string password() const { return m_password->text().toStdString(); }

private:
    QLineEdit* addField(const char* labelKey, const char* objectName, int row, int column);
    void showKindOfChecksum();
    bool complain(QLineEdit& field, const char* key);

    std::size_t m_addressCount = 0;
    QLineEdit* m_user;
    QLineEdit* m_password;
    QLineEdit* m_referer;
    QLineEdit* m_name;
    QLineEdit* m_checksum;
    QLabel* m_kind;    // of the checksum
    QLabel* m_problem; // of the last attempt
};

} // namespace tarvo
