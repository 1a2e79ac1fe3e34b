#include "remote/Watch.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <set>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QSocketNotifier>
#include <QTimer>
#include <unistd.h>

#include "base/Localized.h"
#include "base/Runloop.h"
#include "cli/TerminalLines.h"
#include "platform/Interrupt.h"
#include "remote/QueueWatcher.h"
#include "remote/RowTable.h"
#include "remote/TerminalScreen.h"

namespace tarvo {

namespace {

/// What is told of the queue goes to standard output.
class WatchView {
public:
    virtual ~WatchView() = default;
    virtual void rowsChanged(const QueueRows& all, const QueueRows& changed) = 0;
    virtual void rowsGone(const QList<quint64>& numbers) = 0;
    virtual void tick(const QueueRows& all, const QVariantMap& properties) = 0;
};

/// A line for each change.
class LineView final : public WatchView {
public:
    explicit LineView(bool isJson) : m_isJson(isJson) {}

    void rowsChanged(const QueueRows&, const QueueRows& changed) override {
        if (!m_isJson) {
            const auto lines = rowTable(changed, 0);
            for (std::size_t i = 1; i < lines.size(); ++i) // without the head
                std::cout << lines[i] << "\n";
        }
        for (const auto& row : changed) {
            QJsonObject object = jsonOf(row);
            object["event"] = "row";
            print(object);
        }
        std::cout.flush();
    }

    void rowsGone(const QList<quint64>& numbers) override {
        for (const quint64 number : numbers)
            print({{"event", "gone"}, {"number", static_cast<qint64>(number)}});
        std::cout.flush();
    }

    void tick(const QueueRows&, const QVariantMap&) override {}

private:
    void print(const QJsonObject& object) const {
        if (m_isJson)
            std::cout << QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString() << "\n";
    }

    const bool m_isJson;
};

/// The rows that there is room for, under the state of the whole.
class ScreenView final : public WatchView {
public:
    void rowsChanged(const QueueRows&, const QueueRows&) override {}

    void rowsGone(const QList<quint64>&) override {}

    void tick(const QueueRows& all, const QVariantMap& properties) override {
        const TerminalSize size = terminalSize();
        std::vector<std::string> lines{terminalText(headOf(properties), size.columns), ""};
        const auto room = static_cast<qsizetype>(std::max(size.rows - 4, 1));
        QueueRows shown = all;
        if (shown.size() > room) // what works is of the greatest interest
            std::stable_partition(shown.begin(), shown.end(), [](const QueueRow& row) {
                return row.state == QLatin1String("running") || row.state == QLatin1String("preparing");
            });
        const auto table = rowTable(shown.mid(0, room), size.columns);
        lines.insert(lines.end(), table.begin(), table.end());
        m_screen.draw(lines);
    }

private:
    static std::string headOf(const QVariantMap& properties) {
        std::string head;
        for (const auto& line : statusLines(properties)) {
            const auto begin = std::min(line.find_first_not_of(' '), line.size());
            head += (head.empty() ? "" : " · ") + line.substr(begin);
        }
        return head;
    }

    TerminalScreen m_screen;
};

std::unique_ptr<WatchView> makeView(bool isJson) {
    if (!isJson && ::isatty(STDOUT_FILENO) != 0)
        return std::make_unique<ScreenView>();
    return std::make_unique<LineView>(isJson);
}

} // namespace

int watchQueue(QueueClient& client, bool isJson) {
    Runloop::assertMain();
    QueueWatcher watcher(client);
    if (const auto begun = watcher.begin(); !begun) {
        std::cerr << "tarvo: " << begun.error().sentence() << "\n";
        return EXIT_FAILURE;
    }
    const auto view = makeView(isJson);
    QVariantMap properties = client.properties().value_or(QVariantMap());
    view->rowsChanged(watcher.rows(), watcher.rows());
    view->tick(watcher.rows(), properties);
    QObject::connect(&watcher, &QueueWatcher::changed, [&](const QueueRows& changed) {
        view->rowsChanged(watcher.rows(), changed);
        view->tick(watcher.rows(), properties);
        if (!std::cout) // the reader has gone
            QCoreApplication::exit(EXIT_SUCCESS);
    });
    QObject::connect(&watcher, &QueueWatcher::gone, [&](const QList<quint64>& numbers) {
        view->rowsGone(numbers);
        view->tick(watcher.rows(), properties);
    });
    QObject::connect(&watcher, &QueueWatcher::lost,
                     [] { Runloop::runOnMainLater([] { QCoreApplication::exit(EXIT_FAILURE); }); });
    QTimer eachSecond;
    QObject::connect(&eachSecond, &QTimer::timeout, [&] {
        if (const auto now = client.properties())
            properties = *now;
        view->tick(watcher.rows(), properties);
    });
    eachSecond.start(1000);
    const Interrupt interrupt([] { QCoreApplication::exit(EXIT_SUCCESS); });
    QSocketNotifier keys(STDIN_FILENO, QSocketNotifier::Read);
    keys.setEnabled(::isatty(STDIN_FILENO) != 0 && ::isatty(STDOUT_FILENO) != 0);
    QObject::connect(&keys, &QSocketNotifier::activated, [&keys] {
        char key = 0;
        if (::read(STDIN_FILENO, &key, 1) < 1)
            keys.setEnabled(false);
        else if (key == 'q' || key == 'Q')
            QCoreApplication::exit(EXIT_SUCCESS);
    });
    return QCoreApplication::exec();
}

} // namespace tarvo
