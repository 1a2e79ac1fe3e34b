#include "jobs/ConnectionMediator.h"

#include "base/Log.h"
#include "jobs/AnswerJudge.h"

#include <algorithm>

namespace tarvo {

namespace {

constexpr std::chrono::milliseconds kBetweenLooks{100};

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

ConnectionMediator::ConnectionMediator(ConnectionKeeper& keeper, const Clock& clock, Limits limits,
                                       std::int64_t fileSize)
    : m_keeper(keeper), m_clock(clock), m_limits(limits), m_fileSize(fileSize),
      m_allowance(limits.connections) {
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
    m_lastWasInVain = !isWhole && bytesOf(connection) < kWorthwhile;
    if (m_lastWasInVain)
        m_allowance.noteRefusal(speaking(m_clock.now()), m_clock.now());
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
    if (!measure(now) || !maySend())
        return;
    std::vector<Worker*> workers;
    for (Worker& worker : m_workers)
        workers.push_back(&worker);
    for (const WorkStep& step : nextSteps(situation(now)))
        carryOut(step, workers, now);
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
    std::int64_t begun = 0;
    for (Worker& worker : m_workers) {
        CurlDownloader& connection = *worker.connection;
        if (isHeld || connection.currentOffset() > worker.offset)
            worker.lastByteAt = now;
        worker.offset = connection.currentOffset();
        if (!worker.hasBegun())
            continue;
        worker.speed = connection.speed(now);
        lineSpeed += worker.speed;
        ++begun;
        if (const Seconds trip = connection.segment().roundTrip(); trip > Seconds(0))
            m_roundTrip = m_roundTrip > Seconds(0) ? 0.9 * m_roundTrip + 0.1 * trip : trip;
    }
    m_lineSpeed = std::max(m_lineSpeed, lineSpeed);
    m_allowance.noteAtWork(begun, now);
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
    // A silent one may be what the server does not allow: another one may take its place, but it stays.
    situation.idle =
        std::min(m_allowance.most(now) - speaking(now), m_limits.connections - std::ssize(m_workers));
    if (situation.idle > 0)
        situation.holes = holesBeside(situation.working, m_keeper.missing());
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
            m_allowance.noteRefusal(speaking(now), now);
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
