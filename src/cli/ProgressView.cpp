#include "cli/ProgressView.h"

#include <algorithm>
#include <cmath>
#include <cwchar>
#include <map>

#include <QJsonDocument>
#include <QJsonObject>
#include <spdlog/fmt/fmt.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "base/Readable.h"

namespace tarvo {

namespace {

constexpr Seconds kBetweenPlainLines{10};
constexpr Seconds kBetweenJsonLines{1};

TerminalSize terminalSize() {
    winsize size{};
    const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0;
    return known ? TerminalSize{size.ws_col, size.ws_row} : TerminalSize{};
}

constexpr int kSpareColumns = 3; // so that a "^C" that the terminal adds does not wrap the line
constexpr int kLeastNameWidth = 10;
constexpr int kMostNameWidth = 30;
constexpr int kLeastBarWidth = 6;
constexpr char32_t kUnprintable = U'?';

/// The columns that a character takes: two for wide ones, none for marks that combine with the one before.
int columnsOf(char32_t character) {
    return std::max(::wcwidth(static_cast<wchar_t>(character)), 0);
}

/// As many characters as fit into `width` columns, from the front of `text`.
std::u32string front(const std::u32string& text, int width) {
    std::size_t count = 0;
    while (count < text.size() && columnsOf(text[count]) <= width)
        width -= columnsOf(text[count++]);
    return text.substr(0, count);
}

/// The same from its back, not beginning with a mark that has lost its character.
std::u32string back(const std::u32string& text, int width) {
    std::size_t begin = text.size();
    while (begin > 0 && columnsOf(text[begin - 1]) <= width)
        width -= columnsOf(text[--begin]);
    while (begin < text.size() && columnsOf(text[begin]) == 0)
        ++begin;
    return text.substr(begin);
}

int columnsOf(const std::u32string& text) {
    int columns = 0;
    for (const char32_t character : text)
        columns += columnsOf(character);
    return columns;
}

/// `text` in exactly `width` columns of a terminal, the middle left out where it is too long. What could
/// steer the terminal is not let through.
std::string fitted(const std::string& text, int width) {
    std::u32string shown = QString::fromStdString(text).toStdU32String();
    const auto steers = [](char32_t c) { return ::wcwidth(static_cast<wchar_t>(c)) < 0; };
    std::replace_if(shown.begin(), shown.end(), steers, kUnprintable);
    if (columnsOf(shown) > width)
        shown = front(shown, width - width / 3 - 1) + U'…' + back(shown, width / 3);
    shown.append(static_cast<std::size_t>(std::max(width - columnsOf(shown), 0)), U' ');
    return QString::fromUcs4(shown.data(), static_cast<qsizetype>(shown.size())).toStdString();
}

std::string bar(double fraction, int width, bool colour) {
    const int full = static_cast<int>(std::floor(std::clamp(fraction, 0.0, 1.0) * width));
    std::string done;
    std::string rest;
    for (int i = 0; i < width; ++i)
        (i < full ? done : rest) += i < full ? "━" : (colour ? "━" : " ");
    return colour ? "\x1b[32m" + done + "\x1b[90m" + rest + "\x1b[0m" : "[" + done + rest + "]";
}

double fractionOf(const DownloadSnapshot& download) {
    return static_cast<double>(download.bytes) / static_cast<double>(download.size);
}

std::string percentOf(const DownloadSnapshot& download) {
    if (download.size < 1)
        return readableBytes(download.bytes);
    return fmt::format("{:.0f}%", std::floor(fractionOf(download) * 100));
}

/// Which of the running downloads are due for a line again.
class Pace {
public:
    /// `atOnce`: a download's first line comes with its first look, not one interval later.
    Pace(Seconds interval, bool atOnce) : m_interval(interval), m_atOnce(atOnce) {}

    std::vector<DownloadSnapshot> due(const std::vector<DownloadSnapshot>& running, TimePoint now) {
        std::map<std::string, TimePoint> last; // of those that still run
        std::vector<DownloadSnapshot> dueNow;
        for (const auto& download : running) {
            const auto known = m_last.find(download.url);
            const bool isDue = known == m_last.end() ? m_atOnce : now - known->second >= m_interval;
            if (isDue)
                dueNow.push_back(download);
            last[download.url] = isDue || known == m_last.end() ? now : known->second;
        }
        m_last.swap(last);
        return dueNow;
    }

private:
    const Seconds m_interval;
    const bool m_atOnce;
    std::map<std::string, TimePoint> m_last;
};

class SilentView : public ProgressView {
public:
    explicit SilentView(std::ostream& problems) : m_problems(problems) {}

    void connecting(const DownloadSnapshot&) override {}

    void started(const DownloadSnapshot&) override {}

    void progress(const std::vector<DownloadSnapshot>&, const QueueCounts&, TimePoint) override {}

