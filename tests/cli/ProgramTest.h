// What the tests that run tarvo-get have in common: a home, a folder for its files, a server.
#pragma once

#include "Program.h"
#include "base/PosixDisk.h"
#include "storage/ProgressBundle.h"
#include "storage/ProgressFile.h"
#include "support/FaultServer.h"
#include "support/SampleData.h"

#include <gtest/gtest.h>

namespace tarvo::test {

class ProgramTest : public ::testing::Test {
protected:
    /// The arguments with those that every test wants: its folder, and no attempt after the first.
    std::vector<std::string> arguments(const std::vector<std::string>& own) const {
        std::vector<std::string> all{"--retries", "0", "-d", files};
        all.insert(all.end(), own.begin(), own.end());
        return all;
    }

    std::string file(const std::string& name = "sample.bin") const { return files + "/" + name; }

    std::string bundle(const std::string& name = "sample.bin") const { return file(name) + ".trdownload"; }

    /// Bytes that the record of an unfinished download claims; -1 when there is no record.
    static std::int64_t savedBytes(const std::string& bundleFolder) {
        PosixDisk disk;
        const auto state =
            ProgressFile(ProgressBundle::fromBundleDirectory(bundleFolder)->progressFile(), disk).readData();
        return state ? state->progressData->totalBytesDownloaded() : -1;
    }

    TemporaryFolder home;
    std::string files = home.path("files");
    FaultServer server;
};

} // namespace tarvo::test
