// Asks for another address from which an unfinished download is to go on.
#pragma once

#include <functional>

#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "base/Error.h"
#include "base/Url.h"

namespace tarvo {

/// Main thread. Shown with open(); what is wrong with an address is said below it. A link in the clipboard is
/// there to begin with.
class AddressDialog final : public QDialog {
    Q_OBJECT

public:
    /// `change` has the download go on from the address, or says why that can't be tried.
    AddressDialog(const Url& present, std::function<Result<void>(const Url& address)> change,
                  QWidget* parent);

protected:
    void accept() override;

private:
    void placeControls(const Url& present);

    const std::function<Result<void>(const Url& address)> m_change;
    QLineEdit* m_address;
    QLabel* m_remark;
};

} // namespace tarvo
