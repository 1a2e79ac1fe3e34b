// Answers where no user sits at the screen: questions get the harmless answer, errors become notices.
#pragma once

#include <QObject>
#include <QTimer>

#include <set>
#include <string>
#include <vector>

#include "app/ApplicationPresence.h"
#include "queue/AlertPresenter.h"
#include "queue/AutomaticTermination.h"
#include "queue/PageOpener.h"
#include "queue/UserNotices.h"

namespace tarvo {

/// Main thread, except for pages, which are declined on any.
class HeadlessDesk final : public QObject,
                           public AlertPresenter,
                           public ApplicationPresence,
                           public AutomaticTermination,
                           public PageOpener {
    Q_OBJECT

public:
    /// `notices` outlives the desk.
    explicit HeadlessDesk(UserNotices& notices);

    /// Alike ones become one notice, and many in a short time a few and their number.
    void presentError(const Error& error) override;

    /// Tells how many errors have not become a notice, and begins anew; called some seconds after the first.
    void summarize();

    /// "Cancel" where there is such a button, else the last one.
    std::size_t runAlert(const std::string& message, const std::string& informativeText,
                         const std::vector<std::string>& buttons) override;

    void showStatusItem() override {}

    void removeStatusItem() override {}

    void setIconVisible(bool) override {}

    void enableAutomaticTermination(const std::string& reason) override;
    void disableAutomaticTermination(const std::string& reason) override;

    BrowserEndReason openBrowserFor(const std::shared_ptr<RemoteFile>& job,
                                    std::shared_ptr<RemoteFile>& replacement) override;

    void closePages() override {}

Q_SIGNALS:
    /// Automatic termination has been enabled for a while, in which nothing has come.
    void nobodyNeedsTheProgram();

private:
    UserNotices& m_notices;
    QTimer m_termination;
    QTimer m_summary;                  // from the first error on
    std::set<std::string> m_sentences; // that have been told since
    std::size_t m_notShown = 0;
};

} // namespace tarvo
