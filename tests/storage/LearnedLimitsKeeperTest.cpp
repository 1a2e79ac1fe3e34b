// What servers allow is known again after a restart, and a damaged file hurts nothing.
#include "storage/LearnedLimitsKeeper.h"

#include "base/PosixDisk.h"
#include "base/SettingKeys.h"
#include "support/FakeClock.h"
#include "support/TemporaryFolder.h"
#include "support/TurnUntil.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

namespace tarvo::test {

class LearnedLimitsKeeperTest : public ::testing::Test {
protected:
    LearnedLimitsKeeperTest() {
        m_defaults.registerDefaults({{std::string(SettingKey::kMaxConnectionsPerHost), 16}});
    }

    /// What a program knows that starts now, learns of one refusal by `host` and ends.
    std::vector<LearnedLimit> runProgram(const std::string& host = {}) {
        const auto hosts = std::make_shared<HostConnections>(m_defaults, m_clock);
        const LearnedLimitsKeeper keeper(hosts, m_file, m_disk);
        if (!host.empty()) {
            const auto share = hosts->join(host);
            share->noteRefusal(Refusal::said, 2, {});
            share->settle(2, 2, 2);
        }
        turnUntil([&] { return !hosts->learned().empty(); },
                  std::chrono::milliseconds(host.empty() ? 500 : 5000));
        return hosts->learned();
    }

    TemporaryFolder m_folder;
    PosixDisk m_disk;
    UserDefaults m_defaults{m_folder.path("settings.conf"), m_disk};
    FakeClock m_clock;
    const std::string m_file = m_folder.path("state/connection-limits.json");
};

TEST_F(LearnedLimitsKeeperTest, ItIsThereAfterARestartForItsOwnerOnlyAndBesideWhatOthersLearned) {
    runProgram("http://a.example");
    runProgram("ftp://b.example:2121");
    const auto known = runProgram();
    ASSERT_EQ(known.size(), 2u);
    EXPECT_EQ(known[0], (LearnedLimit{"ftp://b.example:2121", 2, m_clock.wallNow()}));

    struct stat facts {};

    ASSERT_EQ(::stat(m_file.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0600u);
}

TEST_F(LearnedLimitsKeeperTest, ADamagedFileIsPassedOverAndReplaced) {
    const std::string sound = textOfLimits({{"http://a.example", 3, m_clock.wallNow()}});
    EXPECT_TRUE(limitsOfText(sound));
    for (const std::string& damaged :
         {std::string(), std::string("{"), sound.substr(0, sound.size() / 2),
          std::string(R"({"hosts":[{}]})"),
          std::string(R"({"hosts":[{"host":"http://a","connections":-1,"at":5}]})")}) {
        EXPECT_FALSE(limitsOfText(damaged)) << damaged;
        m_folder.write("state/connection-limits.json", damaged);
        EXPECT_TRUE(runProgram().empty()) << damaged;
    }
    runProgram("http://b.example");
    EXPECT_EQ(runProgram().size(), 1u);
}

} // namespace tarvo::test
