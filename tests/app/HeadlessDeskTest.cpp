// A machine without a user at it does not shout: a flood of errors is a few notices.
#include "app/HeadlessDesk.h"

#include <vector>

#include "support/Text.h"

namespace tarvo::test {

TEST(HeadlessDesk, AFloodOfErrorsIsAFewNotices) {
    struct Notices final : UserNotices {
        void deliver(const UserNotice& notice) override { texts.push_back(notice.informativeText); }

        std::vector<std::string> texts;
    };

    Notices notices;
    HeadlessDesk desk(notices);
    for (int i = 0; i < 1000; ++i) {
        desk.presentError({"domain", 1, "the same", ""});
        desk.presentError({"domain", 1, "another " + std::to_string(i), ""});
    }
    EXPECT_EQ(notices.texts, (std::vector<std::string>{"the same", "another 0", "another 1"}));
    desk.summarize();
    EXPECT_TRUE(has(notices.texts.back(), "1997"));
    desk.presentError({"domain", 1, "the same", ""});
    EXPECT_EQ(notices.texts.back(), "the same");
}

} // namespace tarvo::test
