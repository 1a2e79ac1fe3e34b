// tarvo-get's progress for programs.
#pragma once

#include <ostream>

#include <QJsonObject>

#include "cli/Pace.h"
#include "cli/ProgressView.h"

namespace tarvo {

/// One JSON object a line (RFC 8259), the kind of event under "event"; sizes in bytes, null where they are
/// not known.
class JsonView final : public ProgressView {
public:
    JsonView(std::ostream& output, std::ostream& problems) : m_output(output), m_problems(problems) {}

    void connecting(const DownloadSnapshot&) override {}

    void started(const DownloadSnapshot& download) override;
    void progress(const std::vector<DownloadSnapshot>& running, const QueueCounts& counts,
                  TimePoint now) override;
    void finished(const DownloadSnapshot& download, const DownloadResult& result) override;
    void present(const DownloadSnapshot& download, const DownloadResult& result) override;
    void failed(const DownloadSnapshot& download, const Error& error) override;
    void retrying(const DownloadSnapshot& download, const Error& cause, Seconds delay,
                  std::int64_t left) override;
    void interrupted(std::size_t saved, const std::string& bundle) override;
    void ended(const RunSummary& summary) override;
    void refused(const BadLine& line) override;
    void notice(const std::string& text) override;

private:
    void write(const QJsonObject& event);
    void write(const char* event, const DownloadSnapshot& download, QJsonObject more);

    std::ostream& m_output;
    std::ostream& m_problems;
    Pace m_pace{Seconds(1), true};
};

} // namespace tarvo
