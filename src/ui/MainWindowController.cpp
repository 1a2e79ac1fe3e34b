#include "ui/MainWindowController.h"

#include <utility>

#include "app/AddFailures.h"
#include "base/Runloop.h"
#include "base/SettingKeys.h"
#include "base/Settings.h"
#include "input/LinkLines.h"
#include "input/TRPasteboardExtractor.h"
#include "ui/PasteboardData.h"

namespace tarvo {

MainWindowController::MainWindowController(const WindowEnvironment& environment)
    : m_environment(environment), m_folders(environment.jobs.disk),
      m_direct(environment.queue, environment.jobs, environment.homeFolder, environment.alerts),
      m_window(environment) {
    QObject::connect(&m_window, &QueueWindow::dropped, &m_window,
                     [this](const Pasteboard& pasteboard) { acceptDrop(pasteboard); });
    QObject::connect(m_window.actions().addFromClipboard, &QAction::triggered, &m_window,
                     [this] { acceptDrop(clipboardContent()); });
    QObject::connect(m_window.actions().add, &QAction::triggered, &m_window, [this] { openAddSheet(); });
    QObject::connect(m_window.actions().preferences, &QAction::triggered, &m_window,
                     [this] { openPreferences(); });
    QObject::connect(&environment.queue, &QueueController::ended, &m_window, [this] { keepDraft(); });
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
    if (!wanted.empty())
        openAddSheet(wanted);
    return outcomes;
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

void MainWindowController::openAddSheet(std::string links) {
    Runloop::assertMain();
    if (!m_sheet) {
        const std::string draft = links.empty() ? takeDraft() : std::string();
        const bool isWantedFilled = links.empty() && draft.empty();
        if (isWantedFilled && Settings(m_environment.defaults).autoPasteInAddSheet()) {
            for (const auto& link : TRPasteboardExtractor::findURLsInPasteboard(clipboardContent()))
                links += link + "\n";
        }
        m_sheet = new AddSheet(m_environment, m_folders, &m_window);
        QObject::connect(m_sheet, &QDialog::rejected, &m_window, [this] {
            if (m_sheet && m_sheet->hasTyped())
                storeDraft(m_sheet->links());
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
        QObject::connect(m_preferences, &PreferencesWindow::stored, &m_window, [this] {
            m_settingsWriting.async([&defaults = m_environment.defaults] { defaults.flush(); });
        });
        m_preferences->show();
    }
    m_preferences->raise();
    m_preferences->activateWindow();
}

/// What stood in the sheet when the program was last quit, or was typed before it was left with Escape.
std::string MainWindowController::takeDraft() {
    std::string draft = m_environment.defaults.data(SettingKey::kAddSheetDraft);
    if (!draft.empty())
        m_environment.defaults.remove(SettingKey::kAddSheetDraft);
    return draft;
}

void MainWindowController::keepDraft() {
    if (!m_sheet)
        return;
    AddSheet& sheet = *std::exchange(m_sheet, nullptr);
    storeDraft(sheet.links());
    sheet.reject();
}

void MainWindowController::storeDraft(const std::string& links) {
    if (links.empty())
        return;
    auto& defaults = m_environment.defaults;
    const std::string draft =
        defaults.data(SettingKey::kAddSheetDraft) + links + (links.ends_with('\n') ? "" : "\n");
    defaults.set(SettingKey::kAddSheetDraft, QByteArray::fromStdString(draft));
}

void MainWindowController::bringToFront() {
    m_window.setWindowState(m_window.windowState() & ~Qt::WindowMinimized);
    m_window.show();
    m_window.raise();
    m_window.activateWindow();
}

} // namespace tarvo
