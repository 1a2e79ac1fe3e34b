#include "rows/OpenRules.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tarvo {

namespace {

/// By the names of the shared MIME database: what a desktop, a shell or a virtual machine runs.
constexpr std::array<std::string_view, 17> kPrograms{"application/x-executable",
                                                     "application/x-sharedlib",
                                                     "application/x-pie-executable",
                                                     "application/x-desktop",
                                                     "application/x-shellscript",
                                                     "application/x-perl",
                                                     "application/x-ruby",
                                                     "application/x-msdownload",
                                                     "application/x-msi",
                                                     "application/x-ms-dos-executable",
                                                     "application/vnd.microsoft.portable-executable",
                                                     "application/x-java-archive",
                                                     "application/java-archive",
                                                     "application/vnd.appimage",
                                                     "application/x-iso9660-appimage",
                                                     "text/x-python",
                                                     "application/x-bat"};

constexpr std::array<std::string_view, 5> kMedia{"image/", "audio/", "video/", "font/", "application/pdf"};

} // namespace

Opening howToOpen(const FileKind& file) {
    if (!file.exists)
        return Opening::missing;
    const auto isProgram = [](const std::string& type) {
        return std::find(kPrograms.begin(), kPrograms.end(), type) != kPrograms.end();
    };
    const auto isMedia = [](const std::string& type) {
        return std::any_of(kMedia.begin(), kMedia.end(),
                           [&](std::string_view media) { return type.starts_with(media); });
    };
    const auto& types = file.mimeTypes;
    if (std::any_of(types.begin(), types.end(), isProgram))
        return Opening::showOnly;
    const bool isHarmless = std::any_of(types.begin(), types.end(), isMedia);
    return file.isExecutable && !isHarmless ? Opening::showOnly : Opening::open;
}

} // namespace tarvo
