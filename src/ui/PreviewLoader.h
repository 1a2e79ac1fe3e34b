// Reads previews in the background, the newest one that is wanted.
#pragma once

#include <atomic>
#include <memory>

#include <QObject>

#include "base/LookQueue.h"
#include "ui/PreviewReader.h"

namespace tarvo {

/// Main thread.
class PreviewLoader final : public QObject {
    Q_OBJECT

public:
    explicit PreviewLoader(QObject* parent);
    ~PreviewLoader() override;

    /// In place of what was wanted before, of which nothing more is told.
    void load(const PreviewRequest& request);

    void cancel();

    bool isLoading() const { return m_cancelled != nullptr; }

Q_SIGNALS:
    void loaded(const tarvo::PreviewContent& content);

private:
    using Flag = std::shared_ptr<std::atomic<bool>>;

    void hasEnded(const Flag& flag, const PreviewContent& content);

    Flag m_cancelled; // of the one that is wanted; null: none is
    LookQueue m_queue;
};

} // namespace tarvo
