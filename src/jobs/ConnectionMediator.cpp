#include "jobs/ConnectionMediator.h"

#include "base/Log.h"
#include "jobs/AnswerJudge.h"

#include <algorithm>

namespace tarvo {

namespace {

constexpr std::chrono::milliseconds kBetweenLooks{100};

/// A server may count a connection that was broken off for so long; another one in its place would be turned
/// away, and that would be taken for a limit.
constexpr std::chrono::milliseconds kLeaving{200};

/// Where its next byte for the file belongs; before that come those that are compared.
std::int64_t nextOf(const CurlDownloader& connection) {
    return std::max(connection.currentOffset(), connection.segment().request().compareBelow);
}

/// What fails sooner has been in vain: to ask again at once, and again, would only be a burden.
constexpr std::int64_t kWorthwhile = 64 * 1024;

std::int64_t bytesOf(const CurlDownloader& connection) {
    return connection.currentOffset() - connection.segment().request().lowerBound;
}

bool isHeldUp(const CurlDownloader& connection) {
    const auto state = connection.currentState();
    return state == CurlDownloadState::Pausing || state == CurlDownloadState::Paused ||
           state == CurlDownloadState::Resuming;
}

} // namespace

bool ConnectionMediator::Worker::hasBegun() const {
    return bytesOf(*connection) > 0;
}

ConnectionMediator::ConnectionMediator(ConnectionKeeper& keeper, const Clock& clock,
                                       std::shared_ptr<HostShare> share, Limits limits, std::int64_t fileSize)
    : m_keeper(keeper), m_clock(clock), m_limits(std::move(limits)), m_fileSize(fileSize),
      m_share(std::move(share)) {
}

void ConnectionMediator::watch(std::shared_ptr<CurlDownloader> connection) {
    const TimePoint now = m_clock.now();
    const std::int64_t offset = connection->currentOffset();
    m_workers.push_back({std::move(connection), now, offset, now});
}

void ConnectionMediator::childHasEnded(CurlMulti&, CurlDownloader& child) {
    const auto worker = std::find_if(m_workers.begin(), m_workers.end(),
                                     [&](const Worker& each) { return each.connection.get() == &child; });
    if (!Log::assertThat(worker != m_workers.end()))
        return;
    const Worker ended = std::move(*worker);
    m_workers.erase(worker);
    m_someHaveEnded = true;
    noteEnd(ended);
}

void ConnectionMediator::noteEnd(const Worker& worker) {
    const CurlDownloader& connection = *worker.connection;
    if (worker.speed > 0)
        m_recentSpeeds.push_back(worker.speed);
    if (worker.hasBegun())
        m_lastPart = worker.connection;
    const bool isWhole = connection.currentOffset() >= connection.end();
    leaveGroup(worker, isWhole);
    const auto problem = errorOf(connection, m_fileSize);
    if (problem)
        m_failure = problem;
    if (problem && isFinalRefusal(*problem) && !m_refusal)
        m_refusal = problem;
    const TimePoint now = m_clock.now();
    if (isWhole && connection.end() < connection.segment().request().upperBound)
        m_leaving.push_back(now + kLeaving);
    m_lastWasInVain = !isWhole && bytesOf(connection) < kWorthwhile;
    const Refusal refusal = m_lastWasInVain ? refusalOf(connection) : Refusal::none;
    m_wasCrowdedOut = refusal != Refusal::none && m_share->othersAtWork() > 0;
    if (refusal != Refusal::none)
        m_share->noteRefusal(refusal, speaking(now), connection.segment().retryAfter());
}

/// Where one has brought all, there is nothing left for the others; who is left alone shares no more.
void ConnectionMediator::leaveGroup(const Worker& worker, bool isWhole) {
    std::vector<Worker*> others;
    for (Worker& each : m_workers) {
        if (worker.group > 0 && each.group == worker.group && &each != &worker)
            others.push_back(&each);
    }
    for (Worker* each : others) {
        if (isWhole || others.size() == 1)
            each->group = 0;
        if (isWhole)
            endHere(*each);
    }
}

void ConnectionMediator::loopHasTurned(CurlMulti&) {
    const TimePoint now = m_clock.now();
    if (!m_someHaveEnded && now < m_nextLook)
        return;
    m_nextLook = now + kBetweenLooks;
    if (std::exchange(m_someHaveEnded, false))
        m_keeper.dropEnded();
    if (!measure(now))
        makeRoom(now);
    else if (maySend())
        share(now);
}

/// What is paused keeps one connection, so that it can go on, and no place: the user may want another
/// transfer to go first.
void ConnectionMediator::makeRoom(TimePoint now) {
    if (std::ssize(m_workers) > 1)
        giveBack(m_share->claim(taken(now), 1).surplus - std::ssize(m_leaving));
    else
        m_share->leave();
}

/// Takes and gives back connections as the rules say.
void ConnectionMediator::share(TimePoint now) {
    WorkSituation all = situation(now);
    const PlaceChange change = m_share->claim(taken(now), m_limits.connections);
    const std::int64_t room = m_limits.connections - std::ssize(m_workers);
    all.idle = std::min(change.entitled, room);
    if (all.idle > 0)
        all.holes = splitAt(holesBeside(all.working, m_keeper.missing()), m_limits.starts,
                            m_share->isLimited() ? largestPart(m_usualSpeed, m_roundTrip) : m_fileSize);
    auto steps = nextSteps(all);
    const std::int64_t wished = std::count_if(
        steps.begin(), steps.end(), [](const WorkStep& step) { return step.kind != WorkStep::Kind::end; });
    if (wished > change.free) {
        all.idle = std::min(change.free, room);
        steps = nextSteps(all);
    }
    std::vector<Worker*> workers;
    for (Worker& worker : m_workers)
        workers.push_back(&worker);
    const std::int64_t before = std::ssize(m_workers);
    for (const WorkStep& step : steps)
        carryOut(step, workers, now);
    giveBack(change.surplus - std::ssize(m_leaving)); // which are on their way back
    const auto begun = std::count_if(m_workers.begin(), m_workers.end(),
                                     [](const Worker& worker) { return worker.hasBegun(); });
    const std::int64_t mine = taken(now);
    m_share->settle(mine, begun, mine + std::max<std::int64_t>(wished - (std::ssize(m_workers) - before), 0));
}

/// The slowest ones: what they lack becomes holes. One stays, so that the transfer goes on.
void ConnectionMediator::giveBack(std::int64_t surplus) {
    std::vector<Worker*> workers;
    for (Worker& worker : m_workers) {
        const CurlDownloader& each = *worker.connection;
        if (!each.isAtItsEnd() && (isHeldUp(each) || !endsSoon(each.end() - worker.offset, worker.speed)))
            workers.push_back(&worker);
    }
    std::stable_sort(workers.begin(), workers.end(),
                     [](const Worker* a, const Worker* b) { return a->speed < b->speed; });
    workers.resize(static_cast<std::size_t>(
        std::clamp<std::int64_t>(std::min(surplus, std::ssize(m_workers) - 1), 0, std::ssize(workers))));
    for (Worker* worker : workers) {
        leaveGroup(*worker, false);
        worker->group = 0;
        endHere(*worker);
    }
}

/// How many connections the server may be serving. A silent one may be what it does not allow, so that
/// another one may take its place, but not where that many have been turned away already.
std::int64_t ConnectionMediator::taken(TimePoint now) {
    std::erase_if(m_leaving, [&](TimePoint end) { return now >= end; });
    return m_share->isLimited() ? std::ssize(m_workers) + std::ssize(m_leaving) : speaking(now);
}

/// Whether the transfer is such that its connections can help each other. Where the last one was in vain and
/// none is left, another one would be no better: then the transfer fails, and is tried again later.
bool ConnectionMediator::maySend() const {
    return m_limits.adapts && !m_refusal && !(m_workers.empty() && m_lastWasInVain);
}

/// False while the transfer is paused: what is measured then says nothing.
bool ConnectionMediator::measure(TimePoint now) {
    const bool isHeld = std::any_of(m_workers.begin(), m_workers.end(),
                                    [](const Worker& worker) { return isHeldUp(*worker.connection); });
    double lineSpeed = 0;
    for (Worker& worker : m_workers) {
        CurlDownloader& connection = *worker.connection;
        if (isHeld || connection.currentOffset() > worker.offset)
            worker.lastByteAt = now;
        worker.offset = connection.currentOffset();
        if (!worker.hasBegun())
            continue;
        worker.speed = connection.speed(now);
        lineSpeed += worker.speed;
        if (const Seconds trip = connection.segment().roundTrip(); trip > Seconds(0))
            m_roundTrip = m_roundTrip > Seconds(0) ? 0.9 * m_roundTrip + 0.1 * trip : trip;
    }
    m_lineSpeed = std::max(m_lineSpeed, lineSpeed);
    return !isHeld;
}

/// How many are not silent.
std::int64_t ConnectionMediator::speaking(TimePoint now) const {
    return std::count_if(m_workers.begin(), m_workers.end(), [&](const Worker& worker) {
        return !isSilent(now - worker.lastByteAt, m_roundTrip);
    });
}

WorkSituation ConnectionMediator::situation(TimePoint now) {
    WorkSituation situation;
    std::vector<double> speeds;
    for (const Worker& worker : m_workers) {
        const CurlDownloader& connection = *worker.connection;
        if (worker.speed > 0)
            speeds.push_back(worker.speed);
        situation.working.push_back({nextOf(connection), connection.end(), worker.speed, now - worker.askedAt,
                                     now - worker.lastByteAt, worker.hasBegun(), worker.group});
    }
    if (std::ssize(m_recentSpeeds) > m_limits.connections)
        m_recentSpeeds.erase(m_recentSpeeds.begin(), m_recentSpeeds.end() - m_limits.connections);
    speeds.insert(speeds.end(), m_recentSpeeds.begin(), m_recentSpeeds.end());
    if (!speeds.empty())
        m_usualSpeed = usualSpeedOf(std::move(speeds));
    situation.roundTrip = m_roundTrip;
    situation.usualSpeed = m_usualSpeed;
    situation.lineSpeed = m_lineSpeed;
    situation.leastChunk = m_limits.leastChunk;
    return situation;
}

void ConnectionMediator::carryOut(const WorkStep& step, const std::vector<Worker*>& workers, TimePoint now) {
    switch (step.kind) {
    case WorkStep::Kind::start:
        begin(step.from, step.to);
        return;
    case WorkStep::Kind::cut:
        if (workers[step.range]->connection->endAt(step.from))
            begin(step.from, step.to);
        return;
    case WorkStep::Kind::repeat:
        repeat(step, *workers[step.range]);
        return;
    case WorkStep::Kind::end:
        if (!workers[step.range]->hasBegun())
            m_share->noteRefusal(Refusal::hinted, speaking(now), {});
        leaveGroup(*workers[step.range], false);
        workers[step.range]->group = 0;
        endHere(*workers[step.range]);
        return;
    }
}

void ConnectionMediator::repeat(const WorkStep& step, Worker& worker) {
    // One that is being ended leaves a hole instead.
    Worker* newcomer = worker.connection->isAtItsEnd() ? nullptr : begin(step.from, step.to);
    if (!newcomer)
        return;
    for (Worker* each : {&worker, newcomer})
        each->connection->segment().request().isRepeated = true;
    if (worker.group == 0)
        worker.group = ++m_groups;
    newcomer->group = worker.group;
}

/// The loop ends it when it has turned.
void ConnectionMediator::endHere(Worker& worker) {
    worker.connection->endAt(worker.connection->currentOffset());
}

ConnectionMediator::Worker* ConnectionMediator::begin(std::int64_t from, std::int64_t to) {
    auto connection = m_keeper.addConnection({from, to});
    if (!connection)
        return nullptr;
    watch(std::move(connection));
    return &m_workers.back();
}

} // namespace tarvo
