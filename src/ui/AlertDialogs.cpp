#include "ui/AlertDialogs.h"

#include <algorithm>

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

#include "base/Runloop.h"

namespace tarvo {

void AlertDialogs::presentError(const Error& error) {
    Runloop::assertMain();
    auto* box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Tarvo"),
                                QString::fromStdString(error.sentence()), QMessageBox::Ok,
                                QApplication::activeWindow());
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

std::size_t AlertDialogs::runAlert(const std::string& message, const std::string& informativeText,
                                   const std::vector<std::string>& buttons) {
    Runloop::assertMain();
    QMessageBox box(QMessageBox::Warning, QString::fromStdString(message), QString::fromStdString(message),
                    QMessageBox::NoButton, QApplication::activeWindow());
    box.setInformativeText(QString::fromStdString(informativeText));
    std::vector<const QAbstractButton*> made;
    for (const auto& label : buttons)
        made.push_back(box.addButton(QString::fromStdString(label), QMessageBox::ActionRole));
    box.exec();
    const auto chosen = std::find(made.begin(), made.end(), box.clickedButton());
    return chosen == made.end() ? buttons.size() - 1 : static_cast<std::size_t>(chosen - made.begin());
}

} // namespace tarvo
