#include "engine/progress/ConnectionRule.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace tarvo {

namespace {

/// So much sooner must a range be there for a cut: each costs a request, and the owner its connection.
constexpr Seconds kLeastSaving{0.05};
/// What says nothing for so long is counted on no more.
constexpr Seconds kSilent{2.0};
/// What says nothing for so long is ended: after its first byte, and before.
constexpr Seconds kDead{10.0};
constexpr Seconds kNeverAnswered{30.0};
/// The end game begins when so much of the whole line's time is left.
constexpr Seconds kEndGame{2.0};

/// A range, and those who are to help with it.
struct Share {
    std::int64_t next;
    std::int64_t end;
    double speed;  // of its owner
    double wait;   // until its owner brings bytes, in seconds
    bool hasOwner; // a hole has none yet
    bool isSilent;
    int group;
    std::size_t range; // the owner's place
    std::int64_t helpers = 0;

    std::int64_t left() const { return end - next; }
};

class Plan {
public:
    explicit Plan(const WorkSituation& situation) : m_now(situation), m_start(situation.roundTrip.count()) {}

    std::vector<WorkStep> steps() {
        endTheUseless();
        takeHoles();
        for (std::size_t i = 0; i < m_now.working.size(); ++i)
            m_shares.push_back(shareOf(i));
        while (m_now.usualSpeed > 0 && m_idle > 0 && sendHelper())
            --m_idle;
        for (const Share& share : m_shares)
            divide(share);
        repeatTheSlow();
        return std::move(m_steps);
    }

private:
    void endTheUseless() {
        const bool othersBring =
            std::any_of(m_now.working.begin(), m_now.working.end(),
                        [&](const WorkingRange& range) { return range.hasBegun && range.silence < kSilent; });
        for (std::size_t i = 0; othersBring && i < m_now.working.size(); ++i) {
            const WorkingRange& range = m_now.working[i];
            if (range.silence >= (range.hasBegun ? kDead : kNeverAnswered) || isOvertaken(range))
                m_steps.push_back({WorkStep::Kind::end, i, range.next, range.end});
        }
    }

    /// Whether another one that brings the same bytes is ahead, and faster.
    bool isOvertaken(const WorkingRange& range) const {
        const double speed = isSilent(range.silence, m_now.roundTrip) ? 0 : range.speed;
        return range.group > 0 && range.hasBegun &&
               std::any_of(m_now.working.begin(), m_now.working.end(), [&](const WorkingRange& other) {
                   return other.group == range.group && other.next > range.next && other.speed > speed &&
                          !isSilent(other.silence, m_now.roundTrip);
               });
    }

    void takeHoles() {
        std::vector<ByteRange> holes = m_now.holes;
        std::stable_sort(holes.begin(), holes.end(),
                         [](const ByteRange& a, const ByteRange& b) { return a.size() > b.size(); });
        for (const ByteRange& hole : holes) {
            if (m_idle == 0)
                return;
            --m_idle;
            m_shares.push_back(
                {hole.lowerBound, hole.upperBound, m_now.usualSpeed, m_start, false, false, 0, 0});
        }
    }

    Share shareOf(std::size_t i) const {
        const WorkingRange& range = m_now.working[i];
        Share share{range.next,  range.end, range.speed, 0, true, isSilent(range.silence, m_now.roundTrip),
                    range.group, i};
        if (share.isSilent)
            share.speed = 0;
        else if (range.speed <= 0)
            share.speed = m_now.usualSpeed;
        if (!range.hasBegun)
            share.wait = std::max(0.0, m_start - range.age.count());
        return share;
    }

    /// When the share is there, in seconds, with that many helpers: all who bring it end together.
    double timeOf(const Share& share, std::int64_t helpers) const {
        const double many = static_cast<double>(helpers) * m_now.usualSpeed;
        const double speed = share.speed + many;
        if (speed <= 0)
            return std::numeric_limits<double>::infinity();
        return (static_cast<double>(share.left()) + share.wait * share.speed + m_start * many) / speed;
    }

    /// What its owner brings of a share with helpers, in bytes.
    std::int64_t ownPart(const Share& share, std::int64_t helpers) const {
        const double brings = share.speed * (timeOf(share, helpers) - share.wait);
        return std::clamp(static_cast<std::int64_t>(brings), std::min(m_now.leastChunk, share.left()),
                          share.left());
    }

    bool paysOneMore(const Share& share) const {
        const std::int64_t helpers = share.helpers + 1;
        const double part =
            static_cast<double>(share.left() - ownPart(share, helpers)) / static_cast<double>(helpers);
        const double least = std::max(static_cast<double>(m_now.leastChunk), m_now.usualSpeed * m_start);
        return part >= least && timeOf(share, share.helpers) - timeOf(share, helpers) >= kLeastSaving.count();
    }

    /// Sends a helper where it is needed most; false when none pays.
    bool sendHelper() {
        Share* neediest = nullptr;
        double longest = 0;
        for (Share& share : m_shares) {
            const double time = timeOf(share, share.helpers);
            if (time > longest && share.group == 0 && paysOneMore(share)) {
                neediest = &share;
                longest = time;
            }
        }
        if (neediest)
            ++neediest->helpers;
        return neediest != nullptr;
    }

