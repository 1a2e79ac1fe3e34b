// Settings whose file takes its time.
#pragma once

#include "base/PosixDisk.h"

#include <gtest/gtest.h>

namespace tarvo::test {

/// A flush of the settings at `path` waits, as for another program that writes them, until the answer is
/// closed.
inline FileHandle holdUpFlushes(const std::string& path) {
    PosixDisk disk;
    auto file = disk.openOrCreate(path + ".lock");
    EXPECT_TRUE(file && disk.lockExclusively(file->descriptor(), path));
    return file ? std::move(*file) : FileHandle();
}

} // namespace tarvo::test