    void finished(const DownloadSnapshot&, const DownloadResult&) override {}

    void failed(const DownloadSnapshot& download, const Error& error) override {
        m_problems << "tarvo-get: " << download.url << ": " << error.sentence() << std::endl;
    }

    void notice(const std::string& text) override { m_problems << "tarvo-get: " << text << std::endl; }

private:
    std::ostream& m_problems;
};

/// One plain line for each event: for files, pipes and logs.
class PlainView : public SilentView {
public:
    PlainView(std::ostream& output, std::ostream& problems) : SilentView(problems), m_output(output) {}

    void started(const DownloadSnapshot& download) override {
        m_output << fmt::format("started {} ({}, {} connection{})\n", download.name,
                                download.size < 1 ? "unknown size" : readableBytes(download.size),
                                download.connections, download.connections == 1 ? "" : "s")
                 << std::flush;
    }

    void progress(const std::vector<DownloadSnapshot>& running, const QueueCounts&, TimePoint now) override {
        for (const auto& download : m_pace.due(running, now))
            m_output << fmt::format("progress {} {} {}\n", download.name, percentOf(download),
                                    readableSpeed(download.speed))
                     << std::flush;
    }

    void finished(const DownloadSnapshot&, const DownloadResult& result) override {
        const auto speed = static_cast<std::int64_t>(static_cast<double>(result.bytes) /
                                                     std::max(result.took.count(), 0.001));
        m_output << fmt::format("finished {} ({} in {:.1f} s, {}{})\n", result.path,
                                readableBytes(result.bytes), result.took.count(), readableSpeed(speed),
                                result.checksumMatched ? ", checksum matches" : "")
                 << std::flush;
    }

protected:
    std::ostream& output() { return m_output; }

private:
    std::ostream& m_output;
    Pace m_pace{kBetweenPlainLines, false};
};

/// Live lines that are drawn over themselves, and a plain one when a download has ended.
class TerminalView final : public PlainView {
public:
    TerminalView(std::ostream& output, std::ostream& problems, bool colour)
        : PlainView(output, problems), m_colour(colour) {}

    void connecting(const DownloadSnapshot& download) override {
        draw({fitted(download.name + ": connecting…", terminalSize().columns - kSpareColumns)});
    }

    void started(const DownloadSnapshot& download) override {
        if (m_drawn.size() <= 1) // beside others it waits for the next drawing of all
            draw({terminalLine(download, terminalSize().columns, m_colour)});
    }

    void progress(const std::vector<DownloadSnapshot>& running, const QueueCounts& counts,
                  TimePoint) override {
        draw(terminalLines(running, counts, terminalSize(), m_colour));
    }

    void finished(const DownloadSnapshot& download, const DownloadResult& result) override {
        onLinesOfItsOwn([&] { PlainView::finished(download, result); });
    }

    void failed(const DownloadSnapshot& download, const Error& error) override {
        onLinesOfItsOwn([&] { PlainView::failed(download, error); });
    }

    void notice(const std::string& text) override {
        onLinesOfItsOwn([&] { PlainView::notice(text); });
    }

    void makeRoomFor(const std::string& question) override {
        clear();
        m_question = question;
    }

private:
    template <class Write>
    void onLinesOfItsOwn(Write write) {
        clear();
        if (!m_question.empty()) // what the user has typed so far stays as it is
            output() << "\n" << std::flush;
        write();
        output() << m_question << std::flush;
    }

    void clear() {
        output() << toFirstLine() << (m_drawn.empty() ? "" : "\x1b[J") << std::flush;
        m_drawn.clear();
    }

    /// What takes the cursor from the end of the last line to the beginning of the first.
    std::string toFirstLine() const {
        const std::string up = m_drawn.size() > 1 ? fmt::format("\x1b[{}A", m_drawn.size() - 1) : "";
        return m_drawn.empty() ? "" : "\r" + up;
    }

    void draw(std::vector<std::string> lines) {
        if (!m_question.empty())
            return;
        std::string text = toFirstLine();
        for (std::size_t i = 0; i < lines.size(); ++i)
            text += (i == 0 ? "\r" : "\n") + lines[i] + "\x1b[K";
        if (lines.size() < m_drawn.size())
            text += "\x1b[J";
        output() << text << std::flush;
        m_drawn = std::move(lines);
    }

    const bool m_colour;
    std::string m_question;           // that waits for the user; empty: none
    std::vector<std::string> m_drawn; // the lines that stand on the terminal
};

/// One JSON object a line (RFC 8259), the kind of event under "event".
class JsonView final : public ProgressView {
public:
    JsonView(std::ostream& output, std::ostream& problems) : m_output(output), m_problems(problems) {}

    void connecting(const DownloadSnapshot&) override {}

    void started(const DownloadSnapshot& download) override {
        write("started", download, {{"connections", static_cast<qint64>(download.connections)}});
    }