    /// The owner keeps what comes first; what is cut off goes to the helpers in equal parts, from the back,
    /// so that each cut holds whether or not the next one does.
    void divide(const Share& share) {
        std::int64_t end = share.end;
        const std::int64_t own = share.helpers > 0 ? ownPart(share, share.helpers) : share.left();
        const std::int64_t part = share.helpers > 0 ? (share.left() - own) / share.helpers : 0;
        for (std::int64_t helper = share.helpers; helper > 0; --helper) {
            const std::int64_t from = helper == 1 ? share.next + own : end - part;
            m_steps.push_back({share.hasOwner ? WorkStep::Kind::cut : WorkStep::Kind::start,
                               share.hasOwner ? share.range : 0, from, end});
            end = from;
        }
        if (!share.hasOwner)
            m_steps.push_back({WorkStep::Kind::start, 0, share.next, end});
    }

    void repeatTheSlow() {
        double left = 0;
        for (const Share& share : m_shares)
            left += static_cast<double>(share.left());
        const bool areAllSilent =
            std::all_of(m_shares.begin(), m_shares.end(), [](const Share& share) { return share.isSilent; });
        if (left > m_now.lineSpeed * kEndGame.count() && !areAllSilent)
            return;
        std::vector<Share> chosen;
        std::copy_if(m_shares.begin(), m_shares.end(), std::back_inserter(chosen),
                     [&](const Share& share) { return paysToRepeat(share); });
        std::stable_sort(chosen.begin(), chosen.end(),
                         [&](const Share& a, const Share& b) { return timeOf(a, 0) > timeOf(b, 0); });
        for (const Share& share : chosen) {
            if (m_idle == 0)
                return;
            --m_idle;
            m_steps.push_back({WorkStep::Kind::repeat, share.range, share.next, share.end});
        }
    }

    bool paysToRepeat(const Share& share) const {
        if (!share.hasOwner || share.helpers > 0 || share.left() <= 0)
            return false;
        if (share.isSilent)
            return isFirstOfASilentGroup(share);
        const double again = m_start + static_cast<double>(share.left()) / m_now.usualSpeed;
        const double alone = timeOf(share, 0);
        return share.group == 0 && alone > 2 * again && alone - again >= kLeastSaving.count();
    }

    /// Whether all who bring the share are silent, and it is the one of theirs that is to be repeated.
    bool isFirstOfASilentGroup(const Share& share) const {
        return share.group == 0 || std::all_of(m_shares.begin(), m_shares.end(), [&](const Share& other) {
                   const bool isBehind =
                       other.next < share.next || (other.next == share.next && other.range >= share.range);
                   return other.group != share.group || (other.isSilent && isBehind);
               });
    }

    const WorkSituation& m_now;
    const double m_start;
    std::int64_t m_idle = std::max<std::int64_t>(m_now.idle, 0);
    std::vector<Share> m_shares;
    std::vector<WorkStep> m_steps;
};

} // namespace

std::vector<WorkStep> nextSteps(const WorkSituation& situation) {
    return Plan(situation).steps();
}

bool isSilent(Seconds silence, Seconds roundTrip) {
    return silence >= std::max(kSilent, 2 * roundTrip);
}

bool endsSoon(std::int64_t left, double speed) {
    constexpr double unmeasured = 1024.0 * 1024;
    return static_cast<double>(left) <= (speed > 0 ? speed : unmeasured); // within a second
}

std::vector<ByteRange> holesBeside(const std::vector<WorkingRange>& working, const ByteRanges& missing) {
    std::vector<std::pair<std::int64_t, std::int64_t>> brought;
    brought.reserve(working.size());
    for (const WorkingRange& range : working)
        brought.emplace_back(range.next, range.end);
    std::sort(brought.begin(), brought.end());
    std::vector<ByteRange> holes;
    for (const auto& each : missing) {
        std::int64_t from = each->lowerBound;
        const auto addHoleUpTo = [&](std::int64_t end) {
            if (end > from)
                holes.emplace_back(from, end);
        };
        for (const auto& [next, end] : brought) {
            addHoleUpTo(std::min(next, each->upperBound));
            from = std::max(from, end);
        }
        addHoleUpTo(each->upperBound);
    }
    return holes;
}

std::vector<ByteRange> splitAt(const std::vector<ByteRange>& holes, const std::vector<std::int64_t>& starts,
                               std::int64_t largest) {
    std::vector<ByteRange> parts;
    for (const ByteRange& hole : holes) {
        std::int64_t from = hole.lowerBound;
        for (auto start = std::upper_bound(starts.begin(), starts.end(), from); from < hole.upperBound;
             ++start) {
            const bool isLast = start == starts.end() || *start >= hole.upperBound;
            const std::int64_t end = isLast ? hole.upperBound : *start;
            for (std::int64_t left = (end - from - 1) / largest + 1; left > 0; --left) {
                const std::int64_t next = from + (end - from) / left;
                parts.emplace_back(from, next);
                from = next;
            }
        }
    }
    return parts;
}

std::int64_t largestPart(double speed, Seconds roundTrip) {
    constexpr Seconds shortest{1.5};
    constexpr double roundTrips = 50; // two percent of the time
    const double part = speed * std::max(shortest, roundTrip * roundTrips).count();
    return part < 1 || part > 1e15 ? std::numeric_limits<std::int64_t>::max()
                                   : static_cast<std::int64_t>(part);
}

double usualSpeedOf(std::vector<double> speeds) {
    if (speeds.empty())
        return 0;
    const auto middle = speeds.begin() + static_cast<std::ptrdiff_t>(speeds.size() / 2);
    std::nth_element(speeds.begin(), middle, speeds.end());
    return *middle;
}

} // namespace tarvo
