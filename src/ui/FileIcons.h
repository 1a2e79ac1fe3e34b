// The desktop's icons for files, kept by the ends of their names.
#pragma once

#include <QHash>
#include <QIcon>
#include <QObject>
#include <QSet>
#include <QTimer>

namespace tarvo {

/// Main thread. A theme is never searched while rows are drawn: until an icon has been looked up, which is on
/// a later turn, a plain one stands in its place.
class FileIcons final : public QObject {
    Q_OBJECT

public:
    FileIcons();

    /// For a file of that name, by its extension alone; "a.tar.gz" and "b.gz" have the same.
    QIcon iconOf(const QString& fileName) const;

    /// Looks all up again: the theme is another.
    void forget();

Q_SIGNALS:
    /// Some icons that were asked for are there now.
    void loaded();

private:
    void load();

    QIcon m_plain;
    mutable QHash<QString, QIcon> m_icons; // by extension, in small letters
    mutable QSet<QString> m_wanted;
    mutable QTimer m_nextTurn;
};

} // namespace tarvo
