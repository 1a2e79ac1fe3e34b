// The content of every file that the test servers serve: known at each offset without being stored.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tarvo::test {

/// Any thread may call any of these. Offsets and sizes are bytes, from 0; the content has no end and
/// doesn't repeat, so a block from the wrong offset is never taken for the right one.

/// Fills `bytes` with the content from `offset` on. Several gigabytes a second. Each version is another
/// content, different at every byte.
void fillSample(std::int64_t offset, std::span<char> bytes, std::int64_t version = 0);

/// The content of [offset, offset + length).
std::string sample(std::int64_t offset, std::int64_t length);

/// The SHA-256 of the first `size` bytes, in lower-case hexadecimal digits.
std::string sampleSha256(std::int64_t size);

/// Makes a file of the first `size` bytes, for servers that serve files.
void writeSampleFile(const std::string& path, std::int64_t size, std::int64_t version = 0);

/// Empty when the file holds exactly the first `size` bytes of the content, otherwise what is wrong
/// with it and at which offset first.
std::string fileIsSample(const std::string& path, std::int64_t size, std::int64_t version = 0);

} // namespace tarvo::test
