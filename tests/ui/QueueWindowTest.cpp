// The main window over a whole queue: its questions and errors, what is pasted, where it comes back.
#include "ui/MainWindowController.h"

#include <QApplication>
#include <QClipboard>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTest>
#include <gtest/gtest.h>

#include "support/JobHarness.h"
#include "support/ScriptedJob.h"
#include "support/UnattendedQueue.h"
#include "ui/AddressDialog.h"
#include "ui/AlertDialogs.h"

namespace tarvo {
namespace {

/// Asks and tells in windows.
class QueueWithAlerts final : public test::UnattendedQueue {
public:
    using UnattendedQueue::UnattendedQueue;

    void presentError(const Error& error) override { alerts.presentError(error); }

    std::size_t runAlert(const std::string& message, const std::string& informativeText,
                         const std::vector<std::string>& buttons) override {
        return alerts.runAlert(message, informativeText, buttons);
    }

    void cancelAlerts() override { alerts.cancelAlerts(); }

    AlertDialogs alerts;
};

class QueueWindowTest : public ::testing::Test {
protected:
    using Jobs = std::vector<QueueController::Job>;

    QueueWindowTest() {
        harness.defaults.setForThisRun(SettingKey::kSkipAddSheetForNewDownloads, true);
        QObject::connect(&queue.controller, &QueueController::ended, [this] { hasEnded = true; });
        queue.alerts.setWindow(&main.window());
        main.bringToFront();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&main.window()));
    }

    ~QueueWindowTest() override {
        queue.controller.quit();
        EXPECT_TRUE(test::turnUntil([&] { return hasEnded; }));
    }

    std::shared_ptr<test::ScriptedJob> add(const std::string& name) {
        auto job = test::ScriptedJob::create(harness.environment, "http://127.0.0.1/" + name);
        job->remove = [this]() -> std::optional<Error> {
            ++removed;
            return std::nullopt;
        };
        EXPECT_TRUE(queue.controller.addDownloads({job}));
        // What was just added is selected, and the commands follow that.
        EXPECT_TRUE(test::turnUntil([&] { return actions().remove->isEnabled(); }));
        EXPECT_EQ(main.window().selectedJobs(), Jobs({job}));
        return job;
    }

    Actions& actions() { return main.window().actions(); }

    /// Does something once a question is open, in its own loop.
    static void whileAsked(const std::function<void(QMessageBox& question)>& act) {
        Runloop::runOnNextTurn([act] {
            auto* question = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            ASSERT_NE(question, nullptr);
            act(*question);
        });
    }

    static void press(const QMessageBox& question, const QString& label) {
        for (auto* button : question.buttons()) {
            if (button->text() == label)
                button->click();
        }
    }

    std::size_t jobCount() { return queue.controller.remoteFiles().content().size(); }

    test::JobHarness harness;
    std::atomic<int> removed{0};
    bool hasEnded = false;
    QueueWithAlerts queue{harness.environment, nullptr, kRetryDelay};
    const bool isSet = qputenv("XDG_STATE_HOME", QByteArray::fromStdString(harness.folder.path("state")));
    MainWindowController main{WindowEnvironment{queue.controller, harness.environment, harness.defaults,
                                                queue.alerts, harness.folder.path()}};
};

TEST_F(QueueWindowTest, RemovingWithDataAsksAndNamesWhatGoes) {
    add("first.iso");
    auto& window = main.window();
    whileAsked([&](const QMessageBox& question) {
        EXPECT_EQ(question.text(), "Remove Data?");
        EXPECT_TRUE(question.informativeText().endsWith("• first.iso"));
        // Everything else goes on meanwhile.
        std::atomic<bool> isServed{false};
        harness.workers.async([&] { Runloop::runOnMainAndWait([&] { isServed = true; }); });
        EXPECT_TRUE(test::turnUntil([&] { return isServed.load(); }));
        press(question, "Cancel");
    });
    QTest::keyClick(window.focusWidget(), Qt::Key_Delete, Qt::ShiftModifier); // the list has the focus
    EXPECT_EQ(jobCount(), 1u);
    whileAsked([](const QMessageBox& question) { press(question, "OK"); });
    window.actions().removeWithData->trigger();
    EXPECT_EQ(jobCount(), 0u);
    EXPECT_TRUE(test::turnUntil([&] { return removed == 1; }));
}

TEST_F(QueueWindowTest, QuittingEndsAnOpenQuestionWithItsHarmlessAnswer) {
    add("kept.iso");
    whileAsked([&](const QMessageBox&) { queue.controller.quit(); });
    main.window().actions().removeWithData->trigger();
    EXPECT_EQ(jobCount(), 1u);
    EXPECT_EQ(queue.alerts.runAlert("Reset Settings?", "", {"Reset", "Cancel", "Email Support"}), 1u);
    EXPECT_TRUE(test::turnUntil([&] { return hasEnded; }));
    EXPECT_EQ(removed, 0);
}

TEST_F(QueueWindowTest, ErrorsComeInOneListThatFillsWhileItIsOpen) {
    for (const char* sentence : {"one", "two", "two", "three"})
        queue.alerts.presentError(Error::tarvo(sentence));
    const auto lists = main.window().findChildren<ErrorList*>();
    ASSERT_EQ(lists.size(), 1);
    EXPECT_EQ(lists[0]->findChild<QPlainTextEdit*>()->toPlainText(), "one\ntwo (2 times)\nthree");
    lists[0]->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    queue.alerts.presentError(Error::tarvo("later"));
    const auto* fresh = main.window().findChild<ErrorList*>();
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(fresh->findChild<QPlainTextEdit*>()->toPlainText(), "later");
}

