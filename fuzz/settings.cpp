// Feeds the settings file. Whatever it says, settings with a range are read within it and the folder is an
// absolute path; and texts, lists of texts and bytes are the same after they were written and read again.
#include "Fuzz.h"

#include <QMetaType>

#include "app/SettingsTable.h"
#include "base/IniFile.h"
#include "base/PosixDisk.h"
#include "base/Settings.h"
#include "support/TemporaryFolder.h"

using namespace tarvo;
using fuzz::require;

namespace {

bool comesBackAsItIs(const QVariant& value) {
    const int type = value.metaType().id();
    return type == QMetaType::QString || type == QMetaType::QStringList || type == QMetaType::QByteArray;
}

void checkSettings(const std::string& path) {
    PosixDisk disk;
    UserDefaults defaults(path, disk);
    registerDefaultSettings(defaults);
    const Settings settings(defaults);
    require(settings.defaultConcurrency() >= 1, "there is at least one download at once");
    require(settings.defaultThreading() >= 1 && settings.defaultThreading() <= kMostConnections,
            "connections are 1 to 64");
    require(settings.minimumChunkSize() >= 1, "a segment has at least a byte");
    require(settings.defaultDirectory("/home/somebody").starts_with('/'), "the folder is an absolute path");
    (void)settings.applicationMode();
    for (const Setting& setting : settingsTable()) {
        (void)defaults.data(setting.key);
        (void)defaults.boolean(setting.key);
        (void)defaults.counters(setting.key);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::TemporaryFolder folder;
    static std::uint64_t number =
        0; // Qt knows a file again by name, size and time, and then does not read it
    const std::string name = std::to_string(++number);
    const std::string path = folder.write(name, std::string(reinterpret_cast<const char*>(data), size));
    checkSettings(path);

    const auto content = readIniFile(path);
    require(content.has_value(), "a file that is there can be read");
    const std::string copy = folder.write(name + ".copy", iniText(content->values));
    const auto again = readIniFile(copy);
    require(again && again->isWhole, "what was written can be read");
    require(again->values.size() == content->values.size(), "no key is lost");
    for (const auto& [key, value] : content->values) {
        const auto found = again->values.find(key);
        require(found != again->values.end(), "a key stays: " + key);
        require(!comesBackAsItIs(value) || found->second == value, "a value stays");
    }
    ::unlink(path.c_str());
    ::unlink(copy.c_str());
    return 0;
}
