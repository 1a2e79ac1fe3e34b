// A folder of a test's own, gone when the test ends.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tarvo::test {

class TemporaryFolder {
public:
    explicit TemporaryFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::string pattern = (parent / "tarvo-test-XXXXXX").string();
        m_path = ::mkdtemp(pattern.data());
    }

    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return m_path; }

    std::string path(const std::string& name) const { return m_path + "/" + name; }

    /// Writes a file below the folder and answers its path.
    std::string write(const std::string& name, const std::string& content) const {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }

private:
    std::string m_path;
};

/// The whole content of a file, empty when there is none.
inline std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The contents of all files in a folder, one behind the other.
inline std::string contentOfAll(const std::string& folder) {
    std::string content;
    std::error_code none;
    for (const auto& file : std::filesystem::directory_iterator(folder, none))
        content += contentOf(file.path());
    return content;
}

} // namespace tarvo::test
