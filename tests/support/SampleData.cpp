// One table of random words for a block, and one random key for each block: a block costs one XOR a word.
#include "support/SampleData.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include <openssl/evp.h>
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

std::string firstDifference(std::int64_t offset, std::span<const char> actual,
                            std::span<const char> expected) {
    const auto differing = std::mismatch(actual.begin(), actual.end(), expected.begin()).first;
    const auto index = static_cast<std::size_t>(differing - actual.begin());
    const auto zeros = std::find_if(differing, actual.end(), [](char byte) { return byte != 0; }) - differing;
    return fmt::format("byte {} is {:#04x}, not {:#04x}{}", offset + static_cast<std::int64_t>(index),
                       static_cast<unsigned char>(actual[index]), static_cast<unsigned char>(expected[index]),
                       zeros >= 16 ? " (zeros from there on: never written?)" : "");
}

template <class Take>
void forEachPiece(std::int64_t size, Take take) {
    std::vector<char> buffer(kStreamed);
    for (std::int64_t offset = 0; offset < size; offset += kStreamed) {
        const std::span<char> bytes(buffer.data(),
                                    static_cast<std::size_t>(std::min(kStreamed, size - offset)));
        fillSample(offset, bytes);
        take(bytes);
    }
}

} // namespace

void fillSample(std::int64_t offset, std::span<char> bytes) {
    std::array<char, kBlock> partial;
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
}

std::string sample(std::int64_t offset, std::int64_t length) {
    std::string bytes(static_cast<std::size_t>(length), '\0');
    fillSample(offset, bytes);
    return bytes;
}

std::string sampleSha256(std::int64_t size) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
    forEachPiece(size, [&](std::span<const char> bytes) {
        EVP_DigestUpdate(context.get(), bytes.data(), bytes.size());
    });
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    EVP_DigestFinal_ex(context.get(), digest.data(), &length);
    std::string digits;
    for (unsigned i = 0; i < length; ++i)
        digits += fmt::format("{:02x}", digest[i]);
    return digits;
}

void writeSampleFile(const std::string& path, std::int64_t size) {
    std::ofstream file(path, std::ios::binary);
    forEachPiece(size, [&](std::span<const char> bytes) {
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    });
}

std::string fileIsSample(const std::string& path, std::int64_t size) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return "can't open " + path;
    std::vector<char> actual(kStreamed);
    std::vector<char> expected(kStreamed);
    std::int64_t offset = 0;
    while (offset < size) {
        const std::int64_t wanted = std::min(kStreamed, size - offset);
        file.read(actual.data(), wanted);
        const auto count = static_cast<std::size_t>(file.gcount());
        const std::span<char> right(expected.data(), count);
        fillSample(offset, right);
        if (std::memcmp(actual.data(), expected.data(), count) != 0)
            return path + ": " + firstDifference(offset, {actual.data(), count}, right);
        offset += static_cast<std::int64_t>(count);
        if (file.gcount() < wanted)
            return fmt::format("{}: ends at byte {} of {}", path, offset, size);
    }
    if (file.peek() != std::ifstream::traits_type::eof())
        return fmt::format("{}: goes on after its last byte: {} instead of {} bytes", path,
                           std::filesystem::file_size(path), size);
    return {};
}

} // namespace tarvo::test
