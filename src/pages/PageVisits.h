// The pages that rows of the queue wait for.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include <QObject>

#include "queue/PageOpener.h"

namespace tarvo {

/// Main thread, but for wait().
class PageVisits final : public QObject {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;

    /// What a visit has come to.
    struct End {
        BrowserEndReason reason = BrowserEndReason::cancelled;
        Job replacement{};
    };

    /// Has the page at the address of `job` shown and waits for its end. On a worker.
    End wait(const Job& job);

    bool isOpen(std::int64_t visit) const { return m_open.contains(visit); }

    /// The job whose row waits; null where the visit is over.
    Job jobOf(std::int64_t visit) const;

    /// Each visit ends once: what comes later is passed over.
    void end(std::int64_t visit, const End& end);

    /// Without an answer.
    void endAll();

    /// The same, and from now on no page is waited for.
    void refuse();

    std::vector<std::int64_t> open() const;

Q_SIGNALS:
    void pageWanted(std::int64_t visit);
    /// The row has left the queue, and its page is not needed any more.
    void pageUnwanted(std::int64_t visit);

private:
    struct Visit {
        Job job;
        std::mutex mutex;
        std::condition_variable ended;
        std::optional<End> end;
    };

    void begin(const std::shared_ptr<Visit>& visit);

    std::map<std::int64_t, std::shared_ptr<Visit>> m_open;
    std::int64_t m_count = 0;
    bool m_isOver = false;
};

} // namespace tarvo
