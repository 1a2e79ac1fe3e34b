// Digests agree with the published test vectors, and a digest that was not finished is none.
#include "jobs/TRFileHash.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/TemporaryFolder.h"

namespace tarvo {

namespace {

constexpr std::int64_t kBlock = 4194304;

struct Watcher : TRFileHashDelegate {
    bool update(TRFileHash&, std::int64_t processed, std::int64_t) override {
        seen.push_back(processed);
        return processed < cancelAt;
    }

    std::int64_t cancelAt = 100 * kBlock;
    std::vector<std::int64_t> seen;
};

} // namespace

TEST(TRFileHash, AgreesWithThePublishedVectors) {
    const test::TemporaryFolder folder;
    const std::string abc = folder.write("abc", "abc"); // RFC 1321 A.5; FIPS 180 examples
    EXPECT_EQ(TRFileHash(abc).computeMD5(), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(TRFileHash(abc).computeSHA1(), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(TRFileHash(abc).computeSHA256(),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    const auto all = TRFileHash(abc).computeAll();
    ASSERT_TRUE(all);
    EXPECT_EQ(all->md5, TRFileHash(abc).computeMD5());
    EXPECT_EQ(all->sha1, TRFileHash(abc).computeSHA1());
    EXPECT_EQ(all->sha256, TRFileHash(abc).computeSHA256());
    EXPECT_EQ(TRFileHash(folder.write("empty", "")).computeMD5(), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(TRFileHash, ReportsBlockByBlockAndACancelledDigestIsNone) {
    const test::TemporaryFolder folder;
    const auto watcher = std::make_shared<Watcher>();
    TRFileHash hash(folder.write("file", std::string(kBlock * 2 + 5, 'x')), watcher);
    const auto first = hash.computeMD5();
    EXPECT_EQ(watcher->seen, (std::vector<std::int64_t>{kBlock, 2 * kBlock, 2 * kBlock + 5}));
    EXPECT_EQ(hash.computeMD5(), first) << "each starts afresh";
    watcher->cancelAt = kBlock;
    EXPECT_EQ(hash.computeSHA256(), std::nullopt);
    EXPECT_FALSE(hash.error()) << "it was cancelled";
    EXPECT_EQ(watcher->seen.back(), kBlock);
}

TEST(TRFileHash, WhatIsNoReadableFileHasNoDigest) {
    const test::TemporaryFolder folder;
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    for (const std::string& path : {folder.path("missing"), folder.path(), folder.path("pipe")}) {
        TRFileHash hash(path);
        EXPECT_EQ(hash.computeMD5(), std::nullopt) << path;
        EXPECT_TRUE(hash.error()) << path;
    }
}

} // namespace tarvo
