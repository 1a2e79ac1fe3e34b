// A window of the built-in browser: one page with what it takes to get around.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QProgressBar>
#include <QWebEngineView>

#include "browser/BrowserPage.h"

namespace tarvo {

/// Main thread. Deletes itself when it is closed, its page with it.
class BrowserWindow final : public QMainWindow {
    Q_OBJECT

public:
    /// `number`: of the window, from 1. `visit`: see OpenPage.
    BrowserWindow(QWebEngineProfile& profile, BrowserPage::MakeWindow makeWindow, std::int64_t number,
                  std::int64_t visit, std::string folder);

    BrowserPage& page() { return *m_page; }

    std::int64_t number() const { return m_number; }

    std::int64_t visit() const { return m_visit; }

    const std::string& folder() const { return m_folder; }

    /// From now on the window stands for itself.
    void leaveVisit();

    void bringToFront();

    /// Whether the page may begin one more download: one after the other it may, but for several at once the
    /// user is asked, once for each site.
    enum class Leave { given, asked, refused };
    Leave leaveForDownload();

Q_SIGNALS:
    void downloadsAnswered(bool areWanted);
    void moveOutWanted();
    void newWindowWanted();
    void closed(); ///< it is about to be deleted

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void placeParts();
    void addPageActions();
    void addWindowActions();
    QAction* addAction(const char* key, const QList<QKeySequence>& keys, const std::function<void()>& act);
    void goToTyped();
    void showAddress(const QUrl& url);
    void zoomBy(int steps);
    void findTyped(QWebEnginePage::FindFlags how);
    void showFind();
    void hideFind();
    void connectPage();
    void askAboutDownloads();
    void askAboutCertificate(QWebEngineCertificateError error);
    void askAboutOtherProgram(const QUrl& address);

    const std::int64_t m_number;
    std::int64_t m_visit;
    const std::string m_folder;
    QWebEngineView* m_view;
    BrowserPage* m_page;
    QLineEdit* m_address;
    QLineEdit* m_find;
    QProgressBar* m_progress;
    QLabel* m_note; // what a visit is for
    QAction* m_moveOut = nullptr;
    QElapsedTimer m_lastDownload; // invalid before the first
    QString m_downloadSite;       // that the answer is for
    std::optional<Leave> m_leave; // what the user has said, or that there is a question
    bool m_isAsking = false;      // about another program, of which a page may ask for many
};

} // namespace tarvo
