// Where a download lies, whichever of its places it is found by.
#include "storage/ProgressBundle.h"

#include <gtest/gtest.h>

namespace tarvo {

TEST(ProgressBundle, EveryPlaceLeadsToAllOthers) {
    const auto bundle = ProgressBundle::fromBundleDirectory("/d/a.b.trdownload/");
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->fileName(), "a.b");
    EXPECT_EQ(bundle->baseFolder(), "/d");
    EXPECT_EQ(ProgressBundle("/", "x").bundleDirectory(), "/x.trdownload");
    EXPECT_EQ(ProgressBundle("/d//", "x").finalFile(), "/d/x");
    for (const char* none : {"/d/file.zip", "/d/.trdownload", "/d/xtrdownload", "/", ""})
        EXPECT_FALSE(ProgressBundle::fromBundleDirectory(none)) << none;
}

} // namespace tarvo
