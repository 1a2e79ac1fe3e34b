// Names from outside become names that can be created, and never anything else.
#include "base/FileName.h"

#include <gtest/gtest.h>

namespace tarvo {

TEST(CleanFileName, ReplacesWhatAFileSystemCantHold) {
    EXPECT_EQ(cleanFileName("a:b/c\\d?e%f*g|h\"i<j>k", "trdownload"), "a_b_c_d_e_f_g_h_i_j_k");
    EXPECT_EQ(cleanFileName(std::string("a\nb\0c\x7f", 6), "trdownload"), "a_b_c_");
    EXPECT_EQ(cleanFileName("a\u009bb\u202efdp.exe", "trdownload"), "a_b_fdp.exe");
    EXPECT_EQ(cleanFileName("../../etc/passwd", "trdownload"), "_.._etc_passwd");
}

TEST(CleanFileName, LeadingDotsAndMissingNames) {
    EXPECT_EQ(cleanFileName("..a:b", "trdownload"), "a_b");
    EXPECT_EQ(cleanFileName("...", "trdownload"), "");
    EXPECT_EQ(cleanFileName("", "trdownload"), "");
    EXPECT_EQ(cleanFileName(std::nullopt, "trdownload"), "Error");
}

TEST(CleanFileName, CutsAtTheStatedLengthAndAtACharacter) {
    EXPECT_EQ(cleanFileName(std::string(300, 'x'), "trdownload").size(), 244u);
    std::string umlauts;
    for (int i = 0; i < 200; ++i)
        umlauts += "ü";
    const std::string cut = cleanFileName("x" + umlauts, "trdownload");
    EXPECT_EQ(cut.size(), 243u); // 1 + 121 × 2: a 122nd "ü" would need 245 bytes
    EXPECT_EQ(cut.substr(241), "ü");
}

TEST(RenamedFile, OnlyTheLastDotCounts) {
    EXPECT_EQ(renamedFileOrBareFile("a.tar.gz", 1), "a.tar.gz");
    EXPECT_EQ(renamedFileOrBareFile("a.tar.gz", 2), "a.tar (2).gz");
    EXPECT_EQ(renamedFileOrBareFile("README", 3), "README (3)");
}

TEST(RenamedFile, TheLongestNameStillFitsWithItsVersionAndBundleSuffix) {
    const std::size_t suffix = std::string(".trdownload").size();
    EXPECT_EQ(renamedFileOrBareFile(std::string(240, 'x') + ".iso", 99, suffix).size() + suffix, 255u);
    EXPECT_LE(renamedFileOrBareFile("x." + std::string(242, 'y'), 99, suffix).size() + suffix, 255u);
}

} // namespace tarvo
