// Which hint is shown, and what the line below the list says.
#include "rows/HintRules.h"
#include "rows/StatusLine.h"

#include <gtest/gtest.h>

namespace tarvo {
namespace {

TEST(HintRules, TheMostUrgentThatIsNeitherClosedNorSwitchedOff) {
    const HintFacts all{
        .freeBytes = 99, .neededBytes = 100, .areLinksElsewhere = true, .isTrayMissing = true};
    EXPECT_EQ(hintToShow(all, "", {}), Hint::diskFull);
    EXPECT_EQ(hintToShow(all, "", {Hint::diskFull}), Hint::browserLinks);
    EXPECT_EQ(hintToShow(all, "NoTray BrowserLinks", {Hint::diskFull}), std::nullopt);
    EXPECT_EQ(hintToShow({.neededBytes = 100}, "", {}), std::nullopt) << "the room is not known";
    EXPECT_EQ(hintToShow({.freeBytes = 100, .neededBytes = 100}, "", {}), std::nullopt);
    std::string off;
    for (const Hint hint : kHints)
        off = withSwitchedOff(withSwitchedOff(off, hint), hint);
    EXPECT_EQ(off, "DiskFull BrowserLinks NoTray");
}

TEST(StatusLine, SaysNoMoreThanIsKnown) {
    EXPECT_EQ(countsText({}), "");
    EXPECT_EQ(countsText({.running = 1, .waiting = 2}), "1 running, 2 waiting");
    EXPECT_EQ(countsText({.waiting = 3}), "3 waiting");
    EXPECT_EQ(timeLeftText({.bytesLeft = 100}), "") << "nothing comes in";
    EXPECT_EQ(timeLeftText({.speed = 2, .bytesLeft = 250}), "2 min 5 s left");
    EXPECT_EQ(timeLeftText({.speed = 2, .bytesLeft = 250, .isSizeUnknown = true}),
              "more than 2 min 5 s left");
}

} // namespace
} // namespace tarvo
