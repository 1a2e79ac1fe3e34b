#include "ui/AlertDialogs.h"

#include <algorithm>

#include <QApplication>
#include <QLabel>
#include <QPushButton>

#include "base/Runloop.h"

namespace tarvo {

namespace {

/// The box is as wide as its first line, and that is often two words.
void widen(QMessageBox& box) {
    constexpr int characters = 56;
    for (auto* label : box.findChildren<QLabel*>()) {
        if (label->objectName() == QLatin1String("qt_msgbox_informativelabel"))
            label->setMinimumWidth(characters * label->fontMetrics().averageCharWidth());
    }
}

} // namespace

AlertDialogs::~AlertDialogs() = default;

void AlertDialogs::setWindow(QWidget* window) {
    Runloop::assertMain();
    m_window = window;
}

void AlertDialogs::presentError(const Error& error) {
    Runloop::assertMain();
    if (m_isOver)
        return;
    if (!m_errors)
        m_errors = new ErrorList(m_window);
    m_errors->add(QString::fromStdString(error.sentence()));
}

std::size_t AlertDialogs::runAlert(const std::string& message, const std::string& informativeText,
                                   const std::vector<std::string>& buttons) {
    Runloop::assertMain();
    const std::size_t harmless = harmlessAnswer(buttons);
    if (m_isOver)
        return harmless;
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Tarvo"), QString::fromStdString(message),
                    QMessageBox::NoButton, m_window);
    box.setTextFormat(Qt::PlainText);
    box.setInformativeText(QString::fromStdString(informativeText));
    widen(box);
    std::vector<QPushButton*> made;
    made.reserve(buttons.size());
    for (const auto& label : buttons)
        made.push_back(box.addButton(QString::fromStdString(label), QMessageBox::ActionRole));
    box.setDefaultButton(made[harmless]);
    box.setEscapeButton(made[harmless]);
    box.setWindowModality(m_window ? Qt::WindowModal : Qt::ApplicationModal);
    box.setAttribute(Qt::WA_ShowWithoutActivating, m_window && !QApplication::activeWindow());
    m_questions.push_back(&box);
    box.exec(); // what else there is to do is done in its loop
    std::erase(m_questions, &box);
    const auto chosen = std::find(made.begin(), made.end(), box.clickedButton());
    return chosen == made.end() ? harmless : static_cast<std::size_t>(chosen - made.begin());
}

void AlertDialogs::cancelAlerts() {
    Runloop::assertMain();
    m_isOver = true;
    for (auto* question : m_questions)
        question->done(QDialog::Rejected);
}

} // namespace tarvo
