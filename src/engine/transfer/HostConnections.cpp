#include "engine/transfer/HostConnections.h"

#include "base/Settings.h"

#include <algorithm>
#include <thread>

namespace tarvo {

namespace {

/// From one look for a place to the next: a short transfer gives one back soon, a long one doesn't.
constexpr std::chrono::milliseconds kFirstWait{2};
constexpr std::chrono::milliseconds kLongestWait{100};

} // namespace

HostConnections::HostConnections(const UserDefaults& defaults, const Clock& clock)
    : m_books(std::make_shared<Locked<Books>>(Books{defaults, clock})) {
}

std::shared_ptr<HostShare> HostConnections::join(const std::string& host) {
    return std::make_shared<HostShare>(m_books, host);
}

std::int64_t HostConnections::Host::takenByOthers(const HostShare& share) const {
    std::int64_t taken = 0;
    for (const Transfer& each : transfers)
        taken += each.share == &share ? 0 : each.claim.taken;
    return taken;
}

std::int64_t HostConnections::Host::begun() const {
    std::int64_t all = 0;
    for (const Transfer& each : transfers)
        all += each.begun;
    return all;
}

HostConnections::Transfer& HostConnections::Host::of(const HostShare& share) {
    const auto found = std::find_if(transfers.begin(), transfers.end(),
                                    [&](const Transfer& each) { return each.share == &share; });
    return found != transfers.end() ? *found : transfers.emplace_back(Transfer{&share, {}});
}

void HostConnections::Host::drop(const HostShare& share) {
    std::erase_if(transfers, [&](const Transfer& each) { return each.share == &share; });
}

const HostConnections::Host& HostConnections::Books::host(const std::string& name) const {
    static const Host unknown;
    const auto found = hosts.find(name);
    return found == hosts.end() ? unknown : found->second;
}

std::int64_t HostConnections::atWork(const std::string& host) const {
    return m_books->lock()->host(host).begun();
}

std::vector<LearnedLimit> HostConnections::learned() const {
    auto books = m_books->lock();
    const WallTime now = books->clock.wallNow();
    std::vector<LearnedLimit> limits;
    for (const auto& [name, host] : books->hosts) {
        if (host.isKnown() && now - host.learnedAt < kKept)
            limits.push_back({name, host.allowance.known(), host.learnedAt});
    }
    std::stable_sort(limits.begin(), limits.end(),
                     [](const LearnedLimit& a, const LearnedLimit& b) { return a.at > b.at; });
    if (limits.size() > kMostKept)
        limits.resize(kMostKept);
    return limits;
}

void HostConnections::restore(const std::vector<LearnedLimit>& limits) {
    auto books = m_books->lock();
    const WallTime now = books->clock.wallNow();
    for (const LearnedLimit& limit : limits) {
        const bool isOfNow = limit.at <= now && now - limit.at < kKept;
        Host& host = books->hosts[limit.host];
        if (!isOfNow || host.isKnown())
            continue;
        host.allowance.restore(limit.connections, books->clock.now());
        host.told = host.allowance.known();
        host.learnedAt = limit.at;
    }
    books->forgetTheOldest();
}

/// What is to be called, once the books are closed.
std::function<void()> HostConnections::Books::toTell(Host& host, bool isNews) {
    const std::int64_t known = host.allowance.known();
    if (!isNews && known == host.told)
        return {};
    host.told = known;
    host.learnedAt = clock.wallNow();
    return learnedMore;
}

void HostConnections::Books::forgetTheOldest() {
    std::erase_if(hosts,
                  [](const auto& each) { return each.second.transfers.empty() && !each.second.isKnown(); });
    while (hosts.size() > kMostKept) {
        const auto isOlder = [](const auto& a, const auto& b) {
            return std::pair(!a.second.transfers.empty(), a.second.learnedAt) <
                   std::pair(!b.second.transfers.empty(), b.second.learnedAt);
        };
        const auto oldest = std::min_element(hosts.begin(), hosts.end(), isOlder);
        if (!oldest->second.transfers.empty())
            return;
        hosts.erase(oldest);
    }
}

HostShare::HostShare(std::shared_ptr<Locked<HostConnections::Books>> books, std::string host)
    : m_books(std::move(books)), m_host(std::move(host)) {
}

HostShare::~HostShare() {
    leave();
}

void HostShare::leave() {
    auto books = m_books->lock();
    const auto host = books->hosts.find(m_host);
    if (host == books->hosts.end())
        return;
    host->second.drop(*this);
    books->forgetTheOldest();
}

std::int64_t HostShare::places(HostConnections::Books& books, const HostConnections::Host& host) const {
    return std::min(host.allowance.most(books.clock.now()), Settings(books.defaults).maxConnectionsPerHost());
}

PlaceChange HostShare::claim(std::int64_t taken, std::int64_t wanted) {
    auto books = m_books->lock();
    HostConnections::Host& host = books->hosts[m_host];
    HostConnections::Transfer& mine = host.of(*this);
    mine.claim = {taken, wanted};
    std::vector<PlaceClaim> claims;
    claims.reserve(host.transfers.size());
    for (const auto& each : host.transfers)
        claims.push_back(each.claim);
    const PlaceChange change =
        placeChange(places(*books, host), claims, static_cast<std::size_t>(&mine - host.transfers.data()));
    mine.claim.taken += change.free;
    return change;
}

std::int64_t HostShare::awaitPlaces(std::int64_t wanted, const std::function<bool()>& goesOn) {
    std::int64_t free = claim(0, wanted).free;
    for (auto wait = kFirstWait; free == 0 && goesOn(); wait = std::min(wait * 2, kLongestWait)) {
        std::this_thread::sleep_for(wait);
        free = claim(0, wanted).free;
    }
    return free;
}

void HostShare::settle(std::int64_t taken, std::int64_t begun, std::int64_t wanted) {
    std::function<void()> tell;
    {
        auto books = m_books->lock();
        HostConnections::Host& host = books->hosts[m_host];
        HostConnections::Transfer& mine = host.of(*this);
        mine.claim = {taken, wanted};
        mine.begun = begun;
        host.allowance.noteAtWork(host.begun(), books->clock.now());
        tell = books->toTell(host, false);
    }
    if (tell)
        tell();
}

void HostShare::noteRefusal(Refusal kind, std::int64_t taken, Seconds retryAfter) {
    std::function<void()> tell;
    {
        auto books = m_books->lock();
        HostConnections::Host& host = books->hosts[m_host];
        HostConnections::Transfer& mine = host.of(*this);
        mine.claim.taken = taken;
        mine.begun = std::min(mine.begun, taken);
        const TimePoint now = books->clock.now();
        host.allowance.noteRefusal(kind, taken + host.takenByOthers(*this), retryAfter, now);
        tell = books->toTell(host, host.isKnown());
    }
    if (tell)
        tell();
}

bool HostShare::isLimited() const {
    auto books = m_books->lock();
    return books->host(m_host).allowance.most(books->clock.now()) != ConnectionAllowance::kNoLimit;
}

std::int64_t HostShare::othersAtWork() const {
    auto books = m_books->lock();
    const HostConnections::Host& host = books->host(m_host);
    const auto mine = std::find_if(host.transfers.begin(), host.transfers.end(),
                                   [&](const auto& each) { return each.share == this; });
    return host.begun() - (mine == host.transfers.end() ? 0 : mine->begun);
}

std::optional<ConnectionLimit> HostShare::limit(std::int64_t wanted) const {
    auto books = m_books->lock();
    const std::int64_t set = Settings(books->defaults).maxConnectionsPerHost();
    const std::int64_t known = books->host(m_host).allowance.known();
    if (known < std::min(wanted, set))
        return ConnectionLimit{known, true};
    return set < wanted ? std::optional(ConnectionLimit{set, false}) : std::nullopt;
}

} // namespace tarvo
