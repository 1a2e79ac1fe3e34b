// Whatever a visitor does, the others are answered.
#include "platform/InstanceSocket.h"
#include "base/PosixDisk.h"
#include "platform/HandOver.h"
#include "platform/LocalSocket.h"
#include "platform/RunningInstance.h"

#include <future>

#include "support/JobHarness.h"
#include "support/TemporaryFolder.h"

#include <QTimer>
#include <gtest/gtest.h>
#include <sys/socket.h>

namespace tarvo::test {

using namespace std::chrono_literals;

class InstanceSocketTest : public ::testing::Test {
protected:
    /// Asks from a thread of its own while the main loop turns.
    Result<std::vector<AddOutcome>> handOver(const std::vector<std::string>& what) {
        const RunningInstance other(folder.path("socket"));
        auto answer = std::async(std::launch::async, [&] { return other.handOver(what, "token"); });
        EXPECT_TRUE(turnUntil([&] { return answer.wait_for(0s) == std::future_status::ready; }));
        return answer.get();
    }

    FileHandle connected(const std::string& sends = "") const {
        FileHandle socket = newLocalSocket(SOCK_NONBLOCK);
        const auto address = localAddress(folder.path("socket"));
        EXPECT_EQ(::connect(socket.descriptor(), generic(*address), sizeof *address), 0);
        EXPECT_EQ(::send(socket.descriptor(), sends.data(), sends.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(sends.size()));
        return socket;
    }

    TemporaryFolder folder;
    PosixDisk disk;
    InstanceSocket first{folder.path("lock"), folder.path("socket"), disk};
};

TEST_F(InstanceSocketTest, ManyAreAnsweredOneByOneHoweverMuchThereIsToSay) {
    const Error error{"domain", 7, std::string(2000, 'e'), ""};
    int requests = 0;
    ASSERT_EQ(first.claim([&](const QJsonObject& request, const InstanceSocket::Answer& answer) {
        ++requests;
        EXPECT_EQ(HandOver::activationTokenOf(request), "token");
        std::vector<AddOutcome> outcomes;
        const auto texts = HandOver::textsOf(request);
        for (const auto& text : texts.value())
            outcomes.push_back(text == "0" ? AddOutcome{AddOutcome::Kind::alreadyThere}
                                           : AddOutcome::refusal(error));
        QTimer::singleShot(0, &first, [=] { answer(HandOver::answer(outcomes)); });
    }),
              true);
    std::vector<std::string> what;
    for (int i = 0; i < 1200; ++i)
        what.push_back(std::to_string(i));
    const auto outcomes = handOver(what);
    ASSERT_TRUE(outcomes);
    ASSERT_EQ(outcomes->size(), what.size());
    EXPECT_EQ(outcomes->front().kind, AddOutcome::Kind::alreadyThere);
    EXPECT_EQ(outcomes->back().error->sentence(), error.sentence());
    EXPECT_EQ(requests, 3) << "in pieces, so that no visitor waits long";
}

TEST_F(InstanceSocketTest, TheSilentAndTheDeafKeepNobodyOut) {
    InstanceSocket::Answer late;
    ASSERT_EQ(first.claim([&](const QJsonObject& request, const InstanceSocket::Answer& answer) {
        if (request["late"].toBool())
            late = answer;
        else if (request.contains("open"))
            answer(HandOver::answer({AddOutcome()}));
        else
            answer({{"error", QString(1 << 20, 'e')}}); // more than fits while it is not read
    }),
              true);
    std::vector<FileHandle> visitors;
    visitors.push_back(connected("{\"late\":true}\n"));
    ASSERT_TRUE(turnUntil([&] { return late != nullptr; }));
    visitors.clear();
    late({}); // and the visitor has gone
    for (std::size_t i = 0; i < InstanceSocket::kMostVisitors + 4; ++i) {
        visitors.push_back(connected(i % 2 == 0 ? "" : "garbage\n"));
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(handOver({"a"})) << "they are sent away in time";
}

} // namespace tarvo::test