TEST_F(QueueWindowTest, LinksArePastedAnywhereButInATextField) {
    QApplication::clipboard()->setText("http://127.0.0.1/a\nhttp://127.0.0.1/b");
    auto& window = main.window();
    ASSERT_NE(window.focusWidget(), nullptr);
    QTest::keyClick(window.focusWidget(), Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(jobCount(), 2u);
    QApplication::clipboard()->setText("no link");
    QTest::keyClick(window.focusWidget(), Qt::Key_V, Qt::ControlModifier);
    EXPECT_NE(window.statusBar()->currentMessage(), "") << "said, and not only passed over";
    QApplication::clipboard()->setText("http://127.0.0.1/c");
    window.actions().find->trigger();
    auto* field = qobject_cast<QLineEdit*>(window.focusWidget());
    ASSERT_NE(field, nullptr);
    QTest::keyClick(field, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(field->text(), "http://127.0.0.1/c");
    QTest::keyClick(field, Qt::Key_Delete, Qt::ShiftModifier); // no command on rows there
    EXPECT_EQ(jobCount(), 2u);
}

TEST_F(QueueWindowTest, AnotherAddressComesFromTheClipboardOrIsTyped) {
    const auto job = add("a");
    QApplication::clipboard()->setText("<http://127.0.0.1/a> http://127.0.0.1/new");
    actions().changeAddress->trigger();
    auto* dialog = main.window().findChild<AddressDialog*>();
    ASSERT_NE(dialog, nullptr);
    auto* field = dialog->findChild<QLineEdit*>("address");
    const auto* remark = dialog->findChild<QLabel*>("remark");
    EXPECT_EQ(field->text(), "") << "two links are not one";
    for (const char* unusable : {"gopher://127.0.0.1/a", "http://127.0.0.1/taken"}) {
        queue.controller.remoteFiles().addRemoteFile(
            test::ScriptedJob::create(harness.environment, "http://127.0.0.1/taken"));
        field->setText(unusable);
        QTest::keyClick(field, Qt::Key_Return);
        EXPECT_FALSE(remark->text().isEmpty());
        EXPECT_TRUE(dialog->isVisible());
    }
    dialog->reject();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QApplication::clipboard()->setText("http://127.0.0.1/new");
    actions().changeAddress->trigger();
    dialog = main.window().findChild<AddressDialog*>();
    ASSERT_NE(dialog, nullptr);
    QTest::keyClick(dialog->findChild<QLineEdit*>("address"), Qt::Key_Return);
    EXPECT_FALSE(dialog->isVisible());
    EXPECT_EQ(queue.controller.remoteFiles().rowOf(*job), std::nullopt);
    EXPECT_NE(queue.controller.remoteFiles().remoteFile("http://127.0.0.1/new"), nullptr);
}

TEST_F(QueueWindowTest, CommandsFollowTheSelectionAndTheStates) {
    const auto job = add("a");
    EXPECT_TRUE(
        test::turnUntil([&] { return job->currentState() == rf_state_ready; })); // its own changes are over
    job->setCurrentState(rf_state_failed);
    EXPECT_TRUE(test::turnUntil([&] { return !actions().resume->isEnabled(); }));
    EXPECT_TRUE(actions().reload->isEnabled());
    main.window().list().clearSelection();
    EXPECT_TRUE(test::turnUntil([&] { return !actions().reload->isEnabled(); }));
    EXPECT_TRUE(actions().startPause->isEnabled());
}

TEST_F(QueueWindowTest, TheKeysForRowsWorkAsSoonAsTheWindowIsThere) {
    add("a");
    main.window().list().clearSelection();
    EXPECT_TRUE(test::turnUntil([&] { return !actions().remove->isEnabled(); }));
    add("b");
    main.window().hide();
    MainWindowController next(WindowEnvironment{queue.controller, harness.environment, harness.defaults,
                                                queue.alerts, harness.folder.path()});
    auto& window = next.window();
    next.bringToFront();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    EXPECT_EQ(window.focusWidget(), &window.list());
    ASSERT_EQ(window.selectedJobs().size(), 1U);
    EXPECT_EQ(window.selectedJobs()[0]->displayName(), "a");
    QTest::keyClick(window.focusWidget(), Qt::Key_Down);
    EXPECT_EQ(window.selectedJobs()[0]->displayName(), "b");
}

TEST_F(QueueWindowTest, ComesBackAsItWasAndOnTheScreen) {
    auto& window = main.window();
    const QSize size(777, 444);
    window.resize(size);
    window.move(20'000, 20'000);
    window.actions().filters->actions().at(3)->trigger();
    window.hide();
    ASSERT_TRUE(test::turnUntil([&] { return Disk::exists(harness.folder.path("state/tarvo/window.ini")); }));
    MainWindowController next(WindowEnvironment{queue.controller, harness.environment, harness.defaults,
                                                queue.alerts, harness.folder.path()});
    auto& again = next.window();
    again.show();
    EXPECT_EQ(again.size(), size);
    EXPECT_TRUE(again.screen()->availableGeometry().intersects(again.frameGeometry()));
    EXPECT_EQ(again.actions().filters->checkedAction(), again.actions().filters->actions().at(3));
}

} // namespace
} // namespace tarvo
