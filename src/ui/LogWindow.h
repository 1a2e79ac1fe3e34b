// The logging window of debug mode: the log's lines as they come, filtered by level.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QAbstractListModel>
#include <QComboBox>
#include <QLabel>
#include <QListView>
#include <QTimer>
#include <QWidget>

#include "app/LogCollector.h"
#include "base/UserDefaults.h"
#include "base/WorkQueue.h"

namespace tarvo {

/// The lines of the log up to a level, the last 10,000 of all. Main thread.
class LogLines final : public QAbstractListModel {
    Q_OBJECT

public:
    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

    void append(std::vector<LogTextLine> lines);

    void clear();

    /// Only lines of this level and more serious ones are rows.
    void setLevel(LogLevel level);

private:
    bool isShown(const LogTextLine& line) const { return line.level <= m_level; }

    std::deque<LogTextLine> m_all;
    std::deque<std::size_t> m_rows; // of them, counted from the first line that ever came
    std::size_t m_first = 0;        // that is still there
    LogLevel m_level = LogLevel::verbose;
};

/// Main thread. While it is hidden it costs nothing: no line is gathered.
class LogWindow final : public QWidget {
    Q_OBJECT

public:
    /// `logFiles`: their paths at the moment of the question, newest first; asked on a worker. `defaults`
    /// outlives the window.
    LogWindow(UserDefaults& defaults, std::string logFolder,
              std::function<std::vector<std::string>()> logFiles);
    ~LogWindow() override;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* makeCommands();
    void gatherLines(bool isWanted);
    void takeLines();
    void copy();
    void email();
    void switchDebugModeOff();
    void say(const QString& state);

    UserDefaults& m_defaults;
    const std::string m_logFolder;
    const std::function<std::vector<std::string>()> m_logFiles;
    const std::shared_ptr<LogCollector> m_collector = std::make_shared<LogCollector>();
    LogLines* m_lines;
    QListView* m_view;
    QComboBox* m_level;
    QLabel* m_state;
    QTimer m_quarterSecond;
    bool m_isReadingFile = false;
    WorkQueue m_workers;
};

} // namespace tarvo
