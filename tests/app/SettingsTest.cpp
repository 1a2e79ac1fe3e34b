// No stored nonsense gets through to the engine.
#include "app/SettingsTable.h"

#include <limits>

#include <gtest/gtest.h>

#include "app/TRMetricsManager.h"
#include "base/PosixDisk.h"
#include "base/SettingKeys.h"
#include "base/Settings.h"
#include "support/TemporaryFolder.h"
#include "support/Text.h"

namespace tarvo {

namespace {

class SettingsTest : public ::testing::Test {
protected:
    void store(const std::string& lines) {
        m_folder.write("tarvo.conf", "[General]\n" + lines);
        m_defaults = std::make_unique<UserDefaults>(m_path, m_disk);
        registerDefaultSettings(*m_defaults);
        m_settings = std::make_unique<Settings>(*m_defaults);
    }

    test::TemporaryFolder m_folder;
    const std::string m_path = m_folder.path("tarvo.conf");
    PosixDisk m_disk;
    std::unique_ptr<UserDefaults> m_defaults;
    std::unique_ptr<Settings> m_settings;
};

} // namespace

TEST_F(SettingsTest, NumbersOutOfRangeCountAsTheNearestAndWordsAsTheDefault) {
    store("DefaultConcurrency=0\nDefaultThreading=99999999999999999999\nMinimumChunkSize=-5\n");
    EXPECT_EQ(m_settings->defaultConcurrency(), 1);
    EXPECT_EQ(m_settings->defaultThreading(), 64);
    EXPECT_EQ(m_settings->minimumChunkSize(), 1);
    store("DefaultConcurrency=many\nDefaultThreading=7 connections\nMinimumChunkSize=\n");
    EXPECT_EQ(m_settings->defaultConcurrency(), 1);
    EXPECT_EQ(m_settings->defaultThreading(), 10);
    EXPECT_EQ(m_settings->minimumChunkSize(), 1024);
}

TEST_F(SettingsTest, WhatCanNotBeReadCountsAsTheDefaultAndStaysInTheFile) {
    store("AutoQuitWhenTransfersComplete=maybe\nAutoStartAfterAdd=yes\nCustomUserAgent=Agent, with a comma\n"
          "Metrics=none\nMinimumChunkSize=1k\nShowDockProgress=off\nShowDockSpeed=@Variant(x)\n");
    EXPECT_FALSE(m_settings->autoQuitWhenTransfersComplete());
    EXPECT_TRUE(m_settings->autoStartAfterAdd());
    EXPECT_EQ(m_settings->customUserAgent(), "com.unregistered.Tarvo");
    EXPECT_TRUE(TRMetricsManager(*m_defaults).currentMetrics().empty());
    EXPECT_EQ(m_settings->minimumChunkSize(), 1024);
    EXPECT_FALSE(m_settings->showDockProgress());
    EXPECT_FALSE(m_settings->showDockSpeed());
    m_defaults->set(SettingKey::kDefaultThreading, 3);
    ASSERT_TRUE(m_defaults->flush());
    EXPECT_TRUE(test::has(test::contentOf(m_path), "AutoQuitWhenTransfersComplete=\"maybe\""));
}

TEST_F(SettingsTest, TheFolderIsThatOfTheUserUnlessAnAbsolutePathIsStored) {
    store("DefaultDirectory=~/Files\n");
    EXPECT_EQ(m_settings->defaultDirectory("/home/bob"), "/home/bob/Files");
    store("DefaultDirectory=relative\n");
    EXPECT_EQ(m_settings->defaultDirectory("/home/bob"), "/home/bob/Downloads");
}

TEST_F(SettingsTest, ACounterStopsAtItsEnd) {
    store("");
    TRMetricsManager metrics(*m_defaults);
    const std::int64_t most = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(metrics.incrementAndGet(Metric::kAppLaunches, most), most);
    EXPECT_EQ(metrics.incrementAndGet(Metric::kAppLaunches), most);
}

} // namespace tarvo
