// The list as a person uses it: filters and search, selection, order, what is dragged and dropped.
#include "ui/QueueView.h"

#include <QDragEnterEvent>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>
#include <QUrl>

#include "queue/QueueFixture.h"
#include "ui/FilterBar.h"
#include "ui/SearchField.h"

namespace tarvo {
namespace {

class QueueViewTest : public test::QueueFixture {
protected:
    void show() {
        view.resize(400, 300);
        view.show();
        QCoreApplication::processEvents();
    }

    void selectRows(std::initializer_list<int> numbers) {
        std::vector<QueueView::Job> jobs;
        for (const int row : numbers)
            jobs.push_back(queue.jobAt(row));
        view.select(jobs);
    }

    std::string selectedNames() const {
        std::string names;
        for (const auto& job : view.selectedJobs())
            names += job->fileName();
        return names;
    }

    std::string currentName() const {
        return view.currentIndex().data(Qt::AccessibleTextRole).toString().toStdString();
    }

    RowsModel rows{queue, harness.clock};
    QueueView view{queue, rows, nullptr};
};

TEST_F(QueueViewTest, SelectionSurvivesWhateverHappensToOtherRows) {
    for (const char* name : {"a", "b", "c", "d", "e", "f"})
        add(name, rf_state_ready);
    selectRows({1, 3, 4});
    EXPECT_EQ(selectedNames(), "bde");
    add("g", rf_state_ready);
    queue.removeRemoteFile(queue.jobAt(0));
    queue.moveObjectsInArrangedObjects({3}, 0); // one of a range
    EXPECT_EQ(selectedNames(), "ebd");
    const auto retried = queue.reloadRemoteFile(queue.jobAt(1));
    ASSERT_TRUE(retried);
    EXPECT_EQ(selectedNames(), "ebd");
    EXPECT_EQ(view.selectedJobs()[1], *retried);
    queue.setSearch("b");
    EXPECT_EQ(selectedNames(), "b");
    EXPECT_EQ(currentName(), "b");
    queue.setSearch("none has this");
    queue.setSearch("");
    EXPECT_EQ(selectedNames(), "ebd") << "what was hidden is selected again";
    queue.setSearch("b");
    view.clearSelection();
    selectRows({0});
    queue.setSearch("");
    EXPECT_EQ(selectedNames(), "b") << "chosen while the others were hidden";
    queue.removeRemoteFile(queue.jobAt(1));
    EXPECT_EQ(selectedNames(), "");
    EXPECT_EQ(currentName(), "c") << "the next row";
}

TEST_F(QueueViewTest, FiltersCountAndRowsComeAndGo) {
    Actions actions(&view);
    FilterBar bar(queue, actions, nullptr);
    const auto a = add("a", rf_state_running);
    add("b", rf_state_failed);
    bar.show();
    const auto labels = [&] {
        std::string all;
        for (const auto* button : bar.findChildren<QToolButton*>())
            all += button->text().toStdString() + (button->isChecked() ? "! " : " ");
        return all;
    };
    EXPECT_EQ(labels(), "All 2! Running 1 Done 0 Pending 0 Failed 1 ");
    QTest::mouseClick(bar.findChildren<QToolButton*>()[1], Qt::LeftButton);
    EXPECT_TRUE(actions.filters->actions()[1]->isChecked());
    queue.setFilter(JobFilter::all()[1]);
    selectRows({0});
    a->setCurrentState(rf_state_paused);
    EXPECT_EQ(rows.rowCount(), 0);
    EXPECT_TRUE(test::turnUntil([&] { return labels() == "All 2 Running 0! Done 0 Pending 1 Failed 1 "; }))
        << labels();
    queue.setFilter(JobFilter::all()[4]);
    a->setCurrentState(rf_state_failed);
    EXPECT_EQ(rows.rowCount(), 2);
}

TEST_F(QueueViewTest, OnlyWhatIsSeenIsTold) {
    std::vector<std::shared_ptr<test::ScriptedJob>> jobs;
    for (int i = 0; i < 100; ++i)
        jobs.push_back(add(std::to_string(i), rf_state_running, 1000));
    QSignalSpy told(&rows, &RowsModel::dataChanged);
    const auto changeAll = [&] {
        for (const auto& job : jobs)
            Q_EMIT job->totalBytesDownloadedChanged();
        test::turnUntil([] { return false; }, std::chrono::milliseconds(400));
        const auto count = told.size();
        told.clear();
        return count;
    };
    EXPECT_EQ(changeAll(), 0) << "hidden";
    EXPECT_FALSE(queue.gathersChanges());
    show();
    const auto seen = view.rowsInSight();
    EXPECT_GT(seen.last, 1);
    EXPECT_LT(seen.last, 20);
    EXPECT_EQ(changeAll(), seen.last + 1);
    jobs[1]->setCurrentState(rf_state_paused);
    EXPECT_TRUE(test::turnUntil([&] { return told.size() == 1; }));
    EXPECT_EQ(rows.lookAt(rows.index(1)).status, "Paused");
    view.hide();
    told.clear();
    EXPECT_EQ(changeAll(), 0);
    EXPECT_FALSE(queue.gathersChanges());
}

TEST_F(QueueViewTest, TheButtonOfARowAsksForItsInformation) {
    add("a", rf_state_ready);
    add("b", rf_state_ready);
    show();
    QSignalSpy asked(&view, &QueueView::informationClicked);
    const QRect row = view.visualRect(rows.index(1));
    const auto parts = RowGeometry::of(row, view.fontMetrics(), Qt::LeftToRight);
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, parts.name.center());
    EXPECT_EQ(asked.size(), 0);
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, parts.button.center());
    EXPECT_EQ(asked.size(), 1);
    EXPECT_EQ(selectedNames(), "b");
}

TEST_F(QueueViewTest, TakesLinksAndBundlesAndNothingElse) {
    show();
    const auto offer = [this](const QMimeData& data) {
        QDragEnterEvent event({5, 5}, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
        QCoreApplication::sendEvent(view.viewport(), &event);
        return event.isAccepted() && event.dropAction() == Qt::CopyAction;
    };
    QMimeData link;
    link.setText("http://127.0.0.1/a");
    EXPECT_TRUE(offer(link));
    QMimeData file;
    file.setUrls({QUrl("file:///tmp/a.zip")});
    EXPECT_FALSE(offer(file));
    QMimeData bundle;
    bundle.setUrls({QUrl("file:///tmp/a.zip.trdownload")});
    EXPECT_TRUE(offer(bundle));
    QSignalSpy dropped(&view, &QueueView::dropped);
    QDropEvent drop({5, 5}, Qt::CopyAction, &link, Qt::LeftButton, {});
    QCoreApplication::sendEvent(view.viewport(), &drop);
    EXPECT_EQ(dropped.size(), 1);
}

TEST_F(QueueViewTest, EscapeClearsTheSearchAndThenLeavesIt) {
    SearchField field(nullptr);
    QSignalSpy left(&field, &SearchField::left);
    QTest::keyClicks(&field, "ab");
    QTest::keyClick(&field, Qt::Key_Escape);
    EXPECT_EQ(field.text(), "");
    EXPECT_EQ(left.size(), 0);
    QTest::keyClick(&field, Qt::Key_Escape);
    EXPECT_EQ(left.size(), 1);
}

} // namespace
} // namespace tarvo
