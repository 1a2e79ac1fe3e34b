#include "ui/WindowState.h"

#include <utility>

#include <QEvent>
#include <QSettings>

#include "base/Runloop.h"
#include "base/StateFolder.h"
#include "queue/JobFilter.h"

namespace tarvo {

namespace {

const QString kGeometry = QStringLiteral("geometry");
const QString kBars = QStringLiteral("bars");
const QString kFilter = QStringLiteral("filter");

} // namespace

WindowState::WindowState(QMainWindow& window, Actions& actions, std::string file)
    : m_window(window), m_actions(actions), m_file(std::move(file)) {
    Runloop::assertMain();
    restore();
    m_window.installEventFilter(this);
}

WindowState::~WindowState() {
    keep();
}

std::string WindowState::standardFile() {
    return stateFolder() + "/window.ini";
}

/// Qt brings a window back whose screen is not there any more.
void WindowState::restore() {
    const QSettings kept(QString::fromStdString(m_file), QSettings::IniFormat);
    m_window.restoreGeometry(kept.value(kGeometry).toByteArray());
    m_window.restoreState(kept.value(kBars).toByteArray());
    const std::string filter = kept.value(kFilter).toString().toStdString();
    const auto& all = JobFilter::all();
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].identifier == filter)
            m_actions.filters->actions().at(static_cast<qsizetype>(i))->trigger();
    }
}

void WindowState::keep() {
    const auto* filter = m_actions.filters->checkedAction();
    const auto number = static_cast<std::size_t>(filter ? filter->data().toInt() : 0);
    m_queue.async([file = QString::fromStdString(m_file), geometry = m_window.saveGeometry(),
                   bars = m_window.saveState(), number] {
        QSettings kept(file, QSettings::IniFormat);
        kept.setValue(kGeometry, geometry);
        kept.setValue(kBars, bars);
        const std::string_view name = JobFilter::all().at(number).identifier;
        kept.setValue(kFilter, QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size())));
    });
}

bool WindowState::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Hide)
        keep();
    return QObject::eventFilter(watched, event);
}

} // namespace tarvo
