// What a server allows, as it is found out, divided among its transfers and kept.
#include "engine/transfer/HostConnections.h"

#include "LiveTransfer.h"
#include "base/SettingKeys.h"
#include "engine/transfer/RangeAnswer.h"
#include "support/FakeClock.h"

#include <curl/curl.h>

namespace tarvo::test {

namespace {

constexpr auto kNoLimit = ConnectionAllowance::kNoLimit;

TimePoint at(double seconds) {
    return TimePoint(std::chrono::hours(1)) + std::chrono::milliseconds(std::llround(seconds * 1000));
}

/// Ten were begun, and all but three turned away.
ConnectionAllowance threeOfTen(Refusal kind) {
    ConnectionAllowance allowance;
    for (int others = 9; others >= 3; --others)
        allowance.noteRefusal(kind, others, {}, at(0));
    allowance.noteAtWork(3, at(0.5));
    return allowance;
}

} // namespace

TEST(ConnectionAllowance, WhatIsRefusedIsTriedAgainEverLessOften) {
    for (const auto& [kind, wait] : {std::pair{Refusal::said, 60.0}, std::pair{Refusal::hinted, 10.0}}) {
        ConnectionAllowance allowance = threeOfTen(kind);
        EXPECT_EQ(allowance.known(), kind == Refusal::said ? 3 : kNoLimit) << "a reset may be a bad line";
        EXPECT_EQ(allowance.most(at(wait - 1)), 3);
        EXPECT_EQ(allowance.most(at(wait)), 4);
        allowance.noteRefusal(kind, 3, {}, at(wait));
        EXPECT_EQ(allowance.known(), 3);
        EXPECT_EQ(allowance.most(at(3 * wait - 1)), 3);
        EXPECT_EQ(allowance.most(at(3 * wait)), 4);
        allowance.noteAtWork(4, at(3 * wait + 1));
        EXPECT_EQ(allowance.most(at(3 * wait + 10)), 4);
        EXPECT_EQ(allowance.most(at(3 * wait + 11)), 5);
        EXPECT_EQ(allowance.known(), 4);
    }
}

TEST(ConnectionAllowance, TheServersOwnTimeIsWaitedForUpToAnHour) {
    ConnectionAllowance allowance = threeOfTen(Refusal::said);
    allowance.noteRefusal(Refusal::said, 3, Seconds(900), at(60));
    EXPECT_EQ(allowance.most(at(959)), 3);
    EXPECT_EQ(allowance.most(at(960)), 4);
    allowance.noteRefusal(Refusal::said, 3, Seconds(1e9), at(960));
    EXPECT_EQ(allowance.most(at(960 + 3600)), 4);
}

TEST(ConnectionAllowance, OneThatContradictsWhatWasSeenMustComeTwice) {
    ConnectionAllowance allowance = threeOfTen(Refusal::said);
    allowance.noteRefusal(Refusal::said, 2, {}, at(5)); // what ended just now is at work for the server
    EXPECT_EQ(allowance.most(at(5.5)), 2);
    EXPECT_EQ(allowance.most(at(6)), 3);
    allowance.noteRefusal(Refusal::said, 2, {}, at(6));
    EXPECT_EQ(allowance.most(at(8)), 2);
}

TEST(ConnectionAllowance, AServerThatIsAwayTeachesNothing) {
    ConnectionAllowance fresh;
    for (int others = 9; others >= 0; --others)
        fresh.noteRefusal(Refusal::said, others, {}, at(0));
    EXPECT_EQ(fresh.most(at(0)), kNoLimit);
    ConnectionAllowance known = threeOfTen(Refusal::said);
    for (int twice = 0; twice < 2; ++twice) {
        for (int others = 2; others >= 0; --others)
            known.noteRefusal(Refusal::said, others, {}, at(10));
    }
    EXPECT_EQ(known.most(at(12)), 3);
}

TEST(JudgeRefusal, OnlyWhatMayBeForTooManyConnectionsIsOne) {
    using enum Refusal;
    const std::tuple<bool, int, int, Refusal> cases[] = {
        {true, 503, CURLE_WRITE_ERROR, said},
        {true, 429, CURLE_OK, said},
        {true, 500, CURLE_WRITE_ERROR, hinted},
        {true, 404, CURLE_WRITE_ERROR, none},
        {true, 421, CURLE_WRITE_ERROR, hinted},
        {true, 206, CURLE_WRITE_ERROR, none},
        {true, 0, CURLE_COULDNT_CONNECT, said},
        {true, 0, CURLE_RECV_ERROR, hinted},
        {true, 206, CURLE_PARTIAL_FILE, hinted},
        {true, 0, CURLE_ABORTED_BY_CALLBACK, none},
        {false, 421, CURLE_WEIRD_SERVER_REPLY, said},
        {false, 530, CURLE_LOGIN_DENIED, said},
        {false, 550, CURLE_REMOTE_FILE_NOT_FOUND, none},
    };
    for (const auto& [isWeb, status, code, expected] : cases)
        EXPECT_EQ(judgeRefusal(isWeb, status, code), expected) << isWeb << " " << status << " " << code;
}

TEST(PlaceDivision, EachGetsOneMoreInTurnAndWhoHasTooManyGivesBackWhatAnotherLacks) {
    using Parts = std::vector<std::int64_t>;
    EXPECT_EQ(dividePlaces(16, {{0, 10}, {0, 1}, {0, 10}}), (Parts{8, 1, 7}));
    EXPECT_EQ(dividePlaces(2, {{0, 10}, {0, 10}, {0, 10}}), (Parts{1, 1, 0}));
    EXPECT_EQ(dividePlaces(16, {{0, 2}, {0, 0}}), (Parts{2, 0}));
    EXPECT_EQ(placeChange(16, {{0, 10}}, 0), (PlaceChange{10, 10, 0}));
    EXPECT_EQ(placeChange(3, {{3, 3}, {0, 10}}, 1), (PlaceChange{1, 0, 0})) << "its part, but not free";
    EXPECT_EQ(placeChange(3, {{3, 3}, {0, 10}}, 0), (PlaceChange{0, 0, 1})) << "so the first gives one back";
    EXPECT_EQ(placeChange(4, {{3, 3}, {0, 10}}, 1), (PlaceChange{2, 1, 0}));
    EXPECT_EQ(placeChange(8, {{5, 10}, {3, 3}}, 0), (PlaceChange{0, 0, 0})) << "nobody lacks anything";
    EXPECT_EQ(placeChange(2, {{5, 10}}, 0), (PlaceChange{0, 0, 3})) << "the user has set fewer";
}

class HostConnectionsTest : public TransferFixture {
protected:
    HostConnectionsTest() {
        m_defaults.registerDefaults({{std::string(SettingKey::kMaxConnectionsPerHost), 16}});
    }

