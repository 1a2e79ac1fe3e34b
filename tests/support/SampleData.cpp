// One table of random words for a block, and one random key for each block: a block costs one XOR a word.
#include "support/SampleData.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <vector>

#include <QCryptographicHash>
#include <spdlog/fmt/fmt.h>

namespace tarvo::test {
namespace {

constexpr std::int64_t kBlock = 4096;
constexpr std::size_t kWords = kBlock / sizeof(std::uint64_t);
constexpr std::int64_t kStreamed = 262'144;

/// Spreads every bit of a number over the whole word (two rounds of multiply and fold).
constexpr std::uint64_t scatter(std::uint64_t number) {
    number = (number + 0x9e3779b97f4a7c15) * 0xbf58476d1ce4e5b9;
    number = (number ^ (number >> 29)) * 0x94d049bb133111eb;
    return number ^ (number >> 32);
}

constexpr auto kTable = [] {
    std::array<std::uint64_t, kWords> words{};
    for (std::size_t i = 0; i < kWords; ++i)
        words[i] = scatter(i << 40);
    return words;
}();

void fillBlock(std::int64_t number, char* bytes) {
    const std::uint64_t key = scatter(static_cast<std::uint64_t>(number));
    for (std::size_t i = 0; i < kWords; ++i) {
        const std::uint64_t word = kTable[i] ^ key;
        std::memcpy(bytes + i * sizeof word, &word, sizeof word);
    }
}

template <class Take>
void forEachPiece(std::int64_t size, std::int64_t version, Take take) {
    std::vector<char> buffer(kStreamed);
    for (std::int64_t offset = 0; offset < size; offset += kStreamed) {
        const std::span<char> bytes(buffer.data(),
                                    static_cast<std::size_t>(std::min(kStreamed, size - offset)));
        fillSample(offset, bytes, version);
        take(bytes);
    }
}

} // namespace

void fillSample(std::int64_t offset, std::span<char> bytes, std::int64_t version) {
    std::array<char, kBlock> partial;
    const std::span<char> all = bytes;
    while (!bytes.empty()) {
        const auto inBlock = static_cast<std::size_t>(offset % kBlock);
        const std::size_t count = std::min(bytes.size(), kBlock - inBlock);
        if (count == kBlock) {
            fillBlock(offset / kBlock, bytes.data());
        } else {
            fillBlock(offset / kBlock, partial.data());
            std::memcpy(bytes.data(), partial.data() + inBlock, count);
        }
        bytes = bytes.subspan(count);
        offset += static_cast<std::int64_t>(count);
    }
    if (version != 0)
        std::for_each(all.begin(), all.end(), [&](char& byte) { byte = static_cast<char>(byte ^ version); });
}

std::string sample(std::int64_t offset, std::int64_t length) {
    std::string bytes(static_cast<std::size_t>(length), '\0');
    fillSample(offset, bytes);
    return bytes;
}

std::string sampleSha256(std::int64_t size) {
    QCryptographicHash hash(QCryptographicHash::Sha256);
    forEachPiece(size, 0, [&](std::span<const char> bytes) {
        hash.addData({bytes.data(), std::ssize(bytes)});
    });
    return hash.result().toHex().toStdString();
}

void writeSampleFile(const std::string& path, std::int64_t size, std::int64_t version) {
    std::ofstream file(path, std::ios::binary);
    forEachPiece(size, version, [&](std::span<const char> bytes) {
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    });
}

std::string fileIsSample(const std::string& path, std::int64_t size, std::int64_t version) {
    std::ifstream file(path, std::ios::binary);
    std::string problem = file ? "" : "can't open " + path;
    std::int64_t offset = 0;
    forEachPiece(size, version, [&](std::span<const char> right) {
        std::vector<char> actual(right.size());
        if (!problem.empty() || (file.read(actual.data(), std::ssize(actual)), file.gcount() == 0))
            return;
        const auto end = actual.begin() + file.gcount();
        const auto wrong = std::mismatch(actual.begin(), end, right.begin()).first;
        offset += wrong - actual.begin();
        if (wrong != end)
            problem = fmt::format("{}: wrong at byte {}", path, offset);
    });
    if (problem.empty() && offset < size)
        problem = fmt::format("{}: ends at byte {} of {}", path, offset, size);
    if (problem.empty() && file.peek() != std::ifstream::traits_type::eof())
        problem = fmt::format("{}: goes on after its {} bytes", path, size);
    return problem;
}

} // namespace tarvo::test
