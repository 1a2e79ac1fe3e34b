#include "ui/FileIcons.h"

#include <chrono>

#include <QMimeDatabase>

#include "base/Runloop.h"
#include "ui/Icons.h"

namespace tarvo {

namespace {

constexpr qsizetype kMost = 500; // names come from servers
constexpr QStringView kPlainType = u"application/octet-stream";

QString extensionOf(const QString& fileName) {
    const qsizetype dot = fileName.lastIndexOf(u'.');
    return dot < 0 ? QString() : fileName.mid(dot + 1).toLower();
}

} // namespace

FileIcons::FileIcons() : m_plain(Icons::ofMediaType(kPlainType.toString())) {
    m_nextTurn.setSingleShot(true);
    m_nextTurn.setInterval(std::chrono::milliseconds(0));
    connect(&m_nextTurn, &QTimer::timeout, this, &FileIcons::load);
}

QIcon FileIcons::iconOf(const QString& fileName) const {
    Runloop::assertMain();
    const QString extension = extensionOf(fileName);
    const auto known = m_icons.constFind(extension);
    if (known != m_icons.constEnd())
        return *known;
    m_wanted.insert(extension);
    if (!m_nextTurn.isActive())
        m_nextTurn.start();
    return m_plain;
}

void FileIcons::forget() {
    m_icons.clear();
    m_plain = Icons::ofMediaType(kPlainType.toString());
}

void FileIcons::load() {
    const QMimeDatabase types;
    if (m_icons.size() + m_wanted.size() > kMost)
        m_icons.clear();
    for (const QString& extension : std::exchange(m_wanted, {})) {
        const auto type =
            types.mimeTypeForFile(QStringLiteral("a.") + extension, QMimeDatabase::MatchExtension);
        m_icons.insert(extension, Icons::ofMediaType(type.name()));
    }
    Q_EMIT loaded();
}

} // namespace tarvo
