#include "remote/Verbs.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <QJsonDocument>
#include <unistd.h>

#include "base/Disk.h"
#include "base/Localized.h"
#include "base/Runloop.h"
#include "base/Settings.h"
#include "base/Text.h"
#include "cli/TerminalLines.h"
#include "remote/LogReader.h"
#include "remote/QueueClient.h"
#include "remote/RowChoice.h"
#include "remote/RowTable.h"
#include "remote/SettingsVerb.h"
#include "remote/Watch.h"

namespace tarvo {

namespace {

constexpr int kFailed = 1;
constexpr int kBadUsage = 2;

constexpr std::array<std::string_view, 12> kVerbs{"list",   "status", "add",  "start", "pause",    "resume",
                                                  "remove", "retry",  "move", "log",   "settings", "watch"};

using Texts = std::vector<std::string>;

void complain(const Error& error) {
    std::cerr << "tarvo: " << error.sentence() << "\n";
}

int statusOf(const Result<void>& done) {
    if (done)
        return EXIT_SUCCESS;
    complain(done.error());
    return kFailed;
}

void printJson(const QJsonObject& object) {
    std::cout << QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString() << "\n";
}

int widthOfOutput() {
    return ::isatty(STDOUT_FILENO) != 0 ? terminalSize().columns : 0;
}

/// An address stays what it is; a path becomes one that is good in any folder.
Result<QString> forAnyFolder(const std::string& text) {
    if (text.find("://") != std::string::npos)
        return QString::fromStdString(text);
    const auto path = absolutePath(text);
    if (!path)
        return tl::unexpected(path.error());
    return QString::fromStdString(*path);
}

class Verbs {
public:
    /// Declares the verbs; each, when it was parsed, leaves in `chosen` what is to be done.
    void describe(CLI::App& app);

    std::function<int()> chosen;

private:
    CLI::App* verb(CLI::App& app, const char* name, const char* meaning, int (Verbs::*run)());
    CLI::App* verbOnRows(CLI::App& app, const char* name, const char* meaning, int (Verbs::*run)());

    int list();
    int status();
    int add();

    int start() { return onQueueOrRows("Start", "ResumeRows"); }

    int pause() { return onQueueOrRows("Pause", "PauseRows"); }

    int resume() { return onRows("ResumeRows"); }

    int remove() { return onRows("RemoveRows", {m_isWithData}); }

    int retry() { return onRows("RetryRows"); }

    int move() { return onRows("MoveRows", {QString::fromStdString(m_place)}); }

    int log() { return printLog(m_lines, m_isFollowing); }

    int settings() { return runSettings({m_key, m_value, m_isReset, m_isJson}, m_client); }

    int watch() { return watchQueue(m_client, m_isJson); }

    int onQueueOrRows(const char* ofQueue, const char* ofRows) {
        return m_which.empty() ? statusOf(m_client.call(ofQueue)) : onRows(ofRows);
    }

    int onRows(const char* method, const QVariantList& more = {});

    QueueClient m_client{DesktopBus::sessionAddress()};
    Texts m_which;
    Texts m_links;
    std::string m_folder;
    std::int64_t m_connections = 0;
    std::string m_place;
    std::string m_key;
    std::optional<std::string> m_value;
    std::size_t m_lines = 50;
    bool m_isJson = false;
    bool m_isOnlyNames = false;
    bool m_isStarting = false;
    bool m_isNotStarting = false;
    bool m_isWithData = false;
    bool m_isFollowing = false;
    bool m_isReset = false;
};

CLI::App* Verbs::verb(CLI::App& app, const char* name, const char* meaning, int (Verbs::*run)()) {
    auto* sub = app.add_subcommand(name, meaning);
    sub->callback([this, run] { chosen = [this, run] { return std::invoke(run, *this); }; });
    return sub;
}

CLI::App* Verbs::verbOnRows(CLI::App& app, const char* name, const char* meaning, int (Verbs::*run)()) {
    auto* sub = verb(app, name, meaning, run);
    sub->add_option("rows", m_which, "Numbers (3, 3-7), states (failed), names, or all")->type_name("ROW");
    return sub;
}

void Verbs::describe(CLI::App& app) {
    app.require_subcommand(1);
    auto* list = verbOnRows(app, "list", "Print the rows of the queue", &Verbs::list);
    list->add_flag("--json", m_isJson, "Print one JSON object a row");
    list->add_flag("--names", m_isOnlyNames, "Print only each row's number and name, with a tab between");
    verb(app, "status", "Print what the queue does", &Verbs::status)
        ->add_flag("--json", m_isJson, "Print one JSON object");
    auto* add = verb(app, "add", "Add addresses and unfinished downloads", &Verbs::add);
    add->add_option("links", m_links, "Addresses, or .trdownload bundles")
        ->type_name("URL|BUNDLE")
        ->required();
    add->add_option("-d,--directory", m_folder, "Folder for the files")->type_name("DIR");
    add->add_option("-x,--connections", m_connections, "Connections for each file")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{1}, kMostConnections));
    auto* now = add->add_flag("--start", m_isStarting, "Start the queue");
    add->add_flag("--no-start", m_isNotStarting, "Leave the queue as it is")->excludes(now);
    verbOnRows(app, "start", "Start the queue, or rows", &Verbs::start);
    verbOnRows(app, "pause", "Pause the queue, or rows", &Verbs::pause);
    verbOnRows(app, "resume", "Resume rows", &Verbs::resume)->get_option("rows")->required();
    auto* remove = verbOnRows(app, "remove", "Take rows out of the queue", &Verbs::remove);
    remove->get_option("rows")->required();
    remove->add_flag("--data", m_isWithData, "Delete their files, too, without a question");
    verbOnRows(app, "retry", "Try rows again", &Verbs::retry)->get_option("rows")->required();
    auto* move = verb(app, "move", "Move rows", &Verbs::move);
    move->add_option("place", m_place, "top, up, down or bottom")
        ->type_name("PLACE")
        ->required()
        ->check(CLI::IsMember({"top", "up", "down", "bottom"}));
    move->add_option("rows", m_which, "Numbers (3, 3-7), states (failed), names, or all")
        ->type_name("ROW")
        ->required();
    auto* log = verb(app, "log", "Print the end of the log", &Verbs::log);
    log->add_option("-n,--lines", m_lines, "Lines")->type_name("N")->capture_default_str();
    log->add_flag("-f,--follow", m_isFollowing, "Go on with what comes");
    auto* settings = verb(app, "settings", "Print settings, or change one", &Verbs::settings);
    settings->add_option("key", m_key, "The setting; without it all are printed")->type_name("KEY");
    settings->add_option("value", m_value, "What it is to be from now on")->type_name("VALUE");
    settings->add_flag("--reset", m_isReset, "Put the setting back to its default");
    settings->add_flag("--json", m_isJson, "Print one JSON object a setting");
    verb(app, "watch", "Show the queue while it works, until q or Ctrl-C", &Verbs::watch)
        ->add_flag("--json", m_isJson, "Print one JSON object a change");
}

