#include "cli/ProgressView.h"

#include "base/Localized.h"
#include "base/Readable.h"
#include "base/Runloop.h"
#include "base/Text.h"
#include "cli/JsonView.h"
#include "cli/TerminalLines.h"

#include <algorithm>

#include <spdlog/fmt/fmt.h>

namespace tarvo {

namespace {

constexpr Seconds kBetweenPlainLines{10};

std::int64_t perSecond(std::int64_t bytes, Seconds took) {
    return static_cast<std::int64_t>(static_cast<double>(bytes) / std::max(took.count(), 0.001));
}

class SilentView : public ProgressView {
public:
    explicit SilentView(std::ostream& problems) : m_problems(problems) {}

    void connecting(const DownloadSnapshot&) override {}

    void started(const DownloadSnapshot&) override {}

    void progress(const std::vector<DownloadSnapshot>&, const QueueCounts&, TimePoint) override {}

    void finished(const DownloadSnapshot&, const DownloadResult&) override {}

    void failed(const DownloadSnapshot& download, const Error& error) override {
        Runloop::assertMain();
        tell(download.url + ": " + error.sentence());
    }

    void refused(const BadLine& line) override { tell(sentenceOf(line)); }

    void retrying(const DownloadSnapshot&, const Error&, Seconds, std::int64_t) override {}

    void notice(const std::string& text) override { tell(text); }

protected:
    void tell(const std::string& text) {
        Runloop::assertMain();
        m_problems << "tarvo-get: " << withoutControls(text) << std::endl;
    }

private:
    std::ostream& m_problems;
};

/// One plain line for each event: for files, pipes and logs.
class PlainView : public SilentView {
public:
    PlainView(std::ostream& output, std::ostream& problems) : SilentView(problems), m_output(output) {}

    void started(const DownloadSnapshot& download) override {
        const std::string size = download.size < 1 ? localized("tr.get.unknown-size")
                                                   : readableBytes(download.size, DecimalMark::point);
        say(localizedCount("tr.get.started", download.connections, {download.name, size}));
    }

    void progress(const std::vector<DownloadSnapshot>& running, const QueueCounts&, TimePoint now) override {
        Runloop::assertMain();
        for (const auto& download : m_pace.due(running, now))
            say(download.verified
                    ? localized("tr.get.checking-line", {download.name, verifiedPercentOf(download)})
                    : localized("tr.get.progress", {download.name, percentOf(download),
                                                    readableSpeed(download.speed, DecimalMark::point)}));
    }

    void finished(const DownloadSnapshot&, const DownloadResult& result) override {
        const std::int64_t speed = perSecond(result.fetched, result.took);
        say(localized(result.checksumMatched ? "tr.get.finished-matching" : "tr.get.finished",
                      {result.path, readableBytes(result.bytes, DecimalMark::point),
                       fmt::format("{:.1f}", result.took.count()),
                       readableSpeed(speed, DecimalMark::point)}));
    }

    void retrying(const DownloadSnapshot& download, const Error& cause, Seconds delay,
                  std::int64_t left) override {
        ProgressView::retrying(download, cause, delay, left); // NOLINT(bugprone-parent-virtual-call)
    }

    /// One download has told it all in its own last line.
    void ended(const RunSummary& summary) override {
        if (summary.counts.total < 2 || summary.isInterrupted)
            return;
        const QueueCounts& counts = summary.counts;
        say(localized("tr.get.ended",
                      {std::to_string(counts.finished), std::to_string(counts.total),
                       std::to_string(summary.present), std::to_string(counts.failed),
                       readableBytes(counts.bytes, DecimalMark::point), readableDuration(summary.took),
                       readableSpeed(perSecond(counts.bytes, summary.took), DecimalMark::point)}));
        for (const auto& [url, error] : summary.failures)
            tell(localized("tr.get.ended-failure", {url, error.sentence()}));
    }

    void present(const DownloadSnapshot&, const DownloadResult& result) override {
        say(localized("tr.get.already-there", {result.path}));
    }

protected:
    std::ostream& output() { return m_output; }

private:
    void say(const std::string& line) {
        Runloop::assertMain();
        m_output << withoutControls(line) << "\n" << std::flush;
    }

    std::ostream& m_output;
    Pace m_pace{kBetweenPlainLines, false};
};

/// Live lines that are drawn over themselves, and a plain one when a download has ended.
class TerminalView final : public PlainView {
public:
    TerminalView(std::ostream& output, std::ostream& problems, bool colour)
        : PlainView(output, problems), m_colour(colour) {}

    void connecting(const DownloadSnapshot& download) override {
        draw({terminalText(localized("tr.get.connecting", {download.name}), terminalSize().columns)});
    }

    void started(const DownloadSnapshot& download) override {
        if (m_drawn.size() <= 1) // beside others it waits for the next drawing of all
            draw({terminalLine(download, terminalSize().columns, m_colour)});
    }

    void progress(const std::vector<DownloadSnapshot>& running, const QueueCounts& counts,
                  TimePoint) override {
        draw(terminalLines(running, m_waiting, counts, terminalSize(), m_colour));
    }

    void finished(const DownloadSnapshot& download, const DownloadResult& result) override {
        onLinesOfItsOwn([&] { PlainView::finished(download, result); });
    }

    void present(const DownloadSnapshot& download, const DownloadResult& result) override {
        onLinesOfItsOwn([&] { PlainView::present(download, result); });
    }

    void failed(const DownloadSnapshot& download, const Error& error) override {
        onLinesOfItsOwn([&] { PlainView::failed(download, error); });
    }

    void notice(const std::string& text) override {
        onLinesOfItsOwn([&] { PlainView::notice(text); });
    }

    void refused(const BadLine& line) override {
        onLinesOfItsOwn([&] { PlainView::refused(line); });
    }

    void waiting(const std::vector<Waiting>& downloads) override { m_waiting = downloads; }

    void ended(const RunSummary& summary) override {
        onLinesOfItsOwn([&] { PlainView::ended(summary); });
    }

    void makeRoomFor(const std::string& question) override {
        Runloop::assertMain();
        clear();
        m_question = question;
    }

private:
    template <class Write>
    void onLinesOfItsOwn(Write write) {
        Runloop::assertMain();
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
        Runloop::assertMain();
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
    std::vector<Waiting> m_waiting;
    std::string m_question;           // that waits for the user; empty: none
    std::vector<std::string> m_drawn; // the lines that stand on the terminal
};

} // namespace

void ProgressView::retrying(const DownloadSnapshot& download, const Error& cause, Seconds delay,
                            std::int64_t left) {
    std::string reason = cause.sentence();
    if (!reason.empty() && std::string_view(".!?").find(reason.back()) == std::string_view::npos)
        reason += '.'; // for another sentence follows
    notice(localized("tr.get.retry",
                     {download.name, reason, fmt::format("{:.0f}", delay.count()), std::to_string(left)}));
}

void ProgressView::interrupted(std::size_t saved, const std::string& bundle) {
    if (saved > 1)
        notice(localizedCount("tr.get.interrupted-several", saved));
    else
        notice(saved == 1 ? localized("tr.get.interrupted-saved", {bundle})
                          : localized("tr.get.interrupted"));
}

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

} // namespace tarvo
