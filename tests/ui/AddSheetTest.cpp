// The add sheet, from what is pasted, dropped or handed over to what is in the queue then.
#include "ui/MainWindowController.h"

#include "base/Localized.h"
#include "base/SettingKeys.h"
#include "support/JobHarness.h"
#include "support/UnattendedQueue.h"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QDropEvent>
#include <QGuiApplication>
#include <QMimeData>
#include <QTest>
#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

class Told final : public AlertPresenter {
public:
    void presentError(const Error& error) override { sentences.push_back(error.sentence()); }

    std::size_t runAlert(const std::string&, const std::string&, const std::vector<std::string>&) override {
        return 0;
    }

    std::vector<std::string> sentences;
};

class AddSheetTest : public ::testing::Test {
protected:
    AddSheetTest() {
        m_harness.defaults.set(SettingKey::kDefaultDirectory,
                               QString::fromStdString(m_harness.folder.path()));
    }

    std::vector<std::string> addresses() {
        std::vector<std::string> all;
        for (const auto& job : m_queue.controller.remoteFiles().contentAsArray())
            all.push_back(job->identity());
        return all;
    }

    AddSheet& sheet() {
        if (!m_main.addSheet())
            m_main.openAddSheet();
        return *m_main.addSheet();
    }

    template <class Widget>
    Widget& part(const char* name = "") {
        return *sheet().findChild<Widget*>(QLatin1String(name));
    }

    QPlainTextEdit& text() { return *sheet().findChild<QPlainTextEdit*>(); }

    /// A deleted sheet is gone only after a turn of the main loop.
    bool isClosed() {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return !m_main.addSheet();
    }

    using Addresses = std::vector<std::string>;

    JobHarness m_harness;
    Told m_told;
    UnattendedQueue m_queue{m_harness.environment, &m_harness.defaults, Seconds(10)};
    MainWindowController m_main{
        {m_queue.controller, m_harness.environment, m_harness.defaults, m_told, m_harness.folder.path()}};
};

} // namespace

