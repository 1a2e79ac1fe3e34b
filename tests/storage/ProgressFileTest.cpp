// A progress file gives back what was written, keeps what was there, and is never believed blindly.
#include "storage/ProgressFile.h"

#include <cerrno>
#include <functional>
#include <limits>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "base/PosixDisk.h"
#include "support/FailingDisk.h"
#include "support/Ranges.h"
#include "support/TemporaryFolder.h"
#include "support/Text.h"

namespace tarvo {

namespace {

constexpr std::int64_t kHuge = std::numeric_limits<std::int64_t>::max();

using test::Bounds;
using test::rangesOf;

Bounds boundsOf(const ProgressState& state) {
    return test::boundsOf(state.progressData->readout());
}

/// An object under any class name, with whatever a forger writes into it.
struct Forged final : Archivable {
    std::string name;
    std::function<void(KeyedArchiver&)> values;

    Forged(std::string className, std::function<void(KeyedArchiver&)> written)
        : name(std::move(className)), values(std::move(written)) {}

    std::string archivedClassName() const override { return name; }

    void encode(KeyedArchiver& archiver) const override { values(archiver); }
};

using Objects = std::vector<KeyedArchiver::Object>;

std::shared_ptr<Forged> record(std::int64_t size, const Objects& ranges) {
    return std::make_shared<Forged>("ProgressData", [=](KeyedArchiver& archiver) {
        archiver.encodeInteger("sizeInBytes", size);
        archiver.encodeArray("ranges", ranges);
    });
}

std::shared_ptr<Forged> record(std::int64_t size, const Bounds& bounds) {
    const ByteRanges ranges = rangesOf(bounds);
    return record(size, Objects(ranges.begin(), ranges.end()));
}

/// A connection, as the records of earlier versions had them.
std::shared_ptr<Forged> legacyRecord(std::int64_t lower, std::int64_t current) {
    return std::make_shared<Forged>("CurlEasy", [=](KeyedArchiver& archiver) {
        archiver.encodeInteger("lowerBound", lower);
        archiver.encodeInteger("currentOffset", current);
    });
}

/// A disk whose one file is a text.
struct TextDisk final : PosixDisk {
    std::string text;

    Result<std::string> readFile(const std::string&, std::int64_t) override { return text; }
};

class ProgressFileTest : public ::testing::Test {
protected:
    std::string forged(std::int64_t fileSize, const KeyedArchiver::Object& progressData,
                       const std::optional<Objects>& easyHandles = std::nullopt) {
        KeyedArchiver archiver(KeyedArchiver::Format::Xml);
        archiver.encodeUrl("URL", Url::parse("http://host/file"));
        archiver.encodeInteger("fileSize", fileSize);
        if (easyHandles)
            archiver.encodeArray("easyHandles", *easyHandles);
        archiver.encodeObject("progressData", progressData);
        return archiver.finish();
    }

    Result<ProgressState> read(const std::string& content) {
        TextDisk disk;
        disk.text = content;
        return ProgressFile(m_folder.path("progress"), disk).readData();
    }

    static ProgressState someState() {
        const auto done = std::make_shared<ProgressData>(1000, rangesOf({{0, 100}, {500, 700}}));
        return {*Url::parse("https://host/f?a=b&c=%20d"), 1000, done, Url::parse("http://page/"), 7};
    }

