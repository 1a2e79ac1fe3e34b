// Computes a file's digests in the background.
#pragma once

#include <memory>
#include <string>

#include <QObject>
#include <QTimer>

#include "base/LookQueue.h"
#include "jobs/TRFileHash.h"

namespace tarvo {

/// Main thread. One file at a time; its end waits for the block that is being read, of 4 MiB.
class FileHasher final : public QObject {
    Q_OBJECT

public:
    explicit FileHasher(QObject* parent);
    ~FileHasher() override;

    /// Begins with the file at `path`, which is absolute; with another one it ends.
    void start(const std::string& path);

    /// Nothing more is told of the file.
    void cancel();

    bool isRunning() const { return m_run != nullptr; }

Q_SIGNALS:
    /// From 0 to 100, some times a second.
    void progressed(int percent);
    void finished(const tarvo::TRFileHash::Digests& digests);
    /// The file could not be read.
    void failed(const tarvo::Error& error);

private:
    class Run;

    void hasEnded(const std::shared_ptr<Run>& run, const std::optional<TRFileHash::Digests>& digests,
                  const std::optional<Error>& error);

    std::shared_ptr<Run> m_run; // null: none is under way
    QTimer m_progressTimer;
    LookQueue m_queue;
};

} // namespace tarvo
