#include "engine/transfer/CurlMulti.h"

#include "base/Log.h"

#include <algorithm>

#include <curl/curl.h>

namespace tarvo {

namespace {

/// The longest wait of one turn; requests and sockets end it earlier. Short, for libcurl does not always
/// watch an FTP server's data connection; a paused job has nothing to watch.
constexpr std::chrono::milliseconds kTurn{100};
constexpr std::chrono::milliseconds kPausedTurn{1000};

} // namespace

CurlMulti::CurlMulti(std::vector<std::shared_ptr<CurlDownloader>> downloaders,
                     std::shared_ptr<ConnectionPools> pools)
    : m_children(std::move(downloaders)), m_pools(std::move(pools)) {
}

void CurlMulti::downloadAndBlock() {
    if (m_children.empty())
        return;
    const CurlRequest& request = m_children.front()->segment().request();
    const auto pool = m_pools->lend(request.url, request.authToken.get());
    *m_lease.lock() = pool;
    start(*pool);
    while (true) {
        const bool stopped = applyRequestsAndCheckForStop();
        if (stopped || m_running == 0 || m_failure != CURLE_OK)
            break;
        pool->wait(allHandlesPaused() ? kPausedTurn : kTurn);
        perform(*pool);
    }
    m_lease.lock()->reset();
    deliverCompletions(*pool);
}

void CurlMulti::start(ConnectionPool& pool) {
    for (const auto& child : m_children) {
        child->segment().configure();
        child->willStart();
        child->hold();
        if (!pool.add(child->segment()))
            m_completions.push_back({child.get(), child->segment().errorCode()});
    }
    perform(pool);
    for (const auto& child : m_children)
        child->release();
}

void CurlMulti::perform(ConnectionPool& pool) {
    m_failure = pool.perform(m_running);
    for (const auto& child : m_children)
        child->deliverPending();
    readMessages(pool);
}

void CurlMulti::readMessages(ConnectionPool& pool) {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(pool.multiHandle(), &left)) {
        if (!Log::assertThat(message->msg == CURLMSG_DONE))
            continue;
        char* segment = nullptr; // what the segment stored in its handle: itself
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &segment);
        const auto child = std::find_if(m_children.begin(), m_children.end(), [&](const auto& candidate) {
            return static_cast<void*>(&candidate->segment()) == segment;
        });
        if (!Log::assertThat(child != m_children.end()))
            continue;
        // Of a stopped child the connection may have been broken off, which can look like a body's end.
        const auto state = (*child)->currentState();
        const bool stopped = state == CurlDownloadState::Stopping || state == CurlDownloadState::Failed;
        m_completions.push_back({child->get(), stopped ? CURLE_ABORTED_BY_CALLBACK : message->data.result});
    }
}

bool CurlMulti::isFinished(const CurlDownloader& child) const {
    return std::any_of(m_completions.begin(), m_completions.end(),
                       [&](const Completion& completion) { return completion.child == &child; });
}

bool CurlMulti::applyRequestsAndCheckForStop() {
    bool anyLeft = false;
    for (const auto& child : m_children) {
        if (!isFinished(*child) && child->applyRequests() == 0)
            anyLeft = true;
    }
    return !anyLeft;
}

void CurlMulti::deliverCompletions(ConnectionPool& pool) {
    if (m_completions.size() < m_children.size())
        pool.breakOff();
    for (const auto& child : m_children) {
        if (!isFinished(*child))
            m_completions.push_back(
                {child.get(), m_failure == CURLE_OK ? CURLE_ABORTED_BY_CALLBACK : m_failure});
    }
    for (const auto& child : m_children)
        pool.remove(child->segment());
    for (const auto& [child, result] : m_completions) {
        child->segment().setErrorCode(result);
        child->didComplete();
    }
}

bool CurlMulti::allHandlesPaused() const {
    return std::all_of(m_children.begin(), m_children.end(),
                       [](const auto& child) { return child->isPaused(); });
}

void CurlMulti::requestPause() {
    for (const auto& child : m_children)
        child->requestPause();
    wakeup();
}

void CurlMulti::requestResume() {
    for (const auto& child : m_children)
        child->requestResume();
    wakeup();
}

void CurlMulti::requestStop() {
    for (const auto& child : m_children)
        child->requestStop();
    wakeup();
}

void CurlMulti::wakeup() {
    // Before the run there is nobody to wake: it begins with a look at the requests.
    if (auto lease = m_lease.lock(); *lease)
        (*lease)->wakeup();
}

std::optional<Error> CurlMulti::error() const {
    for (const auto& child : m_children) {
        if (auto error = child->segment().error())
            return error;
    }
    return std::nullopt;
}

} // namespace tarvo
