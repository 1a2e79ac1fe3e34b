// A queue whose process is killed again and again loses no download and gets none twice.
#include "base/IniFile.h"
#include "base/KeyedUnarchiver.h"
#include "storage/ProgressBundle.h"
#include "storage/ProgressFile.h"
#include "support/FaultServer.h"
#include "support/SampleData.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <random>
#include <set>
#include <sstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <spdlog/fmt/fmt.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarvo::test {

namespace {

using Names = std::vector<std::string>;

constexpr std::int64_t kSize = 100'000;
constexpr std::int64_t kRate = 80'000; // of a connection
constexpr int kConnections = 4;
constexpr int kJobsAtOnce = 4;

/// What the journal of one run tells, see the runner.
struct Journal {
    std::optional<Names> restored; // none: killed before
    std::vector<Names> saving;
};

Journal readJournal(const std::string& output) {
    Journal journal;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string kind;
        words >> kind;
        const Names names{std::istream_iterator<std::string>(words), {}};
        EXPECT_TRUE(kind == "restored" || kind == "saving") << line;
        if (kind == "restored")
            journal.restored = names;
        else
            journal.saving.push_back(names);
    }
    return journal;
}

/// A program whose output is read.
class RunnerProcess {
public:
    explicit RunnerProcess(std::vector<std::string> command) {
        std::vector<char*> arguments;
        for (auto& word : command)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        int ends[2] = {-1, -1};
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        m_outputEnd = FileHandle(ends[0]);
        const FileHandle otherEnd(ends[1]);
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, otherEnd.descriptor(), STDOUT_FILENO);
        EXPECT_EQ(::posix_spawn(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ), 0);
        ::posix_spawn_file_actions_destroy(&actions);
    }

    /// Reads what it prints until it ends; false when it has not after `limit`.
    bool endsWithin(std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        std::array<char, 4096> block{};
        while (true) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            pollfd watched{m_outputEnd.descriptor(), POLLIN, 0};
            if (left.count() <= 0 || ::poll(&watched, 1, static_cast<int>(left.count())) == 0)
                return false;
            const ssize_t count = ::read(m_outputEnd.descriptor(), block.data(), block.size());
            if (count <= 0)
                return true;
            m_output.append(block.data(), static_cast<std::size_t>(count));
        }
    }

    /// As waitpid(2) tells it. One that has closed its output is about to end by itself.
    int killAndGetStatus(bool hasEnded) {
        if (!hasEnded)
            ::kill(m_pid, SIGKILL);
        int status = -1;
        EXPECT_EQ(::waitpid(m_pid, &status, 0), m_pid);
        endsWithin(std::chrono::seconds(10)); // what it had printed before
        return status;
    }

    const std::string& output() const { return m_output; }

private:
    pid_t m_pid = -1;
    FileHandle m_outputEnd;
    std::string m_output;
};

/// A job of the stored session, read without any of the code that restores it.
struct StoredJob final : Archivable {
    std::string archivedClassName() const override { return "CURLRemoteFile"; }

    void encode(KeyedArchiver&) const override {}

    std::string bundle;
};

} // namespace

class QueueKillTest : public ::testing::Test {
protected:
    void SetUp() override { std::filesystem::create_directory(m_files); }

    void makeAddresses(int count) {
        std::string addresses;
        for (int i = 0; i < count; ++i) {
            m_names.push_back(fmt::format("file{:03}.bin", i));
            addresses += m_server.url(kSize, fmt::format("rate={}", kRate), m_names.back()) + "\n";
        }
        m_folder.write("addresses", addresses);
    }

    /// The bundles in the settings file.
    std::vector<ProgressBundle> storedSession() {
        std::vector<ProgressBundle> bundles;
        const auto settings = readIniFile(m_settings);
        const auto stored = settings->values.find("SavedQueueSession");
        if (stored == settings->values.end())
            return bundles;
        const auto archive = KeyedUnarchiver::open(stored->second.toByteArray().toStdString());
        EXPECT_TRUE(archive);
        const auto jobs = (*archive)->decodeArray("remoteFiles", [](KeyedUnarchiver& job) {
            auto made = std::make_shared<StoredJob>();
            made->bundle = job.decodeData("bundleBookmark").value_or("");
            return Result<std::shared_ptr<Archivable>>(made);
        });
        for (const auto& job : *jobs)
            bundles.push_back(
                *ProgressBundle::fromBundleDirectory(std::static_pointer_cast<StoredJob>(job)->bundle));
        return bundles;
    }

