// A queue whose program is killed again and again loses no download and gets none twice.
#include "base/IniFile.h"
#include "base/PosixDisk.h"
#include "base/SettingKeys.h"
#include "cli/Program.h"
#include "storage/ProgressFile.h"
#include "support/FaultServer.h"
#include "support/SampleData.h"

#include <filesystem>
#include <random>
#include <set>

#include <QRegularExpression>
#include <gtest/gtest.h>
#include <spdlog/fmt/fmt.h>

namespace tarvo::test {

using Names = std::set<std::string>;

class QueueKillTest : public ::testing::Test {
protected:
    static constexpr std::int64_t kSize = 200'000;
    static constexpr int kFiles = 40;
    static constexpr int kKills = 8;

    QueueKillTest() {
        writeSettings(m_home, "AutoStartAfterAdd=true\nAutoQuitWhenTransfersComplete=true\n"
                              "DefaultConcurrency=4\nDefaultThreading=4\nMinimumChunkSize=1024\n");
        for (int i = 0; i < kFiles; ++i)
            m_names.insert(fmt::format("file{:03}.bin", i));
    }

    std::string file(const std::string& name) const { return m_home.path("files/" + name); }

    /// The downloads in the settings file, read without any of the code that restores them.
    Names stored() const {
        Names names;
        const auto settings = readIniFile(m_home.path("XDG_CONFIG_HOME/tarvo/tarvo.conf"));
        const auto session = settings->values.find(std::string(SettingKey::kSavedQueueSession));
        if (session == settings->values.end())
            return names;
        const auto text = QString::fromLatin1(session->second.toByteArray());
        for (const auto& match : QRegularExpression("files/(file\\d+\\.bin)\\.trdownload").globalMatch(text))
            names.insert(match.captured(1).toStdString());
        return names;
    }

    /// Whether the program has ended by itself; it is killed after `limit`. It is given what it does not
    /// know.
    bool run(std::chrono::milliseconds limit) {
        std::vector<std::string> arguments{"--headless"};
        for (const std::string& name : m_names)
            if (!m_known.contains(name) && !Disk::exists(file(name)))
                arguments.push_back(m_server.url(kSize, "rate=40000", name));
        Program program(m_home, arguments);
        const int status = program.status(limit);
        EXPECT_TRUE(status == 0 || status == -1) << program.problems();
        return status == 0;
    }

    /// What the program knew before it knows still, or it is finished; all of it is fit to go on.
    void checkWhatIsLeft() {
        Names left = stored();
        for (const std::string& name : left) {
            const std::string bundle = file(name) + ".trdownload";
            if (Disk::exists(bundle) && !std::filesystem::is_empty(bundle))
                EXPECT_TRUE(ProgressFile(bundle + "/progress", m_disk).readData()) << name;
            else // finished, and the session not saved since
                EXPECT_EQ(fileIsSample(file(name), kSize), "");
        }
        for (const std::string& name : m_known)
            EXPECT_TRUE(left.contains(name) || fileIsSample(file(name), kSize).empty()) << name << " is lost";
        m_known.merge(left);
    }

    TemporaryFolder m_home;
    PosixDisk m_disk;
    FaultServer m_server;
    Names m_names;
    Names m_known; ///< to the program
};

TEST_F(QueueKillTest, EveryFileComesOnceHoweverOftenTheProgramIsKilled) {
    const auto seed = std::random_device()();
    SCOPED_TRACE(fmt::format("seed {}", seed));
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> moment(200, 1500);
    for (int kill = 0; kill < kKills; ++kill) {
        ASSERT_FALSE(run(std::chrono::milliseconds(moment(random)))) << "it was done before";
        checkWhatIsLeft();
    }
    ASSERT_TRUE(run(std::chrono::seconds(60)));
    EXPECT_TRUE(stored().empty());
    for (const auto& entry : std::filesystem::directory_iterator(m_home.path("files"))) {
        EXPECT_EQ(fileIsSample(entry.path(), kSize), "");
        EXPECT_EQ(m_names.erase(entry.path().filename()), 1u) << entry.path();
    }
    EXPECT_TRUE(m_names.empty());
}

} // namespace tarvo::test
