#include "rows/RecentFolders.h"

#include <algorithm>

#include <QByteArray>
#include <QByteArrayList>

#include "base/SettingKeys.h"

namespace tarvo {

namespace {

constexpr std::size_t kMostFolders = 8;
constexpr char kEndOfPath = '\0'; // the one byte that no path holds

} // namespace

std::vector<std::string> recentFoldersIn(const UserDefaults& defaults) {
    std::vector<std::string> folders;
    const QByteArray stored = QByteArray::fromStdString(defaults.data(SettingKey::kRecentFolders));
    for (const auto& path : stored.split(kEndOfPath)) {
        if (path.startsWith('/') && folders.size() < kMostFolders)
            folders.push_back(path.toStdString());
    }
    return folders;
}

void keepRecentFolder(UserDefaults& defaults, const std::string& folder) {
    auto folders = recentFoldersIn(defaults);
    std::erase(folders, folder);
    folders.insert(folders.begin(), folder);
    folders.resize(std::min(folders.size(), kMostFolders));
    QByteArrayList paths;
    for (const auto& path : folders)
        paths.append(QByteArray::fromStdString(path));
    defaults.set(SettingKey::kRecentFolders, paths.join(kEndOfPath));
}

} // namespace tarvo
