#include "browser/BrowserWindow.h"

#include <QCloseEvent>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPushButton>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QVBoxLayout>

#include "base/Localized.h"
#include "browser/RequestWatch.h"

#include <algorithm>
#include <utility>

namespace tarvo {

namespace {

constexpr QSize kUsualSize{1000, 750};
constexpr qreal kZoomStep = 0.1;
constexpr qreal kLeastZoom = 0.25; // QWebEnginePage::zoomFactor
constexpr qreal kMostZoom = 5.0;
constexpr qint64 kAtOnceMs = 5000;       // a person needs longer from link to link
constexpr qsizetype kLongestShown = 200; // of an address in a question

QString words(std::string_view key, std::initializer_list<std::string> arguments = {}) {
    return QString::fromStdString(localized(key, arguments));
}

/// A question beside which the page goes on. What it says is plain text, for some of it is the page's own.
QMessageBox* questionOf(QWidget* window, const QString& question, const QString& yes) {
    auto* box = new QMessageBox(QMessageBox::Warning, words("tr.browser.title"), question,
                                QMessageBox::Cancel, window);
    box->setTextFormat(Qt::PlainText);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->addButton(yes, QMessageBox::AcceptRole);
    box->setDefaultButton(QMessageBox::Cancel);
    return box;
}

bool isYes(const QMessageBox& box) {
    return box.clickedButton() && box.buttonRole(box.clickedButton()) == QMessageBox::AcceptRole;
}

} // namespace

BrowserWindow::BrowserWindow(QWebEngineProfile& profile, BrowserPage::MakeWindow makeWindow,
                             std::int64_t number, std::int64_t visit, std::string folder)
    : m_number(number), m_visit(visit), m_folder(std::move(folder)), m_view(new QWebEngineView(this)),
      m_page(new BrowserPage(profile, std::move(makeWindow), m_view)), m_address(new QLineEdit(this)),
      m_find(new QLineEdit(this)), m_progress(new QProgressBar(this)), m_note(new QLabel(this)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(words("tr.browser.title"));
    m_view->setPage(m_page);
    placeParts();
    addPageActions();
    addWindowActions();
    connectPage();
    resize(kUsualSize);
}

void BrowserWindow::placeParts() {
    auto* middle = new QWidget(this);
    auto* column = new QVBoxLayout(middle);
    column->setContentsMargins({});
    column->setSpacing(0);
    column->addWidget(m_note);
    column->addWidget(m_find);
    column->addWidget(m_view, 1);
    setCentralWidget(middle);
    m_note->setText(words("tr.browser.visit"));
    m_note->setWordWrap(true);
    m_note->setMargin(style()->pixelMetric(QStyle::PM_LayoutTopMargin) / 2);
    m_note->setVisible(m_visit != 0);
    m_find->setAccessibleName(words("tr.browser.find"));
    m_find->setPlaceholderText(words("tr.browser.find"));
    m_find->hide();
    connect(m_find, &QLineEdit::textChanged, this, [this] { findTyped({}); });
    connect(m_find, &QLineEdit::returnPressed, this, [this] { findTyped({}); });
    m_progress->setAccessibleName(words("tr.browser.loading"));
    m_progress->setMaximumWidth(kUsualSize.width() / 5);
    m_progress->hide();
    statusBar()->addPermanentWidget(m_progress);
    m_address->setAccessibleName(words("tr.browser.address"));
    m_address->setPlaceholderText(words("tr.browser.address"));
    connect(m_address, &QLineEdit::returnPressed, this, &BrowserWindow::goToTyped);
}

QAction* BrowserWindow::addAction(const char* key, const QList<QKeySequence>& keys,
                                  const std::function<void()>& act) {
    auto* action = new QAction(words(key), this);
    action->setShortcuts(keys);
    connect(action, &QAction::triggered, this, act);
    QMainWindow::addAction(action);
    return action;
}

void BrowserWindow::addPageActions() {
    auto* bar = addToolBar(words("tr.browser.title"));
    bar->setObjectName(QStringLiteral("navigation"));
    bar->setMovable(false);
    const auto add = [this, bar](QWebEnginePage::WebAction which, const char* key,
                                 QStyle::StandardPixmap icon, const QList<QKeySequence>& keys) {
        QAction* action = m_page->action(which);
        action->setText(words(key));
        action->setIcon(style()->standardIcon(icon));
        action->setShortcuts(keys);
        bar->addAction(action);
    };
    using enum QWebEnginePage::WebAction;
    add(Back, "tr.browser.back", QStyle::SP_ArrowBack, {QKeySequence::Back});
    add(Forward, "tr.browser.forward", QStyle::SP_ArrowForward, {QKeySequence::Forward});
    add(Reload, "tr.browser.reload", QStyle::SP_BrowserReload,
        {QKeySequence(Qt::Key_F5), QKeySequence(Qt::CTRL | Qt::Key_R)});
    add(Stop, "tr.browser.stop", QStyle::SP_BrowserStop, {QKeySequence(Qt::CTRL | Qt::Key_Period)});
    bar->addWidget(m_address);
    if (m_visit == 0)
        return;
    m_moveOut = addAction("tr.browser.move-out", {}, [this] { Q_EMIT moveOutWanted(); });
    bar->addAction(m_moveOut);
}

void BrowserWindow::addWindowActions() {
    addAction("tr.browser.address", {QKeySequence(Qt::CTRL | Qt::Key_L), QKeySequence(Qt::Key_F6)}, [this] {
        m_address->setFocus();
        m_address->selectAll();
    });
    addAction("tr.browser.find", {QKeySequence::Find}, [this] { showFind(); });
    addAction("tr.browser.find-next", {QKeySequence::FindNext}, [this] { findTyped({}); });
    addAction("tr.browser.find-previous", {QKeySequence::FindPrevious},
              [this] { findTyped(QWebEnginePage::FindBackward); });
    addAction("tr.browser.zoom-in", {QKeySequence::ZoomIn, QKeySequence(Qt::CTRL | Qt::Key_Equal)},
              [this] { zoomBy(1); });
    addAction("tr.browser.zoom-out", {QKeySequence::ZoomOut}, [this] { zoomBy(-1); });
    addAction("tr.browser.zoom-usual", {QKeySequence(Qt::CTRL | Qt::Key_0)},
              [this] { m_page->setZoomFactor(1.0); });
    addAction("tr.browser.new-window", {QKeySequence::New}, [this] { Q_EMIT newWindowWanted(); });
    addAction("tr.browser.close", {QKeySequence(Qt::CTRL | Qt::Key_W)}, [this] { close(); });
    auto* escape = addAction("tr.browser.stop", {QKeySequence(Qt::Key_Escape)}, [this] {
        if (m_find->isVisible())
            hideFind();
        else
            m_page->triggerAction(QWebEnginePage::Stop);
    });
    escape->setShortcutContext(Qt::WindowShortcut);
}

void BrowserWindow::connectPage() {
    connect(m_page, &QWebEnginePage::titleChanged, this, [this](const QString& title) {
        setWindowTitle(words("tr.browser.title-of-page", {title.toStdString()}));
    });
    connect(m_page, &QWebEnginePage::urlChanged, this, &BrowserWindow::showAddress);
    connect(m_page, &QWebEnginePage::loadStarted, m_progress, &QWidget::show);
    connect(m_page, &QWebEnginePage::loadProgress, m_progress, &QProgressBar::setValue);
    connect(m_page, &QWebEnginePage::loadFinished, m_progress, &QWidget::hide);
    connect(m_page, &QWebEnginePage::linkHovered, this,
            [this](const QString& address) { statusBar()->showMessage(address.left(kLongestShown)); });
    connect(m_page, &QWebEnginePage::windowCloseRequested, this, &QWidget::close);
    connect(m_page, &QWebEnginePage::renderProcessTerminated, this,
            [this](QWebEnginePage::RenderProcessTerminationStatus status, int) {
                if (status != QWebEnginePage::NormalTerminationStatus)
                    statusBar()->showMessage(words("tr.browser.page-ended"));
            });
    connect(m_page, &BrowserPage::certificateDoubted, this, &BrowserWindow::askAboutCertificate);
    connect(m_page, &BrowserPage::otherProgramWanted, this, &BrowserWindow::askAboutOtherProgram);
}

void BrowserWindow::goToTyped() {
    const QUrl url = QUrl::fromUserInput(m_address->text().trimmed());
    if (!url.isValid() || !isForBrowser(url)) {
        statusBar()->showMessage(words("tr.browser.no-address"));
        return;
    }
    m_page->load(url);
    m_view->setFocus();
}

void BrowserWindow::showAddress(const QUrl& url) {
    if (!m_address->hasFocus() || !m_address->isModified())
        m_address->setText(url.toDisplayString(QUrl::RemoveUserInfo));
}

void BrowserWindow::zoomBy(int steps) {
    m_page->setZoomFactor(std::clamp(m_page->zoomFactor() + steps * kZoomStep, kLeastZoom, kMostZoom));
}

void BrowserWindow::showFind() {
    m_find->show();
    m_find->setFocus();
    m_find->selectAll();
}

void BrowserWindow::hideFind() {
    m_find->hide();
    m_page->findText({});
    m_view->setFocus();
}

void BrowserWindow::findTyped(QWebEnginePage::FindFlags how) {
    m_page->findText(m_find->text(), how);
}

void BrowserWindow::leaveVisit() {
    m_visit = 0;
    m_note->hide();
    if (m_moveOut)
        m_moveOut->setVisible(false);
}

void BrowserWindow::closeEvent(QCloseEvent* event) {
    QMainWindow::closeEvent(event);
    m_page->triggerAction(QWebEnginePage::Stop);
    Q_EMIT closed();
}

void BrowserWindow::bringToFront() {
    show();
    raise();
    activateWindow();
}

BrowserWindow::Leave BrowserWindow::leaveForDownload() {
    const QString site = m_page->origin().host();
    if (std::exchange(m_downloadSite, site) != site && m_leave != Leave::asked) {
        m_leave.reset();
        m_lastDownload.invalidate();
    }
    const bool isAtOnce = m_lastDownload.isValid() && m_lastDownload.elapsed() < kAtOnceMs;
    m_lastDownload.start();
    if (m_leave)
        return *m_leave;
    if (!isAtOnce)
        return Leave::given;
    askAboutDownloads();
    return Leave::asked;
}

void BrowserWindow::askAboutDownloads() {
    m_leave = Leave::asked;
    const std::string site = m_downloadSite.toStdString();
    auto* box = questionOf(this, words("tr.browser.downloads", {site}), words("tr.browser.downloads-accept"));
    connect(box, &QDialog::finished, this, [this, box] {
        m_leave = isYes(*box) ? Leave::given : Leave::refused;
        Q_EMIT downloadsAnswered(m_leave == Leave::given);
    });
    box->open();
}

void BrowserWindow::askAboutCertificate(QWebEngineCertificateError error) {
    const std::string host = error.url().host().toStdString();
    const QString question =
        words("tr.browser.certificate", {host, error.description().left(kLongestShown).toStdString()});
    auto* box = questionOf(this, question, words("tr.browser.certificate-accept"));
    connect(box, &QDialog::finished, this, [box, error]() mutable {
        if (isYes(*box))
            error.acceptCertificate();
        else
            error.rejectCertificate();
    });
    box->open();
}

void BrowserWindow::askAboutOtherProgram(const QUrl& address) {
    if (std::exchange(m_isAsking, true))
        return;
    const std::string shown = address.toDisplayString().left(kLongestShown).toStdString();
    const std::string page = m_page->origin().host().toStdString();
    auto* box = questionOf(this, words("tr.browser.other-program", {page, shown}), words("tr.browser.open"));
    connect(box, &QDialog::finished, this, [this, box, address] {
        m_isAsking = false;
        if (isYes(*box))
            QDesktopServices::openUrl(address);
    });
    box->open();
}

} // namespace tarvo