    void progress(const std::vector<DownloadSnapshot>& running, const QueueCounts&, TimePoint now) override {
        for (const auto& download : m_pace.due(running, now)) {
            const bool isKnown = download.size > 0 && download.speed > 0;
            write("progress", download,
                  {{"bytes", static_cast<qint64>(download.bytes)},
                   {"speed", static_cast<qint64>(download.speed)},
                   {"connections", static_cast<qint64>(download.connections)},
                   {"secondsLeft", isKnown ? QJsonValue(download.left.count()) : QJsonValue()}});
        }
    }

    void finished(const DownloadSnapshot& download, const DownloadResult& result) override {
        QJsonObject more{{"path", QString::fromStdString(result.path)},
                         {"bytes", static_cast<qint64>(result.bytes)},
                         {"seconds", result.took.count()}};
        if (result.checksumMatched)
            more["checksum"] = "match";
        write("finished", download, more);
    }

    void failed(const DownloadSnapshot& download, const Error& error) override {
        write("failed", download,
              {{"error", QString::fromStdString(error.sentence())},
               {"domain", QString::fromStdString(error.domain)},
               {"code", static_cast<qint64>(error.code)}});
    }

    void notice(const std::string& text) override { m_problems << "tarvo-get: " << text << std::endl; }

private:
    void write(const char* event, const DownloadSnapshot& download, QJsonObject more) {
        more["event"] = event;
        more["url"] = QString::fromStdString(download.url);
        more["name"] = QString::fromStdString(download.name);
        more["size"] = download.size < 1 ? QJsonValue() : QJsonValue(static_cast<qint64>(download.size));
        m_output << QJsonDocument(more).toJson(QJsonDocument::Compact).toStdString() << std::endl;
    }

    std::ostream& m_output;
    std::ostream& m_problems;
    Pace m_pace{kBetweenJsonLines, true};
};

} // namespace

std::unique_ptr<ProgressView> makeProgressView(bool json, bool quiet, std::ostream& output,
                                               std::ostream& problems, bool outputIsTerminal, bool colour) {
    if (json)
        return std::make_unique<JsonView>(output, problems);
    if (quiet)
        return std::make_unique<SilentView>(problems);
    if (outputIsTerminal)
        return std::make_unique<TerminalView>(output, problems, colour);
    return std::make_unique<PlainView>(output, problems);
}

std::string terminalLine(const DownloadSnapshot& download, int columns, bool colour) {
    const bool known = download.size > 0;
    const int width = std::max(columns - kSpareColumns, 1);
    const std::string percent = fmt::format(" {:>{}}", percentOf(download), known ? 4 : 10);
    const std::string speed = fmt::format(" {:>12}", readableSpeed(download.speed));
    const std::string connections = fmt::format(" {:>2} conn", download.connections);
    const std::string left =
        fmt::format(" {:>8}", !known || download.speed < 1 ? "--:--" : readableDuration(download.left));
    // What a narrow terminal has no room for goes, the least important first.
    const std::string choices[] = {percent + speed + connections + left, percent + speed + left,
                                   percent + speed, percent, ""};
    const auto fits = [&](const std::string& facts) {
        return static_cast<int>(facts.size()) + kLeastNameWidth <= width;
    };
    const std::string& facts = *std::find_if(std::begin(choices), std::end(choices) - 1, fits);
    const int room = width - static_cast<int>(facts.size());
    const int nameWidth = std::clamp(room / 2, kLeastNameWidth, kMostNameWidth);
    const int barWidth = room - nameWidth - (colour ? 1 : 3);
    if (!known || barWidth < kLeastBarWidth)
        return fitted(download.name, room) + facts;
    return fitted(download.name, nameWidth) + " " + bar(fractionOf(download), barWidth, colour) + facts;
}

std::vector<std::string> terminalLines(const std::vector<DownloadSnapshot>& running,
                                       const QueueCounts& counts, TerminalSize size, bool colour) {
    const bool summarises = counts.total > 1;
    // One line of the terminal stays free, so that nothing scrolls away under the drawing.
    const auto room = static_cast<std::size_t>(std::max(size.rows - (summarises ? 2 : 1), 1));
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < std::min(running.size(), room); ++i)
        lines.push_back(terminalLine(running[i], size.columns, colour));
    if (!summarises)
        return lines;
    const std::size_t ended = counts.finished + counts.failed;
    const std::size_t waiting = counts.total - std::min(counts.total, ended + running.size());
    std::string summary = fmt::format("{} of {} finished", counts.finished, counts.total);
    if (counts.failed > 0)
        summary += fmt::format(", {} failed", counts.failed);
    summary += fmt::format(", {} running, {} waiting", running.size(), waiting);
    lines.push_back(fitted(summary, std::max(size.columns - kSpareColumns, 1)));
    return lines;
}

} // namespace tarvo
