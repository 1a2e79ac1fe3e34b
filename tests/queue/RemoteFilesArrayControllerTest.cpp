// Who may enter the queue, how rows are moved and swapped, what is selected and what is shown.
#include "queue/RemoteFilesArrayController.h"

#include "QueueFixture.h"
#include "base/Localized.h"

#include <random>

namespace tarvo::test {

class RemoteFilesArrayControllerTest : public QueueFixture {
protected:
    std::shared_ptr<ScriptedJob> make(const std::string& name) const {
        return ScriptedJob::create(harness.environment, "http://127.0.0.1/" + name);
    }

    /// The names of the rows, one letter each.
    std::string rows() const {
        std::string names;
        for (const auto& job : queue.arrangedObjectsAsArray())
            names += job->fileName();
        return names;
    }

    void addAll(const std::string& names) {
        for (const char name : names)
            add(std::string(1, name), rf_state_ready);
    }

    void filterBy(std::string_view identifier) {
        const auto& all = JobFilter::all();
        queue.setFilter(*std::find_if(all.begin(), all.end(), [&](const JobFilter& filter) {
            return filter.identifier == identifier;
        }));
    }
};

TEST_F(RemoteFilesArrayControllerTest, ADuplicateIsRefusedAndNothingChanges) {
    addAll("abc");
    queue.setSelectionIndexes({1});
    EXPECT_TRUE(queue.addRemoteFile(make("b")).error().is(ErrorDomain::Tarvo, 9000));
    EXPECT_EQ(rows(), "abc");
    const std::vector<std::shared_ptr<RemoteFile>> batch{make("a"), make("d"), make("c")};
    const auto added = queue.addRemoteFiles(batch);
    ASSERT_FALSE(added);
    EXPECT_EQ(added.error().description, localized("tr.err.duplicate-downloads", {"2"}));
    EXPECT_EQ(rows(), "abcd");
    EXPECT_EQ(batch[0]->currentState(), rf_state_stopped);
    EXPECT_EQ(queue.selectionIndexes(), (std::set<std::size_t>{1}));
    queue.removeRemoteFile(queue.contentAsArray()[1]);
    EXPECT_TRUE(queue.addRemoteFile(make("b")));
    EXPECT_EQ(rows(), "acdb");
}

TEST_F(RemoteFilesArrayControllerTest, JobsWithoutAnAddressAreNoDuplicatesOfEachOther) {
    for (const auto* name : {"x", "y"}) // bundles whose record can't be read
        EXPECT_TRUE(queue.addRemoteFile(harness.jobFromBundle(name)));
    EXPECT_EQ(queue.content().size(), 2u);
    EXPECT_FALSE(queue.addRemoteFile(queue.contentAsArray()[0]));
}

TEST_F(RemoteFilesArrayControllerTest, ALeavingJobIsStoppedAndStillThereWhenThatIsTold) {
    addAll("ab");
    const auto job = queue.contentAsArray()[0];
    int told = 0;
    auto observation =
        notifications.observe(RemoteFilesArrayController::kWillRemove, [&](const Notification& removal) {
            ++told;
            EXPECT_EQ(*removal.info<std::shared_ptr<RemoteFile>>("rf"), job);
            EXPECT_TRUE(queue.content().contains(*job));
            EXPECT_EQ(job->currentState(), rf_state_stopped);
        });
    queue.removeRemoteFile(job);
    EXPECT_EQ(told, 1);
    observation.reset();
    queue.removeRemoteFile(make("b")); // a stranger takes nobody's place
    EXPECT_EQ(rows(), "b");
}

TEST_F(RemoteFilesArrayControllerTest, CountsFollowTheStates) {
    const auto paused = add("p", rf_state_paused);
    add("r", rf_state_running);
    add("s", rf_state_stopped);
    int completed = 0;
    QObject::connect(&queue, &RemoteFilesArrayController::childCompletedChanged, [&] { ++completed; });
    const auto counts = [this] {
        return std::array{queue.pendingJobs(), queue.activeJobs(), queue.runningJobs(),
                          queue.succeededJobs()};
    };
    EXPECT_EQ(counts(), (std::array<std::size_t, 4>{0, 2, 1, 0}));
    paused->setCurrentState(rf_state_running);
    EXPECT_EQ(counts(), (std::array<std::size_t, 4>{0, 2, 2, 0}));
    paused->setCurrentState(rf_state_succeeded);
    EXPECT_EQ(counts(), (std::array<std::size_t, 4>{0, 1, 1, 1}));
    EXPECT_EQ(completed, 1);
    queue.removeRemoteFile(paused);
    EXPECT_EQ(counts(), (std::array<std::size_t, 4>{0, 1, 1, 0}));
}

TEST_F(RemoteFilesArrayControllerTest, MovedRowsKeepTheirOrderAndTheirSelection) {
    addAll("0123");
    queue.setSelectionIndexes({3});
    queue.moveObjectsInArrangedObjects({1, 3}, 0);
    EXPECT_EQ(rows(), "1302");
    EXPECT_EQ(queue.selectionIndexes(), (std::set<std::size_t>{1}));
    queue.moveObjectsInArrangedObjects({1, 2}, 2); // into its own middle
    EXPECT_EQ(rows(), "1302");

    // Under a filter a row goes to its place among those that are shown.
    queue.contentAsArray()[1]->stop(); // "3"
    filterBy("pending");
    EXPECT_EQ(rows(), "102");
    queue.moveObjectsInArrangedObjects({2}, 1);
    EXPECT_EQ(rows(), "120");
    filterBy("all");
    EXPECT_EQ(rows(), "1320");
}

TEST_F(RemoteFilesArrayControllerTest, AReloadedJobKeepsItsRow) {
    addAll("abc");
    const auto old = std::static_pointer_cast<ScriptedJob>(queue.contentAsArray()[1]);
    queue.setSelectionIndexes({1});
    filterBy("failed");
    old->save = [] { return failure(Error{"any", 1, "", ""}); }; // a save under fault stops no reload
    const auto fresh = queue.reloadRemoteFile(old);
    ASSERT_TRUE(fresh);
    EXPECT_EQ(rows(), "abc");
    EXPECT_EQ(queue.contentAsArray()[1], *fresh);
    EXPECT_NE(*fresh, old);
    EXPECT_EQ(old->currentState(), rf_state_stopped);
    EXPECT_EQ(queue.selectionIndexes(), (std::set<std::size_t>{1}));

    const auto next = std::static_pointer_cast<ScriptedJob>(*fresh);
    next->save = [] { return failure(Error{"any", 3, "disk", ""}); };
    const auto refused = queue.reloadRemoteFile(next);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().description, "disk");
    EXPECT_EQ(queue.contentAsArray()[1], next);
    EXPECT_FALSE(queue.reloadRemoteFile(old)) << "it is no longer there";