    /// Ten connections of the share, of which three are let in.
    static void refuseAllButThree(HostShare& share) {
        share.claim(0, 10);
        for (int left = 9; left >= 3; --left)
            share.noteRefusal(Refusal::said, left, {});
        share.settle(3, 3, 10);
    }

    const std::string host = "http://a.example";
    FakeClock m_time;
    HostConnections hosts{m_defaults, m_time};
};

TEST_F(HostConnectionsTest, AllTransfersFromAHostShareWhatItAllowsAndWhatTheUserHasSet) {
    const auto first = hosts.join(host);
    EXPECT_EQ(first->claim(0, 20).free, 16);
    EXPECT_EQ(first->limit(20)->most, 16);
    EXPECT_FALSE(first->limit(20)->isByServer);
    EXPECT_FALSE(first->limit(16));
    EXPECT_EQ(hosts.join("http://b.example")->claim(0, 10).free, 10) << "another host";
    refuseAllButThree(*first);
    EXPECT_TRUE(first->limit(10)->isByServer);
    const auto second = hosts.join(host);
    EXPECT_EQ(second->claim(0, 10), (PlaceChange{1, 0, 0}));
    EXPECT_EQ(first->claim(3, 10).surplus, 1);
    first->settle(2, 2, 10);
    EXPECT_EQ(second->claim(0, 10).free, 1);
    first->leave();
    EXPECT_EQ(second->claim(1, 10).free, 2);
    EXPECT_EQ(hosts.atWork(host), 0) << "a connection that has brought nothing may be one too many";
    second->settle(3, 2, 10);
    EXPECT_EQ(hosts.atWork(host), 2);
}

TEST_F(HostConnectionsTest, WhatWasLearnedIsKeptForADayAndToldWhenItIsNew) {
    int told = 0;
    hosts.setObserver([&] { ++told; });
    const auto share = hosts.join(host);
    refuseAllButThree(*share);
    const int once = told;
    EXPECT_GT(once, 0);
    share->settle(3, 3, 10);
    EXPECT_EQ(told, once) << "nothing new";
    const std::vector<LearnedLimit> known{{host, 3, m_time.wallNow()}};
    EXPECT_EQ(hosts.learned(), known);
    HostConnections later(m_defaults, m_time);
    later.restore({{host, 3, m_time.wallNow()},
                   {"http://old.example", 2, m_time.wallNow() - std::chrono::hours(24)},
                   {"http://future.example", 2, m_time.wallNow() + std::chrono::hours(1)}});
    EXPECT_EQ(later.learned(), known);
    EXPECT_EQ(later.join(host)->claim(0, 10).free, 3);
}

} // namespace tarvo::test
