#include "app/FolderLook.h"

#include <filesystem>
#include <utility>

#include <QPointer>
#include <unistd.h>

#include "base/Runloop.h"

namespace tarvo {

FolderFacts factsOfFolder(const std::string& path, Disk& disk) {
    if (!path.starts_with('/'))
        return {};
    const auto canWrite = [](const std::string& folder) {
        return ::access(folder.c_str(), W_OK | X_OK) == 0;
    };
    std::error_code problem;
    FolderFacts facts{.isFolder = std::filesystem::is_directory(path, problem)};
    facts.isWritable = facts.isFolder && canWrite(path);
    std::string nearest = path;
    while (!Disk::exists(nearest) && nearest != "/")
        nearest = folderOf(nearest);
    facts.canBeMade = nearest != path && std::filesystem::is_directory(nearest, problem) && canWrite(nearest);
    facts.freeBytes = disk.freeSpace(nearest);
    return facts;
}

void FolderLook::ask(const std::string& path, QObject& context,
                     std::function<void(const FolderFacts&)> told) {
    Runloop::assertMain();
    m_looks.async([&disk = m_disk, path, context = QPointer(&context), told = std::move(told)] {
        const FolderFacts facts = factsOfFolder(path, disk);
        Runloop::runOnMainLater([context, told, facts] {
            if (context)
                told(facts);
        });
    });
}

} // namespace tarvo
