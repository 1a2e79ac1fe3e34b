// The colours of the desktop's choice, and a question for a password that ends with the program.
#include "ui/ColourScheme.h"

#include <QAction>
#include <QApplication>
#include <QPushButton>
#include <QTimer>
#include <gtest/gtest.h>

#include "support/PrivateBus.h"
#include "ui/CredentialsDialog.h"

namespace tarvo::test {

TEST(ColourScheme, FollowsTheDesktopWhileItRunsAndGoesBack) {
    PrivateBus bus;
    bus.start();
    constexpr const char* name = "org.freedesktop.portal.Desktop";
    constexpr const char* path = "/org/freedesktop/portal/desktop";
    bus.play(name, {"--session", name, path, "org.freedesktop.portal.Settings"});
    bus.call(name, path, "org.freedesktop.DBus.Mock", "AddMethod",
             {"org.freedesktop.portal.Settings", "Read", "ss", "v",
              "ret = dbus.UInt32(1 if args[1] == 'color-scheme' else 0, variant_level=2)"});
    const auto window = [] { return QApplication::palette().color(QPalette::Window); };
    const QColor before = window();
    ASSERT_GT(before.lightness(), 128);
    DesktopBus desktop(bus.address());
    ColourScheme scheme(desktop);
    scheme.start();
    EXPECT_TRUE(turnUntil([&] { return window().lightness() < 100; })) << "dark from the start";
    const auto change = [&](const char* key, uint value) {
        bus.call(name, path, "org.freedesktop.DBus.Mock", "EmitSignal",
                 {"org.freedesktop.portal.Settings", "SettingChanged", "ssv",
                  QVariant(QVariantList{"org.freedesktop.appearance", key, value})});
    };
    change("contrast", 1);
    EXPECT_TRUE(turnUntil([&] { return window() == QColor(Qt::black); }));
    change("contrast", 0);
    change("color-scheme", 2);
    EXPECT_TRUE(turnUntil([&] { return window() == before; }));
}

TEST(ColourScheme, TextStandsOutInEachOfItsPalettes) {
    for (const bool isDark : {false, true}) {
        for (const bool isHighContrast : {false, true}) {
            const QPalette palette = schemePalette(isDark, isHighContrast);
            const int wanted = isHighContrast ? 240 : isDark ? 150 : 0;
            for (const auto& [text, ground] : {std::pair(QPalette::WindowText, QPalette::Window),
                                               std::pair(QPalette::Text, QPalette::Base),
                                               std::pair(QPalette::ButtonText, QPalette::Button)})
                EXPECT_GE(std::abs(palette.color(text).lightness() - palette.color(ground).lightness()),
                          wanted);
        }
    }
}

class CredentialsPromptTest : public ::testing::Test {
protected:
    /// Asks, and does `meanwhile` with the dialog, as the user or the program does.
    std::optional<AuthenticationAnswer> ask(const AuthenticationQuestion& question,
                                            const std::function<void(CredentialsDialog&)>& meanwhile) {
        QTimer::singleShot(0, &prompt, [&] {
            meanwhile(dynamic_cast<CredentialsDialog&>(*QApplication::topLevelWidgets().constFirst()));
        });
        return prompt.promptAuthentication(question);
    }

    CredentialsPrompt prompt;
};

TEST_F(CredentialsPromptTest, AnswersWhatWasTypedAndShowsThePasswordOnlyOnDemand) {
    const auto answer = ask({"bob", "", "ftp://host", false}, [](CredentialsDialog& dialog) {
        EXPECT_FALSE(dialog.isModal()) << "the list can be used";
        const auto fields = dialog.findChildren<QLineEdit*>();
        ASSERT_EQ(fields.size(), 3);
        EXPECT_TRUE(fields[0]->isReadOnly());
        EXPECT_EQ(fields[0]->text(), "ftp://host");
        EXPECT_EQ(dialog.focusWidget(), fields[2]) << "the name is there already";
        EXPECT_EQ(fields[2]->echoMode(), QLineEdit::Password);
        fields[2]->actions().constFirst()->toggle();
        EXPECT_EQ(fields[2]->echoMode(), QLineEdit::Normal);
        fields[2]->setText("secret");
        dialog.findChild<QCheckBox*>()->setChecked(true);
        dialog.accept();
    });
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->username, "bob");
    EXPECT_EQ(answer->password, "secret");
    EXPECT_TRUE(answer->shouldSave);
}

TEST_F(CredentialsPromptTest, EndsWhenTheQuestionIsCalledBack) {
    const auto answer = ask({"", "", "sftp://host", true}, [this](CredentialsDialog& dialog) {
        EXPECT_EQ(dialog.focusWidget(), dialog.findChildren<QLineEdit*>().at(1));
        EXPECT_FALSE(prompt.promptAuthentication({})) << "one at a time";
        prompt.cancelPrompt();
    });
    EXPECT_FALSE(answer);
}

} // namespace tarvo::test
