// The rows as a model: what it tells of a change is what has changed.
#include "rows/RowsModel.h"

#include <random>

#include <QAbstractItemModelTester>

#include "queue/QueueFixture.h"

namespace tarvo {
namespace {

class RowsModelTest : public test::QueueFixture {
protected:
    RemoteFilesArrayController::Job anyOf(const std::vector<RemoteFilesArrayController::Job>& jobs) {
        return jobs.empty() ? nullptr : jobs[random() % jobs.size()];
    }

    void changeSomething() {
        const auto job = anyOf(queue.contentAsArray());
        const auto row = static_cast<int>(random() % (static_cast<std::size_t>(queue.rowCount()) + 1));
        const auto state = static_cast<rf_state_t>(random() % 8);
        switch (random() % 6) {
        case 0:
        case 1:
            add(std::to_string(++added), state);
            break;
        case 2:
            if (job)
                queue.removeRemoteFiles({job, anyOf(queue.contentAsArray())});
            break;
        case 3:
            if (job)
                std::static_pointer_cast<test::ScriptedJob>(job)->setCurrentState(state);
            break;
        case 4:
            if (job)
                (void)queue.reloadRemoteFile(job);
            break;
        default:
            if (queue.rowCount() > 1)
                queue.moveObjectsInArrangedObjects({0, queue.rowCount() - 1}, row);
            if (random() % 4 == 0)
                queue.setFilter(JobFilter::all()[random() % JobFilter::all().size()]);
        }
    }

    std::mt19937 random{7};
    int added = 0;
};

TEST_F(RowsModelTest, ItsSignalsFitItsRowsWhateverChanges) {
    RowsModel model(queue, harness.clock);
    const QAbstractItemModelTester judge(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    for (int i = 0; i < 2000; ++i) {
        changeSomething();
        ASSERT_EQ(model.rowCount(), queue.rowCount());
        for (int row = 0; row < queue.rowCount(); ++row)
            ASSERT_EQ(model.jobAt(model.index(row)), queue.jobAt(row));
    }
}

} // namespace
} // namespace tarvo
