// A progress file gives back what was written, keeps what was there, and is never believed blindly.
#include "storage/ProgressFile.h"

#include <cerrno>
#include <functional>
#include <limits>

#include <gtest/gtest.h>
#include <sys/stat.h>

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

/// An object under any class name, with what a forger writes into it.
struct Forged final : Archivable {
    std::string name;
    std::function<void(KeyedArchiver&)> values;

    Forged(std::string className, std::function<void(KeyedArchiver&)> written)
        : name(std::move(className)), values(std::move(written)) {}

    std::string archivedClassName() const override { return name; }

    void encode(KeyedArchiver& archiver) const override { values(archiver); }
};

using Objects = std::vector<KeyedArchiver::Object>;

KeyedArchiver::Object record(std::int64_t size, const Bounds& bounds) {
    const ByteRanges ranges = rangesOf(bounds);
    return std::make_shared<Forged>("ProgressData", [=](KeyedArchiver& archiver) {
        archiver.encodeInteger("sizeInBytes", size);
        archiver.encodeArray("ranges", Objects(ranges.begin(), ranges.end()));
    });
}

/// The connections of a record as earlier versions had them.
Objects legacy(const Bounds& parts) {
    Objects connections;
    for (const auto& [lower, current] : parts)
        connections.push_back(std::make_shared<Forged>("CurlEasy", [=](KeyedArchiver& archiver) {
            archiver.encodeInteger("lowerBound", lower);
            archiver.encodeInteger("currentOffset", current);
        }));
    return connections;
}

class ProgressFileTest : public ::testing::Test {
protected:
    Result<ProgressState> readForged(std::int64_t fileSize, const KeyedArchiver::Object& progressData,
                                     const std::optional<Objects>& easyHandles = std::nullopt) {
        KeyedArchiver archiver(KeyedArchiver::Format::Xml);
        archiver.encodeUrl("URL", Url::parse("http://host/file"));
        archiver.encodeInteger("fileSize", fileSize);
        if (easyHandles)
            archiver.encodeArray("easyHandles", *easyHandles);
        archiver.encodeObject("progressData", progressData);
        m_folder.write("progress", archiver.finish());
        return m_file.readData();
    }

    test::TemporaryFolder m_folder;
    test::FailingDisk m_disk;
    ProgressFile m_file{m_folder.path("progress"), m_disk};
    ProgressState m_state{*Url::parse("https://host/f?a=b&c=%20d"), 1000,
                          std::make_shared<ProgressData>(1000, rangesOf({{0, 100}, {500, 700}})),
                          Url::parse("http://page/"), 7};
};

} // namespace

TEST_F(ProgressFileTest, GivesBackWhatWasWritten) {
    ASSERT_TRUE(m_file.writeData(m_state));
    auto back = m_file.readData();
    ASSERT_TRUE(back);
    EXPECT_EQ(back->url, m_state.url);
    EXPECT_EQ(back->fileSize, 1000);
    EXPECT_EQ(boundsOf(*back), (Bounds{{0, 100}, {500, 700}}));
    EXPECT_EQ(back->referer, m_state.referer);
    EXPECT_EQ(back->requestedConnections, 7);

    struct stat status {};

    ASSERT_EQ(::stat(m_folder.path("progress").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u) << "an address may hold a password";
    m_state.progressData = std::make_shared<ProgressData>(0, rangesOf({{0, 5'000'000'000}}));
    m_state.fileSize = 0;
    m_state.referer.reset();
    ASSERT_TRUE(m_file.writeData(m_state));
    back = m_file.readData();
    ASSERT_TRUE(back);
    EXPECT_EQ(boundsOf(*back), (Bounds{{0, 5'000'000'000}}));
    EXPECT_FALSE(back->referer);
}

TEST_F(ProgressFileTest, AFailedWriteKeepsTheOldFile) {
    ASSERT_TRUE(m_file.writeData(m_state));
    m_state.progressData->recordBytesDownloaded(100, 50);
    m_disk.failOn("replaceFile", 1, ENOSPC);
    EXPECT_TRUE(m_file.writeData(m_state).error().is(ErrorDomain::Posix, ENOSPC));
    EXPECT_EQ(boundsOf(*m_file.readData()), (Bounds{{0, 100}, {500, 700}}));
}

TEST_F(ProgressFileTest, ReadsFilesOfEarlierVersions) {
    // They stand in for the newer record, in any order, each with the part that it had fetched.
    const auto state = readForged(1000, record(1000, {{0, 1000}}), legacy({{500, 500}, {700, 900}, {0, 10}}));
    ASSERT_TRUE(state) << state.error().sentence();
    EXPECT_EQ(boundsOf(*state), (Bounds{{0, 10}, {700, 900}}));
    EXPECT_EQ(state->requestedConnections, 3);
    for (const auto& part : Bounds{{-1, 10}, {10, 9}, {0, 1001}, {1001, 1001}, {-kHuge, kHuge}})
        EXPECT_FALSE(readForged(1000, nullptr, legacy({part}))) << part.first << " " << part.second;
    EXPECT_FALSE(readForged(0, nullptr, legacy({{5, 10}}))) << "a stream begins at 0";
}

TEST_F(ProgressFileTest, BelievesNoImpossibleRecordAndSaysOfWhichFile) {
    ASSERT_TRUE(readForged(1000, record(1000, {{0, 10}, {10, 20}, {20, 1000}})));
    const std::pair<std::int64_t, KeyedArchiver::Object> cases[] = {
        {1000, nullptr},
        {1000, record(1001, {})},
        {1000, record(1000, {{0, 1001}})},
        {1000, record(1000, {{-1, 10}})},
        {1000, record(1000, {{10, 5}})},
        {1000, record(1000, {{0, 10}, {9, 20}})},
        {1000, record(1000, {{10, 20}, {0, 5}})},
        {kHuge, record(kHuge, {{-kHuge, kHuge}})},
        {0, record(0, {{0, 5}, {6, 9}})}, // two streams
        {-1, record(-1, {{5, 9}})},       // a stream from the middle
    };
    for (const auto& [size, forged] : cases) {
        const auto state = readForged(size, forged);
        ASSERT_FALSE(state) << &forged - &cases[0].second;
        EXPECT_TRUE(test::has(state.error().description, "corrupt"));
    }
    m_folder.write("progress", "bplist00");
    EXPECT_TRUE(test::has(m_file.readData().error().description, m_folder.path("progress")));
}

} // namespace tarvo
