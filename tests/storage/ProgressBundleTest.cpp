// Where a download lies, whichever of its places it is found by.
#include "storage/ProgressBundle.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "support/TemporaryFolder.h"

namespace tarvo {

TEST(ProgressBundle, EveryPlaceLeadsToAllOthers) {
    const auto bundle = ProgressBundle::fromBundleDirectory("/d/a.b.trdownload/");
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->fileName(), "a.b");
    EXPECT_EQ(bundle->baseFolder(), "/d");
    EXPECT_EQ(bundle->finalFile(), "/d/a.b");
    EXPECT_EQ(bundle->tempFile(), "/d/a.b.trdownload/data");
    EXPECT_EQ(bundle->progressFile(), "/d/a.b.trdownload/progress");
    EXPECT_EQ(ProgressBundle::fromFinalFile("/d/x").bundleDirectory(), "/d/x.trdownload");
    EXPECT_EQ(ProgressBundle::fromFinalFile("/x").bundleDirectory(), "/x.trdownload");
    EXPECT_EQ(ProgressBundle("/d//", "x").finalFile(), "/d/x");
    for (const char* none : {"/d/file.zip", "/d/.trdownload", "/d/xtrdownload", "/", ""})
        EXPECT_FALSE(ProgressBundle::fromBundleDirectory(none)) << none;
}

TEST(ProgressBundle, ABookmarkHoldsWhileItsPlaceIsThere) {
    const test::TemporaryFolder folder;
    const std::string directory = folder.path("x.trdownload");
    EXPECT_FALSE(ProgressBundle::fromBundleBookmark(directory));
    std::filesystem::create_directory(directory);
    const auto bundle = ProgressBundle::fromBundleBookmark(directory);
    ASSERT_TRUE(bundle);
    EXPECT_TRUE(bundle->bundleExists());
    EXPECT_FALSE(bundle->tempFileExists() || bundle->progressFileExists() || bundle->finalFileExists());
    folder.write("x.trdownload/data", "");
    folder.write("x.trdownload/progress", "");
    EXPECT_TRUE(bundle->tempFileExists() && bundle->progressFileExists());
    EXPECT_FALSE(ProgressBundle::fromFinalFileBookmark(bundle->finalFile()));
    folder.write("x", "");
    EXPECT_EQ(ProgressBundle::fromFinalFileBookmark(bundle->finalFile())->fileName(), "x");
    EXPECT_FALSE(ProgressBundle::fromBundleBookmark(bundle->finalFile()));
}

} // namespace tarvo
