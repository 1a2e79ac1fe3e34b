// tarvo-get --address: from a server that is gone to a real one, and killed on the way.
#include "ProgramTest.h"
#include "support/NginxServer.h"
#include "support/Text.h"

#include <csignal>
#include <random>

namespace tarvo::test {

class AddressTest : public ProgramTest {
protected:
    static constexpr std::int64_t kSize = 8'000'003;

    /// Leaves a bundle of the first server's, which has gone then.
    void SetUp() override {
        Program program(home, arguments({"-x", "4", server.url(kSize, "rate=400000")}));
        ASSERT_TRUE(program.runsUntil([&] { return server.bytesSent() > 800'000; })) << program.problems();
        program.signal(SIGINT);
        ASSERT_EQ(program.status(), 130);
        server.change("/file/" + std::to_string(kSize) + "/sample.bin", "status=410");
        nginx.addFile("here.bin", kSize);
        nginx.replaceFile("other.bin", kSize, 3);
    }

    std::string recordedAddress() const {
        PosixDisk disk;
        const auto state = ProgressFile(bundle() + "/progress", disk).readData();
        return state ? state->url.absoluteString() : state.error().sentence();
    }

    NginxServer nginx;
};

TEST_F(AddressTest, WhatIsProvenGoesOnAndNothingElse) {
    const std::int64_t saved = savedBytes(bundle());
    Program wrong(home, arguments({"--address", nginx.url("/other.bin"), bundle()}));
    EXPECT_EQ(wrong.status(), 1);
    EXPECT_TRUE(has(wrong.problems(), "other bytes than those that are there already")) << wrong.problems();
    EXPECT_EQ(recordedAddress(), server.url(kSize, "rate=400000"));
    EXPECT_EQ(savedBytes(bundle()), saved);

    Program right(home, arguments({"--address", nginx.http2Url("/here.bin"), bundle()}));
    ASSERT_EQ(right.status(), 0) << right.problems();
    EXPECT_EQ(fileIsSample(file(), kSize), "");
    EXPECT_FALSE(Disk::exists(bundle()));
}

TEST_F(AddressTest, KilledAtAnyMomentItHasTheOldAddressOrTheNew) {
    const std::string former = recordedAddress();
    const std::string next = nginx.url("/here.bin");
    std::mt19937 random(std::random_device{}());
    for (int i = 0; i < 8 && Disk::exists(bundle()); ++i) {
        const std::chrono::milliseconds moment(std::uniform_int_distribution<int>(20, 200)(random));
        SCOPED_TRACE(moment.count());
        Program killed(home, arguments({"--limit-rate", "2M", "--address", next, bundle()}));
        killed.status(moment);
        killed.signal(SIGKILL);
        killed.status();
        if (Disk::exists(bundle())) {
            EXPECT_TRUE(recordedAddress() == former || recordedAddress() == next) << recordedAddress();
        }
    }
    Program last(home, arguments({"--address", next, bundle()}));
    EXPECT_EQ(last.status(), 0) << last.problems();
    EXPECT_EQ(fileIsSample(file(), kSize), "");
}

} // namespace tarvo::test
