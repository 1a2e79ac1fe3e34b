#include "engine/transfer/CurlMulti.h"

#include "base/Log.h"

#include <algorithm>
#include <thread>

#include <curl/curl.h>

namespace tarvo {

namespace {

/// The longest wait of one turn; requests and sockets end it earlier. Short, for libcurl does not always
/// watch an FTP server's data connection; a paused job has nothing to watch.
constexpr std::chrono::milliseconds kTurn{100};
constexpr std::chrono::milliseconds kPausedTurn{1000};

/// While the speed limit has connections wait.
constexpr std::chrono::milliseconds kLimitedTurn{20};

} // namespace

CurlMulti::CurlMulti(Children downloaders, std::shared_ptr<ConnectionPools> pools)
    : m_pools(std::move(pools)), m_shared(Shared{.children = std::move(downloaders)}) {
}

bool CurlMulti::add(std::shared_ptr<CurlDownloader> child) {
    auto shared = m_shared.lock();
    if (shared->hasEnded || shared->isStopped)
        return false;
    if (shared->isPaused)
        child->requestPause();
    shared->children.push_back(std::move(child));
    m_hasNewcomers = true;
    if (shared->pool)
        shared->pool->wakeup();
    return true;
}

void CurlMulti::dropEnded() {
    m_owner.assertIsHere();
    Children ended; // they go without the lock
    auto shared = m_shared.lock();
    const auto begun = shared->children.begin() + static_cast<std::ptrdiff_t>(shared->started);
    const auto gone = std::stable_partition(shared->children.begin(), begun, [&](const auto& child) {
        return std::find(m_active.begin(), m_active.end(), child.get()) != m_active.end();
    });
    ended.assign(gone, begun);
    shared->children.erase(gone, begun);
    shared->started -= ended.size();
}

void CurlMulti::downloadAndBlock() {
    const auto pool = begin();
    if (!pool)
        return;
    m_owner.take();
    while (hasWork()) {
        if (m_hasNewcomers.exchange(false)) {
            startNewcomers(*pool);
            continue;
        }
        if (!m_pools->share(*pool)) {
            std::this_thread::sleep_for(kLimitedTurn); // a wait for the sockets would end at once
            endTurn(*pool, CURLE_OK);
            continue;
        }
        const auto usual = pool->areSomeWaiting() ? kLimitedTurn : kTurn;
        pool->wait(areAllPaused() ? kPausedTurn : usual);
        turn(*pool, {});
    }
    // What was stopped may be silent: the next download does not go on with its connections.
    if (m_shared.lock()->isStopped)
        pool->breakOff();
    m_owner.giveUp();
}

/// Borrows the pool; null when there is nothing to do.
std::shared_ptr<ConnectionPool> CurlMulti::begin() {
    auto shared = m_shared.lock();
    shared->hasEnded = shared->children.empty() || shared->hasEnded;
    if (shared->hasEnded)
        return nullptr;
    const CurlRequest& request = shared->children.front()->segment().request();
    shared->pool = m_pools->lend(request.url, request.authToken.get(), shared->children.size());
    return shared->pool;
}

/// What is added is either seen here or refused.
bool CurlMulti::hasWork() {
    if (!m_active.empty())
        return true;
    auto shared = m_shared.lock();
    shared->hasEnded = shared->started == shared->children.size();
    if (shared->hasEnded)
        shared->pool.reset();
    return !shared->hasEnded;
}

void CurlMulti::startNewcomers(ConnectionPool& pool) {
    Active newcomers;
    {
        auto shared = m_shared.lock();
        for (; shared->started < shared->children.size(); ++shared->started)
            newcomers.push_back(shared->children[shared->started].get());
    }
    for (CurlDownloader* child : newcomers) {
        child->willStart();
        m_active.push_back(child);
        if (child->isStopped()) {
            end(pool, *child, CURLE_ABORTED_BY_CALLBACK);
            continue;
        }
        child->segment().configure();
        child->hold();
        if (!pool.add(child->segment()))
            end(pool, *child, child->segment().errorCode());
    }
    turn(pool, newcomers);
}

void CurlMulti::turn(ConnectionPool& pool, const Active& newcomers) {
    const int failure = pool.perform();
    for (CurlDownloader* child : newcomers)
        child->release();
    for (CurlDownloader* child : m_active)
        child->deliverPending();
    endWhatLibcurlHasEnded(pool);
    endTurn(pool, failure);
}

void CurlMulti::endTurn(ConnectionPool& pool, int failure) {
    if (const auto delegate = m_delegate.lock())
        delegate->loopHasTurned(*this);
    endWhatIsToEnd(pool, failure);
}

void CurlMulti::endWhatLibcurlHasEnded(ConnectionPool& pool) {
    while (const auto ended = pool.nextEnded()) {
        const auto child = std::find_if(m_active.begin(), m_active.end(), [&](const auto* candidate) {
            return &candidate->segment() == ended->segment;
        });
        if (Log::assertThat(child != m_active.end()))
            end(pool, **child, ended->result);
    }
}

void CurlMulti::endWhatIsToEnd(ConnectionPool& pool, int failure) {
    for (std::size_t i = m_active.size(); i-- > 0;) { // backwards, for each end takes one out
        CurlDownloader& child = *m_active[i];
        if (child.applyRequests() < 0)
            breakOff(pool, child, CURLE_ABORTED_BY_CALLBACK);
        else if (child.isAtItsEnd())
            breakOff(pool, child, CURLE_OK);
        else if (failure != CURLE_OK)
            breakOff(pool, child, failure);
    }
}

void CurlMulti::breakOff(ConnectionPool& pool, CurlDownloader& child, int result) {
    pool.breakOff(child.segment());
    end(pool, child, result);
}

void CurlMulti::end(ConnectionPool& pool, CurlDownloader& child, int result) {
    // A connection that was broken off can look like a body's end, and one that ends where it was to end,
    // like a failure.
    if (child.isStopped())
        result = CURLE_ABORTED_BY_CALLBACK;
    else if (child.isAtItsEnd())
        result = CURLE_OK;
    std::erase(m_active, &child);
    pool.remove(child.segment());
    child.segment().setErrorCode(result);
    child.didComplete();
    if (const auto delegate = m_delegate.lock())
        delegate->childHasEnded(*this, child);
}

bool CurlMulti::areAllPaused() const {
    return std::all_of(m_active.begin(), m_active.end(), [](const auto* child) { return child->isPaused(); });
}

void CurlMulti::requestPause() {
    auto shared = m_shared.lock();
    shared->isPaused = true;
    requestOfAll(&CurlDownloader::requestPause, *shared);
}

void CurlMulti::requestResume() {
    auto shared = m_shared.lock();
    shared->isPaused = false;
    requestOfAll(&CurlDownloader::requestResume, *shared);
}

void CurlMulti::requestStop() {
    auto shared = m_shared.lock();
    requestOfAll(&CurlDownloader::requestStop, *shared);
    shared->isStopped = true;
}

void CurlMulti::requestOfAll(void (CurlDownloader::*request)(), Shared& shared) {
    if (shared.isStopped)
        return;
    for (const auto& child : shared.children)
        (*child.*request)();
    // Before the run there is none to wake: it begins with a look at the requests.
    if (shared.pool)
        shared.pool->wakeup();
}

std::optional<Error> CurlMulti::error() const {
    m_owner.assertIsHere();
    for (const auto& child : downloaders()) {
        if (auto error = child->segment().error())
            return error;
    }
    return std::nullopt;
}

} // namespace tarvo
