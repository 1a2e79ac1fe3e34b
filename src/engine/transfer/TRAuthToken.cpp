// Finds the key pair in the folder that the user chose.
#include "engine/transfer/TRAuthToken.h"

#include <filesystem>
#include <system_error>

namespace tarvo {

namespace fs = std::filesystem;

std::optional<std::string> TRAuthToken::sshDir() const {
    const fs::path folder(m_sshDirectoryBookmark);
    std::error_code ignored;
    if (!folder.is_absolute() || !fs::is_directory(folder, ignored))
        return std::nullopt;
    return m_sshDirectoryBookmark;
}

std::optional<std::string> TRAuthToken::privKey() const {
    const auto folder = sshDir();
    if (!folder)
        return std::nullopt;
    std::optional<std::string> key;
    std::error_code problem;
    for (fs::directory_iterator entry(*folder, problem), end; !problem && entry != end;
         entry.increment(problem)) {
        const fs::path name = entry->path().filename();
        std::error_code ignored;
        if ((name == "id_rsa" || name == "id_dsa") && !entry->is_directory(ignored))
            key = entry->path().string();
    }
    return key;
}

std::optional<std::string> TRAuthToken::pubKey() const {
    auto key = privKey();
    if (key)
        key->append(".pub");
    return key;
}

} // namespace tarvo
