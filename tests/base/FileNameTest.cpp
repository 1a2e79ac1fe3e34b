// Names from outside become names that can be created, and never anything else.
#include "base/FileName.h"
#include "base/Text.h"

#include <gtest/gtest.h>

namespace tarvo {

TEST(CleanFileName, LeavesWhatAFileSystemCanHoldInThisFolder) {
    const std::pair<std::string, std::string> cases[] = {
        {"a:b/c\\d?e%f*g|h\"i<j>k", "a_b_c_d_e_f_g_h_i_j_k"},
        {std::string("a\nb\0c\x7f", 6), "a_b_c_"},
        {"a\u009bb\u202efdp.exe", "a_b_fdp.exe"},
        {"../../etc/passwd", "_.._etc_passwd"},
        {"..a:b", "a_b"},
        {"...", ""},
    };
    for (const auto& [name, clean] : cases)
        EXPECT_EQ(cleanFileName(name, "trdownload"), clean);
    EXPECT_EQ(cleanFileName(std::nullopt, "trdownload"), "Error");
}

TEST(CleanFileName, CutsAtTheStatedLengthAndAtACharacter) {
    std::string umlauts = "x";
    for (int i = 0; i < 200; ++i)
        umlauts += "ü";
    const std::string cut = cleanFileName(umlauts, "trdownload");
    EXPECT_EQ(cut, umlauts.substr(0, 243)); // 1 + 121 × 2: a 122nd "ü" would need 245 bytes
    const std::string archive = cleanFileName(umlauts + ".tar.gz", "trdownload");
    EXPECT_EQ(archive, umlauts.substr(0, 237) + ".tar.gz");
}

TEST(RenamedFile, GetsItsVersionBeforeTheLastDotAndStillFits) {
    EXPECT_EQ(renamedFileOrBareFile("a.tar.gz", 1), "a.tar.gz");
    EXPECT_EQ(renamedFileOrBareFile("a.tar.gz", 2), "a.tar (2).gz");
    EXPECT_EQ(renamedFileOrBareFile("README", 3), "README (3)");
    const std::size_t suffix = std::string(".trdownload").size();
    EXPECT_EQ(renamedFileOrBareFile(std::string(240, 'x') + ".iso", 99, suffix).size() + suffix, 255u);
    EXPECT_LE(renamedFileOrBareFile("x." + std::string(242, 'y'), 99, suffix).size() + suffix, 255u);
}

TEST(WithoutControls, LeavesNothingThatATerminalObeys) {
    EXPECT_EQ(withoutControls("a\x1b]0;t\ab\x7f\u009bc\u202ed\u2066e\n"), "a?]0;t?b??c?d?e?");
    EXPECT_EQ(withoutControls("größe – 大 \xc2"), "größe – 大 \xc2");
}

} // namespace tarvo