TEST_F(AddSheetTest, LinksOfWhatIsPastedAndDroppedGoToTheEndOneALine) {
    QMimeData page;
    page.setHtml("<p>See <a href=\"http://a/1\">one</a> and <A HREF=\"http://a/?p=1&amp;q=2\">two</A></p>");
    page.setText("See one and two");
    auto* pasted = new QMimeData;
    pasted->setText("http://a/0\nhttp://a/0");
    QGuiApplication::clipboard()->setMimeData(pasted);
    text().paste();
    EXPECT_EQ(sheet().links(), "\nhttp://a/0") << "into an empty text behind an empty line";
    text().moveCursor(QTextCursor::Start);
    QDragEnterEvent enter(QPoint(1, 1), Qt::CopyAction, &page, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(text().viewport(), &enter);
    QDropEvent drop(QPointF(1, 1), Qt::CopyAction, &page, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(text().viewport(), &drop);
    EXPECT_EQ(sheet().links(), "\nhttp://a/0\nhttp://a/1\nhttp://a/?p=1&q=2");
    QTest::keyClick(&text(), Qt::Key_Return);
    EXPECT_FALSE(isClosed()) << "the key adds a line";
    ASSERT_TRUE(QTest::qWaitForWindowActive(&sheet()));
    QTest::keyClick(&text(), Qt::Key_Return, Qt::ControlModifier);
    EXPECT_TRUE(isClosed());
    EXPECT_EQ(addresses(), (Addresses{"http://a/0", "http://a/1", "http://a/?p=1&q=2"}));
    EXPECT_TRUE(m_told.sentences.empty());
}

TEST_F(AddSheetTest, BadLinesStayWithTheirReasonAndDuplicatesAreOneMessage) {
    ASSERT_TRUE(m_queue.controller.remoteFiles().addRemoteFile(m_harness.job("http://a/1")));
    ASSERT_TRUE(m_queue.controller.remoteFiles().addRemoteFile(m_harness.job("http://a/2")));
    text().setPlainText("http://a/1\nnonsense\nhttp://a/3\nhttp://a/2\nhttp://a/3\nmagnet:?x");
    sheet().accept();
    EXPECT_EQ(addresses(), (Addresses{"http://a/1", "http://a/2", "http://a/3"}));
    ASSERT_FALSE(isClosed());
    EXPECT_EQ(sheet().links(), "nonsense\nmagnet:?x");
    EXPECT_EQ(part<QLabel>("problem").text().toStdString(),
              localizedCount("tr.add.bad-lines", 2, {"1", localized("tr.add.bad.no-address")}));
    ASSERT_EQ(m_told.sentences.size(), 1U);
    EXPECT_EQ(m_told.sentences[0], RemoteFilesArrayController::duplicateDownloads(2).sentence());
}

TEST_F(AddSheetTest, WhatWasEnteredReachesTheJobAndThePasswordStaysInMemory) {
    text().setPlainText("http://a/1");
    part<QLineEdit>("user").setText("bob");
    part<QLineEdit>("password").setText("secret");
    part<QLineEdit>("referer").setText("https://page/");
    part<QLineEdit>("name").setText("chosen");
    part<QLineEdit>("checksum").setText("d41d8cd98f");
    sheet().accept();
    ASSERT_FALSE(isClosed()) << "there is no such checksum";
    EXPECT_FALSE(part<QLabel>("detailsProblem").text().isEmpty());
    part<QLineEdit>("checksum").setText(" D41D8CD98F00B204E9800998ECF8427E");
    EXPECT_EQ(part<QLabel>("kind").text(), "MD5");
    part<QSpinBox>().setValue(3);
    sheet().accept();
    const auto link = m_queue.controller.remoteFiles().contentAsArray().at(0)->link();
    EXPECT_EQ(link->connections, 3);
    EXPECT_EQ(link->name, "chosen");
    EXPECT_EQ(link->referer, Url::parse("https://page/"));
    EXPECT_EQ(link->checksum->text(), "md5=d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(link->url.absoluteString(), "http://a/1");
    const auto token = m_queue.controller.credentials().getCredentialsForURL(link->url);
    EXPECT_EQ(token->username() + ":" + token->password(), "bob:secret");
}

TEST_F(AddSheetTest, WhatOthersBringOpensTheSheetUnlessThatIsSkipped) {
    ASSERT_TRUE(m_queue.controller.remoteFiles().addRemoteFile(m_harness.job("http://a/1")));
    const auto outcomes = m_main.addDownloadFromString("http://a/2\nhttp://a/1\nwords\n");
    ASSERT_EQ(outcomes.size(), 3U);
    EXPECT_EQ(outcomes[0].kind, AddOutcome::Kind::taken);
    EXPECT_EQ(outcomes[1].kind, AddOutcome::Kind::alreadyThere);
    EXPECT_EQ(outcomes[2].kind, AddOutcome::Kind::noLink);
    m_main.addDownloadFromString("http://a/3\n");
    EXPECT_EQ(sheet().links(), "http://a/2\nhttp://a/3\n") << "in the sheet that is open";
    EXPECT_EQ(addresses(), Addresses{"http://a/1"});
    m_harness.defaults.set(SettingKey::kSkipAddSheetForNewDownloads, true);
    m_main.addDownloadFromString("http://a/4\n");
    EXPECT_EQ(addresses(), (Addresses{"http://a/1", "http://a/4"}));
}

TEST_F(AddSheetTest, LinksFromOthersAreOnTheDiskWhenTheyAreToldSo) {
    m_main.addDownloadFromString("http://a/1\n");
    std::string written;
    m_main.whenKept([&](bool kept) {
        written = kept ? UserDefaults(m_harness.folder.path("settings.conf"), m_harness.disk)
                             .data(SettingKey::kAddSheetDraft)
                       : "";
    });
    EXPECT_TRUE(turnUntil([&] { return !written.empty(); }));
    EXPECT_EQ(written, sheet().links());
}

TEST_F(AddSheetTest, QuittingEndsTheSheetAndKeepsWhatStoodInIt) {
    text().setPlainText("http://a/1\nhalf an addr");
    m_queue.controller.quit();
    ASSERT_TRUE(turnUntil([&] { return m_queue.controller.hasEnded() && isClosed(); }));
    EXPECT_TRUE(addresses().empty());
    EXPECT_EQ(sheet().links(), "http://a/1\nhalf an addr\n");
}

TEST_F(AddSheetTest, EscapeKeepsWhatWasTypedForTheNextTimeAndCancelThrowsItAway) {
    QTest::keyClicks(&text(), "http://a/1");
    ASSERT_TRUE(QTest::qWaitForWindowActive(&sheet()));
    part<FolderField>().setFocus(); // which it loses while it is destroyed
    QTest::keyClick(&sheet(), Qt::Key_Escape);
    ASSERT_TRUE(isClosed());
    m_main.openAddSheet("http://b/dropped\n");
    EXPECT_EQ(sheet().links(), "http://b/dropped\n") << "links from elsewhere stand alone";
    QTest::keyClick(&sheet(), Qt::Key_Escape);
    ASSERT_TRUE(isClosed());
    EXPECT_EQ(sheet().links(), "http://a/1\n");
    QTest::keyClick(&sheet(), Qt::Key_Escape);
    ASSERT_TRUE(isClosed());
    EXPECT_EQ(sheet().links(), "http://a/1\n") << "shown, and left once more";
    sheet().findChild<QDialogButtonBox*>()->rejected();
    ASSERT_TRUE(isClosed());
    EXPECT_EQ(sheet().links(), "");
}

TEST_F(AddSheetTest, AFolderThatCanNotBeUsedIsSaidAtTheFieldAndNothingIsAdded) {
    text().setPlainText("http://a/1");
    auto& folder = part<FolderField>();
    m_harness.folder.write("file", "");
    folder.setFolder(m_harness.folder.path("file/below"));
    ASSERT_TRUE(turnUntil([&] { return !folder.problem().isEmpty(); }));
    sheet().accept();
    EXPECT_TRUE(addresses().empty());
    folder.setFolder(m_harness.folder.path("new/one"));
    sheet().accept();
    EXPECT_EQ(addresses(), Addresses{"http://a/1"});
    EXPECT_EQ(m_queue.controller.remoteFiles().contentAsArray()[0]->basePath(),
              m_harness.folder.path("new/one"));
}

} // namespace tarvo::test
