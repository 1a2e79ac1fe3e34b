#include "ui/MainWindowController.h"

#include <utility>

#include <QStatusBar>

#include "app/AddFailures.h"
#include "base/Runloop.h"
#include "base/SettingKeys.h"
#include "base/Settings.h"
#include "input/LinkLines.h"
#include "input/TRPasteboardExtractor.h"
#include "ui/PasteboardData.h"
#include "ui/Text.h"

namespace tarvo {

MainWindowController::MainWindowController(const WindowEnvironment& environment)
    : m_environment(environment), m_folders(environment.jobs.disk),
      m_direct(environment.queue, environment.jobs, environment.homeFolder, environment.alerts),
      m_window(environment) {
    QObject::connect(&m_window, &QueueWindow::dropped, &m_window,
                     [this](const Pasteboard& pasteboard) { acceptOrSay(pasteboard); });
    QObject::connect(m_window.actions().addFromClipboard, &QAction::triggered, &m_window,
                     [this] { acceptOrSay(clipboardContent()); });
    QObject::connect(m_window.actions().add, &QAction::triggered, &m_window, [this] { openAddSheet(); });
    QObject::connect(m_window.actions().preferences, &QAction::triggered, &m_window,
                     [this] { openPreferences(); });
    QObject::connect(&environment.queue, &QueueController::ended, &m_window, [this] { closeSheet(); });
}

MainWindowController::~MainWindowController() = default;

std::vector<AddOutcome> MainWindowController::addDownloadFromString(const std::string& text) {
    QueueController& queue = m_environment.queue;
    if (queue.hasEnded() || Settings(m_environment.defaults).skipAddSheetForNewDownloads())
        return m_direct.addDownloadFromString(text);
    std::vector<AddOutcome> outcomes;
    std::string wanted;
    const auto isKnown = [&](const std::string& identity) { return queue.isUnfinished(identity); };
    for (const auto& line : LinkReader().read(text, isKnown)) {
        outcomes.push_back({line.url ? AddOutcome::Kind::alreadyThere : AddOutcome::Kind::noLink});
        if (line.kind != LinkLine::Kind::good)
            continue;
        outcomes.back() = {}; // before the user to decide
        wanted += line.url->absoluteString() + "\n";
    }
    if (!wanted.empty()) {
        openAddSheet(wanted);
        storeDraft(m_sheet->links()); // which the caller believes to be in safe hands
    }
    return outcomes;
}

void MainWindowController::whenKept(std::function<void(bool kept)> done) {
    if (!std::exchange(m_isDraftNew, false))
        return m_direct.whenKept(std::move(done));
    m_settingsWriting.async([this, window = QPointer(&m_window), done = std::move(done)] {
        const bool isWritten = m_environment.defaults.flush();
        Runloop::runOnMainLater([this, window, done, isWritten] {
            if (window)
                m_direct.whenKept([done, isWritten](bool kept) { done(kept && isWritten); });
        });
    });
}

AddOutcome MainWindowController::addDownloadFromBundleFile(const std::string& bundle) {
    return m_direct.addDownloadFromBundleFile(bundle);
}

bool MainWindowController::acceptDrop(const Pasteboard& pasteboard) {
    const auto links = TRPasteboardExtractor::findURLsInPasteboard(pasteboard);
    if (links.empty() || m_environment.queue.hasEnded() ||
        Settings(m_environment.defaults).skipAddSheetForNewDownloads())
        return m_direct.acceptDrop(pasteboard);
    std::vector<AddOutcome> outcomes;
    for (const auto& bundle : TRPasteboardExtractor::findTarvoIncompleteFilesInPasteboard(pasteboard))
        outcomes.push_back(addDownloadFromBundleFile(bundle.localPath()));
    presentFailures(outcomes, m_environment.alerts);
    openAddSheet(TRPasteboardExtractor::textForPasting("\n", links) + "\n");
    return true;
}

/// What holds no link does no harm: a word in passing is enough.
void MainWindowController::acceptOrSay(const Pasteboard& pasteboard) {
    constexpr int shownMs = 6'000;
    if (!acceptDrop(pasteboard))
        m_window.statusBar()->showMessage(text("tr.add.no-link"), shownMs);
}

void MainWindowController::openAddSheet(std::string links) {
    Runloop::assertMain();
    if (!m_sheet) {
        // What stood in the sheet when the program ended, or was typed before it was left with Escape.
        std::string draft = m_environment.defaults.data(SettingKey::kAddSheetDraft);
        m_olderDraft = links.empty() ? std::string() : std::exchange(draft, {}); // for the next time
        const bool isWantedFilled = links.empty() && draft.empty();
        if (isWantedFilled && Settings(m_environment.defaults).autoPasteInAddSheet()) {
            for (const auto& link : TRPasteboardExtractor::findURLsInPasteboard(clipboardContent()))
                links += link + "\n";
        }
        m_sheet = new AddSheet(m_environment, m_folders, &m_window);
        QObject::connect(m_sheet, &QDialog::finished, &m_window, [this](int result) {
            if (!m_sheet)
                return;
            const bool isToBeKept = result == QDialog::Rejected && m_sheet->hasTyped();
            storeDraft(isToBeKept ? m_sheet->links() : std::string());
            writeSettings();
        });
        if (!draft.empty())
            m_sheet->append(draft, true);
        m_sheet->open();
    }
    if (!links.empty())
        m_sheet->append(links, false);
    m_sheet->raise();
    m_sheet->activateWindow();
}

void MainWindowController::openPreferences() {
    if (!m_preferences) {
        m_preferences =
            new PreferencesWindow(m_environment.defaults, m_folders, m_environment.homeFolder, &m_window);
        QObject::connect(m_preferences, &PreferencesWindow::stored, &m_window, [this] { writeSettings(); });
        m_preferences->show();
    }
    m_preferences->raise();
    m_preferences->activateWindow();
}

/// The program ends.
void MainWindowController::closeSheet() {
    if (!m_sheet)
        return;
    AddSheet& sheet = *std::exchange(m_sheet, nullptr);
    storeDraft(sheet.links());
    sheet.reject();
}

/// What stands in the sheet, in place of what stood there; empty: nothing.
void MainWindowController::storeDraft(const std::string& links) {
    auto& defaults = m_environment.defaults;
    const std::string draft = m_olderDraft + links + (links.empty() || links.ends_with('\n') ? "" : "\n");
    if (draft == defaults.data(SettingKey::kAddSheetDraft))
        return;
    if (draft.empty())
        defaults.remove(SettingKey::kAddSheetDraft);
    else
        defaults.set(SettingKey::kAddSheetDraft, QByteArray::fromStdString(draft));
    m_isDraftNew = !draft.empty();
}

/// Soon, and not here: the disk is waited for.
void MainWindowController::writeSettings() {
    m_settingsWriting.async([&defaults = m_environment.defaults] { defaults.flush(); });
}

void MainWindowController::bringToFront() {
    m_window.setWindowState(m_window.windowState() & ~Qt::WindowMinimized);
    m_window.show();
    m_window.raise();
    m_window.activateWindow();
}

} // namespace tarvo
