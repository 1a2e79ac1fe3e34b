#include "ui/WindowClosing.h"

#include <utility>

#include <QCloseEvent>
#include <QPushButton>

#include "base/Runloop.h"
#include "base/SettingKeys.h"
#include "ui/Text.h"

namespace tarvo {

WindowClosing::WindowClosing(QWidget& window, const WindowEnvironment& environment, UserNotices& notices,
                             std::function<bool()> isInTray)
    : QObject(&window), m_window(window), m_queue(environment.queue), m_defaults(environment.defaults),
      m_notices(notices), m_isInTray(std::move(isInTray)) {
    Runloop::assertMain();
    m_window.installEventFilter(this);
}

bool WindowClosing::eventFilter(QObject* watched, QEvent* event) {
    if (watched != &m_window || event->type() != QEvent::Close)
        return QObject::eventFilter(watched, event);
    const bool isByUser = event->spontaneous();
    event->setAccepted(!isByUser); // the end of a session goes on
    carryOut(whatClosingMeans(situation(isByUser)));
    return true;
}

ClosingSituation WindowClosing::situation(bool isByUser) const {
    const auto& jobs = m_queue.remoteFiles();
    const bool isStarting = m_queue.runState() == QueueRunState::running && jobs.pendingJobs() > 0;
    return {isByUser, m_isInTray(), isStarting || jobs.activeJobs() > 0,
            m_defaults.boolean(SettingKey::kHasToldOfTray), Settings(m_defaults).closingMeans()};
}

void WindowClosing::carryOut(Closing closing) {
    switch (closing) {
    case Closing::quit:
        m_window.hide();
        return m_queue.quit();
    case Closing::hide:
        return m_window.hide();
    case Closing::hideWithNotice:
        return hideWithNotice();
    case Closing::ask:
        return ask();
    }
}

void WindowClosing::hideWithNotice() {
    m_window.hide();
    UserNotice notice{localized("tr.closing.notice"), localized("tr.closing.notice-start"), false, {}};
    if (m_isInTray()) {
        notice.informativeText = localized("tr.closing.notice-tray");
        m_defaults.set(SettingKey::kHasToldOfTray, true);
    }
    const auto show = [this, life = std::weak_ptr(m_life)](const std::string& activationToken) {
        if (!life.expired())
            Q_EMIT windowWanted(activationToken);
    };
    notice.buttons.push_back({localized("tr.closing.show"), show});
    m_notices.deliver(notice);
}

void WindowClosing::ask() {
    if (m_question)
        return m_question->raise();
    m_question = new QMessageBox(QMessageBox::Question, QStringLiteral("Tarvo"), text("tr.closing.question"),
                                 QMessageBox::NoButton, &m_window);
    m_question->setAttribute(Qt::WA_DeleteOnClose);
    m_question->setInformativeText(text("tr.closing.question-hint"));
    const auto* goOn = m_question->addButton(text("tr.closing.go-on"), QMessageBox::AcceptRole);
    const auto* quit = m_question->addButton(text("tr.closing.quit"), QMessageBox::DestructiveRole);
    m_question->setEscapeButton(m_question->addButton(text("Cancel"), QMessageBox::RejectRole));
    connect(m_question, &QMessageBox::buttonClicked, this,
            [this, goOn, quit](const QAbstractButton* clicked) {
                if (clicked == goOn)
                    answered(ClosingMeans::background);
                else if (clicked == quit)
                    answered(ClosingMeans::quit);
            });
    connect(m_question, &QDialog::finished, this, [this] { m_question = nullptr; });
    m_question->open();
}

void WindowClosing::answered(ClosingMeans means) {
    m_defaults.set(SettingKey::kClosingMeans,
                   QString::fromLatin1(means == ClosingMeans::quit ? "Quit" : "Background"));
    carryOut(means == ClosingMeans::quit ? Closing::quit : Closing::hideWithNotice);
}

} // namespace tarvo
