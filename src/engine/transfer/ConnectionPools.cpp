#include "engine/transfer/ConnectionPools.h"

#include <algorithm>

namespace tarvo {

namespace {

/// Scheme, user, host and port, and the SSH key.
std::string serverOf(const Url& url, const TRAuthToken* auth) {
    const std::string& text = url.absoluteString();
    const std::size_t authority = text.find("//");
    const std::string server =
        text.substr(0, authority == std::string::npos ? authority : text.find('/', authority + 2));
    return auth && url.scheme() == "sftp" ? server + '\n' + auth->privKey().value_or("") : server;
}

/// One with enough connections, and as few as possible more, so that a probe leaves those to a transfer; else
/// the one with the most.
bool fitsBetter(const ConnectionPool& pool, const ConnectionPool& other, std::size_t wanted) {
    const std::size_t count = pool.socketCount();
    const std::size_t others = other.socketCount();
    return count >= wanted ? others < wanted || count < others : count > others;
}

} // namespace

std::shared_ptr<ConnectionPool> ConnectionPools::lend(const Url& url, const TRAuthToken* auth,
                                                      std::size_t wanted) {
    std::string server = serverOf(url, auth);
    std::unique_ptr<ConnectionPool> pool;
    {
        auto idle = m_idle->lock();
        auto best = idle->end();
        for (auto each = idle->begin(); each != idle->end(); ++each) {
            if (each->server == server &&
                (best == idle->end() || !fitsBetter(*best->pool, *each->pool, wanted)))
                best = each;
        }
        if (best != idle->end()) {
            pool = std::move(best->pool);
            idle->erase(best);
        }
    }
    if (!pool)
        pool = std::make_unique<ConnectionPool>();
    pool->owner().take();
    return {pool.release(), [weak = std::weak_ptr(m_idle), server = std::move(server),
                             clock = &m_clock](ConnectionPool* returned) {
                std::unique_ptr<ConnectionPool> owned(returned);
                owned->owner().giveUp();
                if (const auto shelf = weak.lock())
                    takeBack(*shelf, {std::move(owned), server, clock->now()});
            }};
}

std::size_t ConnectionPools::openConnections(const Url& url, const TRAuthToken* auth) const {
    const std::string server = serverOf(url, auth);
    std::size_t most = 0;
    auto idle = m_idle->lock();
    for (const Idle& each : *idle) {
        if (each.server == server)
            most = std::max(most, each.pool->socketCount());
    }
    return most;
}

void ConnectionPools::takeBack(Shelf& shelf, Idle idle) {
    if (idle.pool->socketCount() == 0)
        return;                              // nothing that could be used again
    std::unique_ptr<ConnectionPool> surplus; // closed without the lock
    auto waiting = shelf.lock();
    if (waiting->size() >= kMostIdle) {
        surplus = std::move(waiting->front().pool);
        waiting->pop_front();
    }
    waiting->push_back(std::move(idle));
}

bool ConnectionPools::share(ConnectionPool& pool) {
    const std::int64_t arrived = pool.takeArrived();
    if (m_speedLimit.rate() < 1) {
        pool.allow(ConnectionPool::kUnlimited);
        return true;
    }
    const TimePoint now = m_clock.now();
    m_speedLimit.take(arrived, now);
    const std::int64_t allowance = m_speedLimit.allowance(now);
    if (allowance > 0)
        pool.allow(allowance);
    return allowance > 0;
}

void ConnectionPools::closeIdle(TimePoint now) {
    std::deque<Idle> expired; // closed without the lock
    auto waiting = m_idle->lock();
    while (!waiting->empty() && now - waiting->front().since >= kLongestIdle) {
        expired.push_back(std::move(waiting->front()));
        waiting->pop_front();
    }
}

} // namespace tarvo
