#include "app/CrashReports.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <regex>
#include <sstream>

#include <curl/curl.h>
#include <cxxabi.h>
#include <unistd.h>

#include <QDateTime>
#include <QSysInfo>

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "base/StateFolder.h"

namespace tarvo {

namespace fs = std::filesystem;

namespace {

// Names begin with the time, so that they sort by it. The user has not yet been told of the new ones.
constexpr std::string_view kNew = ".new.txt";
constexpr std::string_view kTold = ".txt";

std::string now(const char* format) {
    return QDateTime::currentDateTimeUtc().toString(QString::fromLatin1(format)).toStdString();
}

/// `trace` with the functions' names as its writers know them ("_ZN5tarvo3runEv" is tarvo::run()).
std::string readable(const std::string& trace) {
    static const std::regex mangled("_Z\\w+");
    std::string text;
    auto rest = trace.cbegin();
    for (std::sregex_iterator name(trace.begin(), trace.end(), mangled), end; name != end; ++name) {
        const std::unique_ptr<char, decltype(&std::free)> plain(
            abi::__cxa_demangle(name->str().c_str(), nullptr, nullptr, nullptr), &std::free);
        text.append(rest, (*name)[0].first).append(plain ? plain.get() : name->str());
        rest = (*name)[0].second;
    }
    return text.append(rest, trace.cend());
}

} // namespace

std::string CrashReports::standardFolder() {
    return stateFolder() + "/crashes";
}

Result<void> CrashReports::write(const std::string& trace, const TRLoggingManager& logging) {
    std::ostringstream text;
    text << "Tarvo " TARVO_VERSION " crashed\n"
         << "Application: " << kApplicationIdentifier << "\nTime: " << now("yyyy-MM-ddTHH:mm:ssZ")
         << "\nSystem: " << QSysInfo::prettyProductName().toStdString() << ", "
         << QSysInfo::kernelType().toStdString() << " " << QSysInfo::kernelVersion().toStdString() << ", "
         << QSysInfo::currentCpuArchitecture().toStdString() << "\nLibraries: Qt " << qVersion() << ", "
         << ::curl_version() << "\n"
         << readable(trace) << "\nThe end of the log:\n"
         << logging.applicationLogForCrashManager().value_or("(empty)\n");
    if (auto made = m_disk.makeFolders(m_folder); !made)
        return made;
    auto names = namesOldestFirst();
    for (; names.size() >= kMostReports; names.erase(names.begin()))
        if (auto removed = m_disk.removeTree(m_folder + "/" + names.front()); !removed)
            return removed;
    const std::string name = now("yyyy-MM-ddTHH-mm-ss") + "-" + std::to_string(::getpid());
    return m_disk.replaceFile(m_folder + "/" + name + std::string(kNew), text.str());
}

std::vector<std::string> CrashReports::namesOldestFirst() const {
    std::vector<std::string> names;
    std::error_code problem;
    for (fs::directory_iterator entry(m_folder, problem), end; !problem && entry != end;
         entry.increment(problem)) {
        if (const std::string name = entry->path().filename(); name.ends_with(kTold))
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

void CrashReports::tellNews(UserNotices& notices) {
    Runloop::assertMain();
    std::string newest;
    for (const auto& name : namesOldestFirst()) {
        if (!name.ends_with(kNew))
            continue;
        const std::string path = m_folder + "/" + name;
        newest = path.substr(0, path.size() - kNew.size()) + std::string(kTold);
        if (const auto renamed = m_disk.renameNoReplace(path, newest); !renamed)
            newest = path; // and is told again
        Log::warning("The program has crashed before. What is known of that: {}", newest);
    }
    if (!newest.empty())
        notices.deliver(
            {localized("tr.crash-report.title"), localized("tr.crash-report.message", {newest}), false});
}

} // namespace tarvo