    test::TemporaryFolder m_folder;
    test::FailingDisk m_disk;
    ProgressFile m_file{m_folder.path("progress"), m_disk};
};

} // namespace

TEST_F(ProgressFileTest, GivesBackWhatWasWritten) {
    ProgressState state = someState();
    ASSERT_TRUE(m_file.writeData(state));
    auto back = m_file.readData();
    ASSERT_TRUE(back);
    EXPECT_EQ(back->url, state.url);
    EXPECT_EQ(back->fileSize, 1000);
    EXPECT_EQ(back->progressData->sizeInBytes, 1000);
    EXPECT_EQ(boundsOf(*back), (Bounds{{0, 100}, {500, 700}}));
    EXPECT_EQ(back->referer, state.referer);
    EXPECT_EQ(back->requestedConnections, 7);

    struct stat status {};

    ASSERT_EQ(::stat(m_folder.path("progress").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u) << "an address may hold a password";

    state.progressData = std::make_shared<ProgressData>(0, rangesOf({{0, 5'000'000'000}}));
    state.fileSize = 0;
    state.referer.reset();
    ASSERT_TRUE(m_file.writeData(state));
    back = m_file.readData();
    ASSERT_TRUE(back);
    EXPECT_EQ(boundsOf(*back), (Bounds{{0, 5'000'000'000}}));
    EXPECT_FALSE(back->referer);
}

TEST_F(ProgressFileTest, AFailedWriteKeepsTheOldFile) {
    ASSERT_TRUE(m_file.writeData(someState()));
    ProgressState later = someState();
    later.progressData->recordBytesDownloaded(100, 50);
    m_disk.failOn("replaceFile", 1, ENOSPC);
    EXPECT_TRUE(m_file.writeData(later).error().is(ErrorDomain::Posix, ENOSPC));
    EXPECT_EQ(boundsOf(*m_file.readData()), (Bounds{{0, 100}, {500, 700}}));
    m_disk.recover();
    EXPECT_TRUE(m_file.writeData(later));
    EXPECT_EQ(boundsOf(*m_file.readData()), (Bounds{{0, 150}, {500, 700}}));
    const ProgressFile elsewhere(m_folder.path("gone/progress"), m_disk);
    EXPECT_TRUE(elsewhere.writeData(later).error().is(ErrorDomain::Posix, ENOENT));
}

TEST_F(ProgressFileTest, ReadsFilesOfEarlierVersions) {
    // They stand in for the newer record, in any order, each with the part that it had fetched.
    const auto state =
        read(forged(1000, record(1000, Bounds{{0, 1000}}),
                    Objects{legacyRecord(500, 500), legacyRecord(700, 900), legacyRecord(0, 10)}));
    ASSERT_TRUE(state) << state.error().sentence();
    EXPECT_EQ(boundsOf(*state), (Bounds{{0, 10}, {700, 900}}));
    EXPECT_EQ(state->requestedConnections, 3);
    for (const auto& [lower, current] : Bounds{{-1, 10}, {10, 9}, {0, 1001}, {1001, 1001}, {-kHuge, kHuge}})
        EXPECT_FALSE(read(forged(1000, nullptr, Objects{legacyRecord(lower, current)})))
            << lower << " " << current;
    EXPECT_FALSE(read(forged(1000, nullptr, Objects{nullptr})));
    EXPECT_FALSE(read(forged(0, nullptr, Objects{legacyRecord(5, 10)}))) << "a stream begins at 0";
}

TEST_F(ProgressFileTest, BelievesNoImpossibleRecord) {
    const Objects wrongKind{legacyRecord(0, 10)};
    ASSERT_TRUE(read(forged(1000, record(1000, Bounds{{0, 10}, {10, 20}, {20, 1000}}))));
    const std::pair<const char*, std::string> cases[] = {
        {"no record", forged(1000, nullptr)},
        {"sizes that disagree", forged(1000, record(1001, Bounds{}))},
        {"a known and an unknown size", forged(0, record(1000, Bounds{}))},
        {"past the size", forged(1000, record(1000, Bounds{{0, 1001}}))},
        {"negative", forged(1000, record(1000, Bounds{{-1, 10}}))},
        {"reversed", forged(1000, record(1000, Bounds{{10, 5}}))},
        {"overlapping", forged(1000, record(1000, Bounds{{0, 10}, {9, 20}}))},
        {"out of order", forged(1000, record(1000, Bounds{{10, 20}, {0, 5}}))},
        {"overflowing", forged(kHuge, record(kHuge, Bounds{{-kHuge, kHuge}}))},
        {"two streams", forged(0, record(0, Bounds{{0, 5}, {6, 9}}))},
        {"a stream from the middle", forged(-1, record(-1, Bounds{{5, 9}}))},
        {"another kind of record", forged(1000, legacyRecord(0, 10))},
        {"another kind of range", forged(1000, record(1000, wrongKind))},
        {"a missing range", forged(1000, record(1000, Objects{nullptr}))},
    };
    for (const auto& [name, content] : cases) {
        const auto state = read(content);
        ASSERT_FALSE(state) << name;
        EXPECT_TRUE(state.error().is(ErrorDomain::Tarvo, kTarvoGeneral)) << name;
        EXPECT_TRUE(test::has(state.error().description, "corrupt"));
    }
}

TEST_F(ProgressFileTest, WhatIsNoArchiveIsAnError) {
    EXPECT_FALSE(m_file.readData()) << "there is none";
    for (const std::string content : {"", "{}", "bplist00"}) {
        const auto state = read(content);
        ASSERT_FALSE(state);
        EXPECT_TRUE(test::has(state.error().description, m_folder.path("progress")));
    }
    std::string noAddress = forged(1000, record(1000, Bounds{}));
    noAddress.replace(noAddress.find("<key>URL</key>"), 14, "<key>XYZ</key>");
    EXPECT_FALSE(read(noAddress));
}

TEST_F(ProgressFileTest, NoDamageIsTakenForProgress) {
    ASSERT_TRUE(m_file.writeData(someState()));
    const std::string whole = test::contentOf(m_folder.path("progress"));
    const std::size_t end = whole.find("</plist>") + 8;
    for (std::size_t length = 0; length < end; ++length)
        ASSERT_FALSE(read(whole.substr(0, length))) << length;
    int stillRead = 0;
    for (std::size_t i = 0; i < end; ++i) {
        std::string damaged = whole;
        damaged[i] = "9<\0\xff"[i % 4];
        const auto state = read(damaged);
        stillRead += state ? 1 : 0;
        ASSERT_TRUE(!state ||
                    (state->progressData->isSound() && state->progressData->sizeInBytes == state->fileSize))
            << i;
    }
    EXPECT_GT(stillRead, 0) << "a digit here and there makes another valid file";
}

} // namespace tarvo
