#include "ui/LogWindow.h"

#include <algorithm>
#include <utility>

#include <QClipboard>
#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QPointer>
#include <QPushButton>
#include <QScrollBar>
#include <QShortcut>
#include <QShowEvent>
#include <QUrl>
#include <QVBoxLayout>

#include "base/Runloop.h"
#include "base/SettingKeys.h"
#include "rows/SupportMail.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

constexpr int kQuarterSecondMs = 250;

} // namespace

int LogLines::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

QVariant LogLines::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || role != Qt::DisplayRole)
        return {};
    const std::size_t number = m_rows.at(static_cast<std::size_t>(index.row()));
    return QString::fromStdString(m_all.at(number - m_first).text);
}

void LogLines::append(std::vector<LogTextLine> lines) {
    std::vector<std::size_t> fresh;
    const std::size_t next = m_first + m_all.size();
    for (auto& line : lines) {
        if (isShown(line))
            fresh.push_back(m_first + m_all.size());
        m_all.push_back(std::move(line));
    }
    const std::size_t tooMany = m_all.size() - std::min(m_all.size(), LogCollector::kMostLines);
    const std::size_t first = m_first + tooMany;
    const auto gone = std::lower_bound(m_rows.begin(), m_rows.end(), std::min(first, next)) - m_rows.begin();
    if (gone > 0) {
        beginRemoveRows({}, 0, static_cast<int>(gone) - 1);
        m_rows.erase(m_rows.begin(), m_rows.begin() + gone);
        endRemoveRows();
    }
    std::erase_if(fresh, [&](std::size_t number) { return number < first; });
    m_all.erase(m_all.begin(), m_all.begin() + static_cast<std::ptrdiff_t>(tooMany));
    m_first = first;
    if (fresh.empty())
        return;
    beginInsertRows({}, rowCount(), rowCount() + static_cast<int>(fresh.size()) - 1);
    m_rows.insert(m_rows.end(), fresh.begin(), fresh.end());
    endInsertRows();
}

void LogLines::clear() {
    beginResetModel();
    m_all.clear();
    m_rows.clear();
    m_first = 0;
    endResetModel();
}

void LogLines::setLevel(LogLevel level) {
    beginResetModel();
    m_level = level;
    m_rows.clear();
    for (std::size_t i = 0; i < m_all.size(); ++i) {
        if (isShown(m_all[i]))
            m_rows.push_back(m_first + i);
    }
    endResetModel();
}

LogWindow::LogWindow(UserDefaults& defaults, std::string logFolder,
                     std::function<std::vector<std::string>()> logFiles)
    : m_defaults(defaults), m_logFolder(std::move(logFolder)), m_logFiles(std::move(logFiles)),
      m_lines(new LogLines(this)), m_view(new QListView(this)), m_level(new QComboBox(this)),
      m_state(new QLabel(this)) {
    Runloop::assertMain();
    setWindowTitle(text("tr.logging.title"));
    m_view->setModel(m_lines);
    m_view->setUniformItemSizes(true);
    m_view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_view->setAccessibleName(text("tr.logging.lines"));
    auto* rows = new QVBoxLayout(this);
    auto* folder = new QLabel(QFile::decodeName(m_logFolder.c_str()), this);
    folder->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    folder->setAccessibleName(text("tr.logging.folder-name"));
    folder->setWordWrap(true);
    rows->addWidget(folder);
    rows->addWidget(m_view, 1);
    rows->addWidget(m_state);
    m_state->hide();
    rows->addWidget(makeCommands());
    resize(760, 480);
    m_quarterSecond.setInterval(kQuarterSecondMs);
    connect(&m_quarterSecond, &QTimer::timeout, this, &LogWindow::takeLines);
    connect(new QShortcut(QKeySequence::Copy, this), &QShortcut::activated, this, &LogWindow::copy);
}

LogWindow::~LogWindow() {
    gatherLines(false);
}

