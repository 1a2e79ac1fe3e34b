// The digests of a finished file, and whether one of them is as expected.
#pragma once

#include <array>

#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QWidget>

#include "jobs/RemoteFile.h"
#include "ui/FileHasher.h"

namespace tarvo {

/// Main thread.
class ChecksumPage final : public QWidget {
    Q_OBJECT

public:
    explicit ChecksumPage(QWidget* parent = nullptr);

    /// Shows the job, null for none; what was being computed ends.
    void setJob(const std::shared_ptr<RemoteFile>& job);

    /// The job may be finished now.
    void update();

    /// Computes, if the file is there and its digests are not known.
    void start();

    /// Ends what is being computed.
    void cancel();

private:
    void placeParts();
    void showVerdict();
    void showIdle();
    void showEnd(const QString& words);

    std::shared_ptr<RemoteFile> m_job;
    std::optional<TRFileHash::Digests> m_digests;
    std::array<QLineEdit*, 3> m_fields{}; // in the order of Checksum::Algorithm
    QPlainTextEdit* m_expected;
    QLabel* m_verdict;
    QLabel* m_state;
    QProgressBar* m_progress;
    QPushButton* m_compute;
    QPushButton* m_cancel;
    FileHasher m_hasher;
};

} // namespace tarvo