    next->save = [] { return Result<void>(); };
    next->makeCopy = [this] { return make("a"); }; // a replacement that is refused
    EXPECT_FALSE(queue.reloadRemoteFile(next));
    EXPECT_EQ(rows(), "ac");
}

TEST_F(RemoteFilesArrayControllerTest, EachFilterShowsItsStates) {
    const char* const names = "ipurafsd"; // a letter for each state, from 0 on
    for (int state = rf_state_initializing; state <= rf_state_succeeded; ++state)
        add(std::string(1, names[state]), static_cast<rf_state_t>(state));
    const std::map<std::string, std::string> shown{
        {"all", "ipurafsd"}, {"running", "r"}, {"done", "sd"}, {"pending", "iua"}, {"failed", "f"}};
    for (const auto& [filter, expected] : shown) {
        filterBy(filter);
        EXPECT_EQ(rows(), expected) << filter;
    }
    filterBy("running");
    std::static_pointer_cast<ScriptedJob>(queue.contentAsArray()[2])->setCurrentState(rf_state_running);
    EXPECT_EQ(rows(), "ur");
}

TEST_F(RemoteFilesArrayControllerTest, AThousandRandomMovesKeepEveryJobOnce) {
    addAll("abcdefgh");
    std::vector<std::shared_ptr<RemoteFile>> expected = queue.contentAsArray();
    std::mt19937 random(7);
    for (int i = 0; i < 1000; ++i) { // far more than there is room between two ranks
        const std::size_t from = random() % 8;
        const std::size_t to = i % 2 == 0 ? 1 : random() % 9;
        queue.moveObjectsInArrangedObjects({from}, to);
        const auto job = expected[from];
        expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(from));
        expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(to > from ? to - 1 : to), job);
        ASSERT_EQ(queue.arrangedObjectsAsArray(), expected) << from << " to " << to;
    }
    EXPECT_EQ(queue.jobsInState(rf_state_ready), 8u);
}

} // namespace tarvo::test