    static Names namesOf(const std::vector<ProgressBundle>& bundles) {
        Names names;
        for (const auto& bundle : bundles)
            names.push_back(bundle.fileName());
        return names;
    }

    /// Runs the queue until it ends, or is killed after `limit`; whether it has come to its end.
    bool run(std::chrono::milliseconds limit) {
        RunnerProcess runner({TARVO_QUEUE_RUNNER, m_settings, m_files, m_folder.path("addresses"),
                              std::to_string(kJobsAtOnce), std::to_string(kConnections)});
        const bool ended = runner.endsWithin(limit);
        const int status = runner.killAndGetStatus(ended);
        EXPECT_TRUE(!ended || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) << status;
        m_journal = readJournal(runner.output());
        return ended;
    }

    /// What has been left by a run must be what it had last, and all of it fit to go on.
    void checkWhatIsLeft() {
        const auto left = storedSession();
        const Names names = namesOf(left);
        EXPECT_EQ(std::set(names.begin(), names.end()).size(), names.size()) << "a job is there twice";
        // The write of the last session may not have ended, but that of the one before it has.
        std::vector<Names> possible{m_stored};
        possible.insert(possible.end(), m_journal.saving.begin(), m_journal.saving.end());
        EXPECT_TRUE(names == possible.back() ||
                    names == possible[std::max<std::size_t>(possible.size(), 2) - 2]);
        m_stored = names;
        m_expected.clear();
        for (const auto& bundle : left) {
            // Finished, and the bundle being removed, or the session not saved since.
            if (!bundle.bundleExists() || std::filesystem::is_empty(bundle.bundleDirectory())) {
                EXPECT_EQ(fileIsSample(bundle.finalFile(), kSize), "");
                continue;
            }
            EXPECT_TRUE(ProgressFile(bundle.progressFile(), m_disk).readData()) << bundle.fileName();
            m_expected.push_back(bundle.fileName());
        }
    }

    void killUntilDone(int jobs, int kills, std::uint32_t seed) {
        SCOPED_TRACE(fmt::format("seed {}", seed));
        makeAddresses(jobs);
        std::mt19937 random(seed);
        std::uniform_int_distribution<int> moment(20, 600);
        int killed = 0;
        while (killed < kills && !run(std::chrono::milliseconds(moment(random)))) {
            ++killed;
            EXPECT_EQ(m_journal.restored.value_or(m_expected), m_expected) << "at kill " << killed;
            checkWhatIsLeft();
        }
        EXPECT_EQ(killed, kills) << "it was done before";
        ASSERT_TRUE(run(std::chrono::seconds(60)));
        EXPECT_EQ(m_journal.restored, m_expected);
        EXPECT_TRUE(storedSession().empty());
        Names found;
        for (const auto& entry : std::filesystem::directory_iterator(m_files))
            found.push_back(entry.path().filename());
        std::sort(found.begin(), found.end());
        EXPECT_EQ(found, m_names);
        for (const auto& name : m_names)
            EXPECT_EQ(fileIsSample(m_files + "/" + name, kSize), "") << name;
        EXPECT_TRUE(m_server.problems().empty());
    }

private:
    TemporaryFolder m_folder;
    const std::string m_files = m_folder.path("files");
    const std::string m_settings = m_folder.path("settings.conf");
    PosixDisk m_disk;
    FaultServer m_server;
    Names m_names;
    Names m_stored;   // what the settings file holds
    Names m_expected; // what of it is to be restored
    Journal m_journal;
};

TEST_F(QueueKillTest, EveryFileComesOnceHoweverOftenTheQueueIsKilled) {
    killUntilDone(40, 8, std::random_device()());
}

TEST_F(QueueKillTest, DISABLED_TwoHundredFilesAndFiftyKills) {
    killUntilDone(200, 50, std::random_device()());
}

} // namespace tarvo::test
