// A window of the built-in browser: one page with what it takes to get around.
#pragma once

#include <cstdint>
#include <string>

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
    /// `visit`: see OpenPage.
    BrowserWindow(QWebEngineProfile& profile, BrowserPage::MakeWindow makeWindow, std::int64_t visit,
                  std::string folder);

    BrowserPage& page() { return *m_page; }

    std::int64_t visit() const { return m_visit; }

    const std::string& folder() const { return m_folder; }

    /// From now on the window stands for itself.
    void leaveVisit();

    void bringToFront();

Q_SIGNALS:
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
    void askAboutCertificate(QWebEngineCertificateError error);
    void askAboutOtherProgram(const QUrl& address);

    std::int64_t m_visit;
    const std::string m_folder;
    QWebEngineView* m_view;
    BrowserPage* m_page;
    QLineEdit* m_address;
    QLineEdit* m_find;
    QProgressBar* m_progress;
    QLabel* m_note; // what a visit is for
    QAction* m_moveOut = nullptr;
    bool m_isAsking = false; // about another program, of which a page may ask for many
};

} // namespace tarvo
