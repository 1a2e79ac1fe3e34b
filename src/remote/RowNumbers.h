// The numbers by which other programs name the rows of the queue.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>

#include <QObject>

#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

/// From 1 on, in the order in which rows are first asked for. A row keeps its number until it leaves the
/// queue, also when another attempt at its download takes its place; no number is given twice. Main thread.
class RowNumbers final : public QObject {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;

    /// `queue` outlives the object.
    explicit RowNumbers(RemoteFilesArrayController& queue);

    /// Of a job in the queue.
    std::uint64_t of(const Job& job);

    /// Null when no row has the number.
    Job job(std::uint64_t number) const;

private:
    void number(const Job& job, std::uint64_t number);
    void forgetThoseThatLeft();

    const RemoteFilesArrayController& m_queue;
    std::unordered_map<const RemoteFile*, std::uint64_t>
        m_numbers; // of a job, or of one that had its address
    std::unordered_map<std::uint64_t, std::weak_ptr<RemoteFile>> m_jobs;
    std::uint64_t m_last = 0;
};

} // namespace tarvo
