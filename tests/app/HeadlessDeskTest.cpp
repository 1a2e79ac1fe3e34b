// What nobody sits at does not shout: a flood of errors is a few notices.
#include "app/HeadlessDesk.h"

#include <vector>

#include <gtest/gtest.h>

namespace tarvo::test {

TEST(HeadlessDesk, AFloodOfErrorsIsAFewNotices) {
    class Notices final : public UserNotices {
    public:
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
    ASSERT_EQ(notices.texts.size(), 4u);
    EXPECT_NE(notices.texts.back().find("1997"), std::string::npos) << notices.texts.back();
    desk.presentError({"domain", 1, "the same", ""});
    EXPECT_EQ(notices.texts.back(), "the same");
}

} // namespace tarvo::test
