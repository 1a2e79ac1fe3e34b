// A digest is found in what people paste, and compared with the file's own.
#include "rows/ExpectedDigest.h"

#include <gtest/gtest.h>

namespace tarvo {

namespace {

const std::string kMd5 = "900150983cd24fb0d6963f7d28e17f72";
const std::string kSha1 = "a9993e364706816aba3e25717850c26c9cd0d89d";
const std::string kSha256 = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

std::string found(const std::string& text) {
    const auto digest = expectedDigest(text, "a b.iso");
    return digest ? shownName(digest->algorithm) + " " + digest->digest : "";
}

} // namespace

TEST(ExpectedDigest, IsFoundInWhateverPeoplePaste) {
    const std::string other(64, 'e');
    const std::string sums = other + "  b.iso\n" + kSha256 + " *./a b.iso\n" + other + "  x a b.iso.sig\n";
    const std::pair<std::string, std::string> cases[] = {
        {kMd5, "MD5 " + kMd5},
        {"  A9993E36 4706816A BA3E2571\n 7850C26C 9CD0D89D\r\n", "SHA-1 " + kSha1},
        {"sha256:" + kSha256, "SHA-256 " + kSha256},
        {"SHA-256 = " + kSha256, "SHA-256 " + kSha256},
        {"SHA1 (it = a (b).iso) = " + kSha1, "SHA-1 " + kSha1},
        {kSha256 + "  another.iso", "SHA-256 " + kSha256},
        {"\\" + kMd5 + "  with\\nline", "MD5 " + kMd5},
        {sums, "SHA-256 " + kSha256},
        {"# Sums of today\n\n" + kMd5 + "  a b.iso\n", "MD5 " + kMd5},
        {"md5:" + kSha256, ""}, // says one thing and is another
        {other + "  b.iso\n" + other + "  c.iso\n", ""},
        {kSha256 + "00", ""},
        {"g" + kMd5.substr(1), ""},
        {"", ""},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(found(text), expected) << text;
}

TEST(ExpectedDigest, IsComparedWithTheFilesOwnOfItsKind) {
    const TRFileHash::Digests own{kMd5, kSha1, kSha256};
    const auto judged = [&](const std::string& text, const std::optional<TRFileHash::Digests>& computed) {
        return judge(text, expectedDigest(text, "a"), computed);
    };
    EXPECT_EQ(judged(" \n", own), DigestMatch::nothingExpected);
    EXPECT_EQ(judged("abc", own), DigestMatch::notUnderstood);
    EXPECT_EQ(judged(kSha1, std::nullopt), DigestMatch::notComputed);
    for (const auto& digest : {kMd5, kSha1, kSha256})
        EXPECT_EQ(judged(digest, own), DigestMatch::matches);
    EXPECT_EQ(judged("0" + kSha1.substr(1), own), DigestMatch::differs);
}

} // namespace tarvo
