// Every setting has its default, and no stored nonsense gets through to the engine.
#include "app/SettingsTable.h"

#include <limits>

#include <gtest/gtest.h>

#include "app/TRMetricsManager.h"
#include "base/PosixDisk.h"
#include "base/SettingKeys.h"
#include "base/Settings.h"
#include "support/TemporaryFolder.h"

namespace tarvo {

namespace {

class SettingsTest : public ::testing::Test {
protected:
    SettingsTest() { registerDefaultSettings(m_defaults); }

    void store(const std::string& lines) {
        m_folder.write("other.conf", "[General]\n" + lines);
        m_defaultsFromFile = std::make_unique<UserDefaults>(m_folder.path("other.conf"), m_disk);
        registerDefaultSettings(*m_defaultsFromFile);
        m_settings = std::make_unique<Settings>(*m_defaultsFromFile);
    }

    test::TemporaryFolder m_folder;
    PosixDisk m_disk;
    UserDefaults m_defaults{m_folder.path("tarvo.conf"), m_disk};
    std::unique_ptr<UserDefaults> m_defaultsFromFile;
    std::unique_ptr<Settings> m_settings = std::make_unique<Settings>(m_defaults);
};

} // namespace

TEST_F(SettingsTest, WithoutStoredValuesTheDefaultsAreRead) {
    EXPECT_EQ(m_settings->defaultDirectory("/home/bob"), "/home/bob/Downloads");
    EXPECT_EQ(m_settings->defaultConcurrency(), 1);
    EXPECT_EQ(m_settings->defaultThreading(), 10);
    EXPECT_EQ(m_settings->minimumChunkSize(), 1024);
    EXPECT_EQ(m_settings->applicationMode(), ApplicationMode::dockAndMenuBar);
    EXPECT_EQ(m_settings->customUserAgent(), "com.unregistered.Tarvo");
    EXPECT_EQ(m_defaults.string(SettingKey::kHasStartupCrash), std::nullopt)
        << "written by the program, not registered";
}

TEST_F(SettingsTest, NumbersOutOfRangeCountAsTheNearestAndWordsAsTheDefault) {
    store("DefaultConcurrency=0\nDefaultThreading=65\nMinimumChunkSize=-5\n");
    EXPECT_EQ(m_settings->defaultConcurrency(), 1);
    EXPECT_EQ(m_settings->defaultThreading(), 64);
    EXPECT_EQ(m_settings->minimumChunkSize(), 1);
    store("DefaultConcurrency=many\nDefaultThreading=99999999999999999999\nMinimumChunkSize=4096\n");
    EXPECT_EQ(m_settings->defaultConcurrency(), 1);
    EXPECT_EQ(m_settings->defaultThreading(), 64);
    EXPECT_EQ(m_settings->minimumChunkSize(), 4096);
    store("DefaultThreading=7 connections\nMinimumChunkSize=\n");
    EXPECT_EQ(m_settings->defaultThreading(), 10);
    EXPECT_EQ(m_settings->minimumChunkSize(), 1024);
}

TEST_F(SettingsTest, WhatCanNotBeReadCountsAsTheDefaultAndStaysInTheFile) {
    const std::string lines = "AutoQuitWhenTransfersComplete=maybe\nAutoStartAfterAdd=yes\n"
                              "CustomUserAgent=Agent, with a comma\nDefaultConcurrency=1, 2\n"
                              "Metrics=none\nMinimumChunkSize=1k\nShowDockProgress=off\n"
                              "ShowDockSpeed=@Variant(x)\nOfTheFuture=[1]\n";
    store(lines);
    EXPECT_FALSE(m_settings->autoQuitWhenTransfersComplete());
    EXPECT_TRUE(m_settings->autoStartAfterAdd());
    EXPECT_EQ(m_settings->customUserAgent(), "com.unregistered.Tarvo");
    EXPECT_EQ(m_settings->defaultConcurrency(), 1);
    EXPECT_TRUE(TRMetricsManager(*m_defaultsFromFile).currentMetrics().empty());
    EXPECT_EQ(m_settings->minimumChunkSize(), 1024);
    EXPECT_FALSE(m_settings->showDockProgress());
    EXPECT_FALSE(m_settings->showDockSpeed());
    m_defaultsFromFile->set(SettingKey::kDefaultThreading, 3);
    ASSERT_TRUE(m_defaultsFromFile->flush());
    UserDefaults again(m_folder.path("other.conf"), m_disk);
    EXPECT_EQ(again.string(SettingKey::kAutoQuitWhenTransfersComplete), "maybe");
    EXPECT_EQ(again.string(SettingKey::kMinimumChunkSize), "1k");
    EXPECT_EQ(again.string("OfTheFuture"), "[1]");
}

TEST_F(SettingsTest, FoldersAndModes) {
    store("DefaultDirectory=~/Files\nApplicationMode=Menu Bar Only\n");
    EXPECT_EQ(m_settings->defaultDirectory("/home/bob"), "/home/bob/Files");
    EXPECT_EQ(m_settings->applicationMode(), ApplicationMode::menuBarOnly);
    store("DefaultDirectory=relative\nApplicationMode=dock only\n");
    EXPECT_EQ(m_settings->defaultDirectory("/home/bob"), "/home/bob/Downloads");
    EXPECT_EQ(m_settings->applicationMode(), ApplicationMode::dockAndMenuBar);
}

TEST_F(SettingsTest, CountersOutliveTheProgram) {
    TRMetricsManager metrics(m_defaults);
    EXPECT_EQ(metrics.integerValueFor(Metric::kAppLaunches), 0);
    EXPECT_EQ(metrics.incrementAndGet(Metric::kAppLaunches), 1);
    EXPECT_EQ(metrics.incrementAndGet(Metric::kAppLaunches, -3), -2);
    EXPECT_TRUE(metrics.setIf(-7, Metric::kLastRated)) << "a missing counter is below any value";
    EXPECT_FALSE(metrics.setIf(-7, Metric::kLastRated));
    EXPECT_TRUE(metrics.setIf(std::numeric_limits<std::int64_t>::max(), Metric::kLastRated));
    EXPECT_EQ(metrics.incrementAndGet(Metric::kLastRated), std::numeric_limits<std::int64_t>::max());
    ASSERT_TRUE(m_defaults.flush());
    UserDefaults again(m_folder.path("tarvo.conf"), m_disk);
    const std::map<std::string, std::int64_t> kept{{"AppLaunches", -2},
                                                   {"LastRated", std::numeric_limits<std::int64_t>::max()}};
    EXPECT_EQ(TRMetricsManager(again).currentMetrics(), kept);
}

} // namespace tarvo
