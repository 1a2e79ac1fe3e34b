#include "ui/PreviewLoader.h"

#include <QPointer>

#include "base/Runloop.h"

namespace tarvo {

PreviewLoader::PreviewLoader(QObject* parent) : QObject(parent) {
}

PreviewLoader::~PreviewLoader() {
    cancel();
}

void PreviewLoader::load(const PreviewRequest& request) {
    Runloop::assertMain();
    cancel();
    m_cancelled = std::make_shared<std::atomic<bool>>(false);
    m_queue.async([self = QPointer(this), flag = m_cancelled, request] {
        if (*flag)
            return;
        const PreviewContent content = readPreview(request, *flag);
        Runloop::runOnMainLater([self, flag, content] {
            if (self)
                self->hasEnded(flag, content);
        });
    });
}

void PreviewLoader::cancel() {
    Runloop::assertMain();
    if (const Flag flag = std::exchange(m_cancelled, nullptr))
        *flag = true;
}

void PreviewLoader::hasEnded(const Flag& flag, const PreviewContent& content) {
    if (flag != m_cancelled)
        return;
    m_cancelled.reset();
    Q_EMIT loaded(content);
}

} // namespace tarvo