QWidget* LogWindow::makeCommands() {
    auto* bar = new QWidget(this);
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins({});
    auto* label = new QLabel(text("tr.logging.level"), bar);
    label->setBuddy(m_level);
    for (const auto& [level, key] :
         {std::pair(LogLevel::error, "tr.logging.errors"),
          std::pair(LogLevel::warning, "tr.logging.warnings"), std::pair(LogLevel::info, "tr.logging.infos"),
          std::pair(LogLevel::debug, "tr.logging.debugs"), std::pair(LogLevel::verbose, "tr.logging.all")})
        m_level->addItem(text(key), static_cast<uint>(level));
    m_level->setCurrentIndex(m_level->count() - 1);
    connect(m_level, &QComboBox::currentIndexChanged, this, [this] {
        m_lines->setLevel(static_cast<LogLevel>(m_level->currentData().toUInt()));
        m_view->scrollToBottom();
    });
    row->addWidget(label);
    row->addWidget(m_level);
    row->addStretch();
    const auto addButton = [&](const char* key, auto&& clicked) {
        auto* button = new QPushButton(text(key), bar);
        connect(button, &QPushButton::clicked, this, clicked);
        row->addWidget(button);
    };
    addButton("tr.logging.copy", [this] { copy(); });
    addButton("tr.logging.show-folder", [this] {
        QDesktopServices::openUrl(QUrl::fromLocalFile(QFile::decodeName(m_logFolder.c_str())));
    });
    addButton("tr.logging.email", [this] { email(); });
    addButton("tr.logging.debug-off", [this] { switchDebugModeOff(); });
    return bar;
}

void LogWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (event->spontaneous() || m_quarterSecond.isActive())
        return;
    gatherLines(true);
    m_isReadingFile = true; // what comes meanwhile waits behind its lines
    m_workers.async([window = QPointer(this), files = m_logFiles] {
        const auto all = files();
        auto lines =
            all.empty() ? std::vector<LogTextLine>() : lastLinesOf(all.front(), LogCollector::kMostLines);
        Runloop::runOnMainLater([window, lines = std::move(lines)]() mutable {
            if (!window)
                return;
            std::size_t leftOut = 0;
            auto since = window->m_collector->take(leftOut);
            removeOverlap(lines, since);
            window->m_lines->append(std::move(lines));
            window->m_lines->append(std::move(since));
            window->m_view->scrollToBottom();
            window->m_isReadingFile = false;
        });
    });
}

void LogWindow::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (event->spontaneous())
        return;
    gatherLines(false);
    m_lines->clear();
}

void LogWindow::gatherLines(bool isWanted) {
    if (isWanted == m_quarterSecond.isActive())
        return;
    if (isWanted) {
        Log::attach(m_collector);
        m_quarterSecond.start();
        return;
    }
    Log::detach(m_collector);
    m_quarterSecond.stop();
    std::size_t leftOut = 0;
    m_collector->take(leftOut);
}

void LogWindow::takeLines() {
    if (m_isReadingFile)
        return;
    std::size_t leftOut = 0;
    auto lines = m_collector->take(leftOut);
    if (lines.empty())
        return;
    const auto* bar = m_view->verticalScrollBar();
    const bool isAtEnd = bar->value() >= bar->maximum();
    m_lines->append(std::move(lines));
    if (isAtEnd)
        m_view->scrollToBottom();
    if (leftOut > 0)
        say(QString::fromStdString(localizedCount("tr.logging.left-out", leftOut)));
}

/// The selected lines, or all that are shown.
void LogWindow::copy() {
    auto chosen = m_view->selectionModel()->selectedRows();
    std::sort(chosen.begin(), chosen.end());
    QStringList lines;
    for (const auto& index : chosen)
        lines.append(index.data().toString());
    for (int row = 0; chosen.isEmpty() && row < m_lines->rowCount(); ++row)
        lines.append(m_lines->index(row).data().toString());
    QGuiApplication::clipboard()->setText(lines.join(u'\n') + u'\n');
}

void LogWindow::email() {
    m_workers.async([files = m_logFiles] {
        const auto all = files();
        Runloop::runOnMainLater([all] {
            if (!QDesktopServices::openUrl(mailWithLogs(all)))
                Log::error("The logs can't be sent: there is no program for e-mail");
        });
    });
}

void LogWindow::switchDebugModeOff() {
    m_defaults.set(SettingKey::kDebugModeEnabled, false);
    say(text("tr.logging.debug-is-off"));
}

void LogWindow::say(const QString& state) {
    m_state->setText(state);
    m_state->show();
}

} // namespace tarvo
