// What the preferences store at once, and what they refuse.
#include "ui/PreferencesWindow.h"

#include "app/SettingsTable.h"
#include "base/SettingKeys.h"
#include "support/JobHarness.h"
#include "ui/FolderField.h"

#include <set>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>
#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

class PreferencesWindowTest : public ::testing::Test {
protected:
    PreferencesWindowTest() { registerDefaultSettings(m_harness.defaults); }

    void SetUp() override {
        m_window = new PreferencesWindow(m_harness.defaults, m_look, "/home/bob", nullptr);
        m_window->show();
    }

    void TearDown() override { delete m_window; }

    template <class Widget>
    Widget& control(std::string_view key) {
        return *m_window->findChild<Widget*>(QString::fromStdString(std::string(key)));
    }

    void enter(std::string_view key, const QString& text) {
        auto& field = control<QLineEdit>(key);
        field.selectAll();
        QTest::keyClicks(&field, text);
        QTest::keyClick(&field, Qt::Key_Return);
    }

    std::string stored(std::string_view key) { return m_harness.defaults.string(key).value_or("none"); }

    JobHarness m_harness;
    FolderLook m_look{m_harness.disk};
    PreferencesWindow* m_window = nullptr;
};

} // namespace

TEST_F(PreferencesWindowTest, AFolderIsStoredTwiceAndOneThatIsNoneNotAtAll) {
    auto& folder = control<FolderField>(SettingKey::kDefaultDirectory);
    auto& input = *folder.findChild<QLineEdit*>();
    m_harness.folder.write("file", "");
    input.setText(QString::fromStdString(m_harness.folder.path("file")));
    QTest::keyClick(&input, Qt::Key_Return);
    ASSERT_TRUE(turnUntil([&] { return !folder.problem().isEmpty(); }));
    EXPECT_EQ(stored(SettingKey::kDefaultDirectory), "~/Downloads");
    input.setText(QString::fromStdString(m_harness.folder.path()));
    QTest::keyClick(&input, Qt::Key_Return);
    ASSERT_TRUE(
        turnUntil([&] { return m_harness.defaults.data(SettingKey::kDefaultDirectoryBookmark) != ""; }));
    EXPECT_EQ(stored(SettingKey::kDefaultDirectory), m_harness.folder.path());
    EXPECT_EQ(m_harness.defaults.data(SettingKey::kDefaultDirectoryBookmark), m_harness.folder.path());
}

TEST_F(PreferencesWindowTest, ABadProxyIsSaidAtTheFieldAndNotStored) {
    auto& problem = control<QLabel>("ProxyUrl.problem");
    enter(SettingKey::kProxyUrl, "gopher://host");
    EXPECT_EQ(stored(SettingKey::kProxyUrl), "");
    EXPECT_TRUE(problem.isVisibleTo(problem.parentWidget()));
    EXPECT_FALSE(problem.text().isEmpty());
    enter(SettingKey::kProxyUrl, " host:3128 ");
    EXPECT_EQ(stored(SettingKey::kProxyUrl), "host:3128");
    EXPECT_FALSE(problem.isVisibleTo(problem.parentWidget()));
    enter(SettingKey::kCustomUserAgent, "Agent/1");
    EXPECT_EQ(stored(SettingKey::kCustomUserAgent), "Agent/1");
    enter(SettingKey::kCustomUserAgent, " ");
    EXPECT_EQ(stored(SettingKey::kCustomUserAgent), "com.unregistered.Tarvo");
}

TEST_F(PreferencesWindowTest, QuittingByItselfShowsTheProgramInOnePlaceAndOtherChangesAreFollowed) {
    auto& mode = control<QComboBox>(SettingKey::kApplicationMode);
    EXPECT_EQ(mode.currentData(), "Dock and Menu Bar");
    control<QCheckBox>(SettingKey::kAutoQuitWhenTransfersComplete).click();
    EXPECT_TRUE(m_harness.defaults.boolean(SettingKey::kAutoQuitWhenTransfersComplete));
    EXPECT_EQ(stored(SettingKey::kApplicationMode), "Dock Only");
    EXPECT_EQ(mode.currentData(), "Dock Only");
    m_harness.defaults.set(SettingKey::kDefaultConcurrency, 7);
    EXPECT_EQ(control<QSpinBox>(SettingKey::kDefaultConcurrency).value(), 7);
    control<QSpinBox>(SettingKey::kDefaultThreading).setValue(99);
    EXPECT_EQ(m_harness.defaults.integer(SettingKey::kDefaultThreading), 64);
}

TEST_F(PreferencesWindowTest, HintsThatWereSwitchedOffCanBeShownAgain) {
    auto& button = control<QPushButton>(SettingKey::kHintsSwitchedOff);
    EXPECT_FALSE(button.isEnabled());
    m_harness.defaults.set(SettingKey::kHintsSwitchedOff, "noTray");
    EXPECT_TRUE(button.isEnabled());
    button.click();
    EXPECT_EQ(stored(SettingKey::kHintsSwitchedOff), "");
    EXPECT_FALSE(button.isEnabled());
}

TEST_F(PreferencesWindowTest, EverySettingIsEitherHereOrTheProgramsOwn) {
    using namespace SettingKey;
    std::set<std::string> known = settingsOfTheProgram();
    known.insert({std::string(kDefaultDirectoryBookmark),            // stored with the folder
                  std::string(kNeverRemindMeToRateThisAwesomeApp)}); // there is no such notice
    for (const auto& preference : preferences())
        known.emplace(preference.key);
    for (const auto& setting : settingsTable())
        EXPECT_TRUE(known.contains(std::string(setting.key))) << setting.key;
}

} // namespace tarvo::test
