// Digests agree with the published test vectors, and a digest that was not finished is none.
#include "jobs/TRFileHash.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/TemporaryFolder.h"

namespace tarvo {

namespace {

constexpr std::int64_t kBlock = 4194304;

class Watcher : public TRFileHashDelegate {
public:
    explicit Watcher(std::int64_t cancelAt = -1) : m_cancelAt(cancelAt) {}

    bool update(TRFileHash& hash, std::int64_t processed, std::int64_t fileSize) override {
        EXPECT_EQ(processed, hash.bytesProcessed());
        EXPECT_EQ(fileSize, hash.fileSize());
        m_seen.push_back(processed);
        return processed < m_cancelAt || m_cancelAt < 0;
    }

    std::vector<std::int64_t> m_seen;

private:
    std::int64_t m_cancelAt;
};

} // namespace

TEST(TRFileHash, AgreesWithThePublishedVectors) {
    const test::TemporaryFolder folder;
    const std::string abc = folder.write("abc", "abc"); // RFC 1321 A.5; FIPS 180 examples
    EXPECT_EQ(TRFileHash(abc).computeMD5(), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(TRFileHash(abc).computeSHA1(), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(TRFileHash(abc).computeSHA256(),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    const std::string million = folder.write("million", std::string(1000000, 'a'));
    EXPECT_EQ(TRFileHash(million).computeSHA1(), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
    const auto watcher = std::make_shared<Watcher>();
    EXPECT_EQ(TRFileHash(folder.write("empty", ""), watcher).computeMD5(),
              "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_TRUE(watcher->m_seen.empty());
}

TEST(TRFileHash, ReportsBlockByBlockAndStartsAfreshEachTime) {
    const test::TemporaryFolder folder;
    const auto watcher = std::make_shared<Watcher>();
    TRFileHash hash(folder.write("file", std::string(kBlock * 2 + 5, 'x')), watcher);
    const auto first = hash.computeMD5();
    EXPECT_EQ(watcher->m_seen, (std::vector<std::int64_t>{kBlock, 2 * kBlock, 2 * kBlock + 5}));
    EXPECT_EQ(hash.computeMD5(), first);
    EXPECT_EQ(hash.bytesProcessed(), 2 * kBlock + 5);
    EXPECT_EQ(hash.percentComplete(), 100);
}

TEST(TRFileHash, ACancelledDigestIsNone) {
    const test::TemporaryFolder folder;
    const auto watcher = std::make_shared<Watcher>(kBlock);
    TRFileHash hash(folder.write("file", std::string(kBlock * 3, 'x')), watcher);
    EXPECT_EQ(hash.computeSHA256(), std::nullopt);
    EXPECT_EQ(watcher->m_seen, std::vector<std::int64_t>{kBlock});
    EXPECT_NEAR(hash.percentComplete(), 33.3, 0.1);
}

TEST(TRFileHash, WhatIsNoReadableFileHasNoDigest) {
    const test::TemporaryFolder folder;
    EXPECT_EQ(TRFileHash(folder.path("missing")).computeMD5(), std::nullopt);
    EXPECT_EQ(TRFileHash(folder.path()).computeMD5(), std::nullopt);
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(TRFileHash(folder.path("pipe")).computeMD5(), std::nullopt);
}

} // namespace tarvo
