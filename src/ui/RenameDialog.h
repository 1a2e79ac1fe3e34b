// Asks for another name of a download.
#pragma once

#include <functional>

#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "base/Error.h"

namespace tarvo {

/// Main thread. Shown with open(); what is wrong with a name is said below it.
class RenameDialog final : public QDialog {
    Q_OBJECT

public:
    /// `rename` gives the download the name, or says why it can't.
    RenameDialog(const QString& name, std::function<Result<void>(const std::string& name)> rename,
                 QWidget* parent);

protected:
    void accept() override;

private:
    void look();

    const std::function<Result<void>(const std::string& name)> m_rename;
    QLineEdit* m_name;
    QLabel* m_remark;
    QPushButton* m_ok = nullptr;
};

} // namespace tarvo
