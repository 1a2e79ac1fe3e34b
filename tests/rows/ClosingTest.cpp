// What closing the window means, by tray, downloads and setting.
#include "rows/Closing.h"

#include <gtest/gtest.h>

namespace tarvo {
namespace {

TEST(WhatClosingMeans, LeavesNoProgramBehindThatTheUserCannotSee) {
    using enum Closing;
    using Means = ClosingMeans;

    struct Case {
        ClosingMeans means;
        bool isInTray;
        bool isDownloading;
        bool hasToldOfTray;
        Closing expected;
    };

    const Case cases[] = {
        {Means::ask, false, false, true, quit},
        {Means::ask, false, true, true, ask},
        {Means::ask, true, false, false, hideWithNotice},
        {Means::ask, true, true, false, hideWithNotice},
        {Means::ask, true, true, true, hide},
        {Means::background, true, false, true, hide},
        {Means::background, false, false, true, hideWithNotice},
        {Means::background, false, true, true, hideWithNotice},
        {Means::quit, true, true, true, quit},
        {Means::quit, false, true, false, quit},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(whatClosingMeans({true, each.isInTray, each.isDownloading, each.hasToldOfTray, each.means}),
                  each.expected)
            << "case " << &each - cases;
        EXPECT_EQ(
            whatClosingMeans({false, each.isInTray, each.isDownloading, each.hasToldOfTray, each.means}),
            quit)
            << "at the end of the session, case " << &each - cases;
    }
}

} // namespace
} // namespace tarvo