int Verbs::list() {
    const auto all = m_client.list();
    const auto rows = all && !m_which.empty() ? chosenRows(*all, m_which) : all;
    if (!rows) {
        complain(rows.error());
        return kFailed;
    }
    for (const auto& row : *rows) {
        if (m_isOnlyNames)
            std::cout << row.number << "\t" << shown(row.name.toStdString()) << "\n";
        else if (m_isJson)
            printJson(jsonOf(row));
    }
    if (m_isJson || m_isOnlyNames)
        return EXIT_SUCCESS;
    if (rows->isEmpty())
        std::cout << localized(m_which.empty() ? "tr.remote.empty" : "tr.remote.no-rows") << "\n";
    for (const auto& line : rowTable(*rows, widthOfOutput()))
        std::cout << line << "\n";
    return EXIT_SUCCESS;
}

int Verbs::status() {
    const auto properties = m_client.properties();
    if (!properties) {
        complain(properties.error());
        return kFailed;
    }
    if (m_isJson)
        printJson(QJsonObject::fromVariantMap(*properties));
    else
        for (const auto& line : statusLines(*properties))
            std::cout << line << "\n";
    return EXIT_SUCCESS;
}

int Verbs::add() {
    QStringList what;
    for (const auto& link : m_links) {
        const auto whole = forAnyFolder(link);
        if (!whole)
            return statusOf(tl::unexpected(whole.error()));
        what.push_back(*whole);
    }
    QVariantMap options;
    if (!m_folder.empty()) {
        const auto folder = absolutePath(m_folder);
        if (!folder)
            return statusOf(tl::unexpected(folder.error()));
        options["folder"] = QString::fromStdString(*folder);
    }
    if (m_connections > 0)
        options["connections"] = static_cast<qlonglong>(m_connections);
    if (m_isStarting || m_isNotStarting)
        options["start"] = m_isStarting;
    const auto answers = m_client.add(what, options);
    if (!answers)
        return statusOf(tl::unexpected(answers.error()));
    int status = EXIT_SUCCESS;
    for (qsizetype i = 0; i < std::min(answers->size(), what.size()); ++i) {
        const AddAnswer& answer = answers->at(i);
        const std::string link = shown(what[i].toStdString());
        if (answer.outcome != QLatin1String("refused")) {
            const bool isTaken = answer.outcome == QLatin1String("taken");
            std::cout << localized(isTaken ? "tr.get.taken" : "tr.get.already-there", {link}) << "\n";
            continue;
        }
        status = kFailed;
        complain(Error::tarvo(localized("tr.start.not-taken", {link, answer.reason.toStdString()})));
    }
    return status;
}

int Verbs::onRows(const char* method, const QVariantList& more) {
    const auto all = m_client.list();
    const auto rows = all ? chosenRows(*all, m_which) : all;
    if (!rows) {
        complain(rows.error());
        return kFailed;
    }
    RowNumberList numbers;
    for (const auto& row : *rows)
        numbers.push_back(row.number);
    if (numbers.isEmpty())
        return EXIT_SUCCESS;
    return statusOf(m_client.call(method, QVariantList{QVariant::fromValue(numbers)} + more));
}

} // namespace

bool isVerb(std::string_view text) {
    return std::find(kVerbs.begin(), kVerbs.end(), text) != kVerbs.end();
}

int runVerb(int argc, const char* const* argv) {
    Runloop::assertMain();
    CLI::App app("Sees and steers the queue of the application that runs.", "tarvo");
    Verbs verbs;
    verbs.describe(app);
    try { // the one library here that tells its results by exceptions
        app.parse(argc, argv);
    } catch (const CLI::Success& end) {
        return app.exit(end);
    } catch (const CLI::ParseError& problem) {
        std::cerr << "tarvo: " << problem.what() << "\n"
                  << localized("tr.remote.try-help", {argv[1]}) << "\n";
        return kBadUsage;
    }
    const int status = verbs.chosen();
    std::cout.flush();
    return std::cout ? status : kFailed;
}

} // namespace tarvo
