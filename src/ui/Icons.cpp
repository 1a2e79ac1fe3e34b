#include "ui/Icons.h"

#include <QFile>
#include <QGuiApplication>
#include <QIconEngine>
#include <QImageReader>
#include <QMimeDatabase>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>

static void initialiseIconResource() {
    Q_INIT_RESOURCE(icons); // must stand outside any namespace
}

namespace tarvo::Icons {

namespace {

constexpr const char* kApplication = "com.unregistered.Tarvo";

QString drawingOf(const QString& name) {
    static const bool isLoaded = [] {
        initialiseIconResource();
        return true;
    }();
    const QString path = QStringLiteral(":/tarvo/icons/") + name + QStringLiteral(".svg");
    return isLoaded && QFile::exists(path) ? path : QString();
}

QColor inkFor(QIcon::Mode mode) {
    const QPalette palette = QGuiApplication::palette();
    switch (mode) {
    case QIcon::Disabled:
        return palette.color(QPalette::Disabled, QPalette::ButtonText);
    case QIcon::Selected:
        return palette.color(QPalette::Active, QPalette::HighlightedText);
    default:
        return palette.color(QPalette::Active, QPalette::ButtonText);
    }
}

/// `size` in device pixels. An empty ink leaves the drawing its own colours.
QPixmap render(const QString& drawing, const QSize& size, const QColor& ink) {
    const QString key =
        QStringLiteral("%1 %2x%3 %4").arg(drawing).arg(size.width()).arg(size.height()).arg(ink.rgba());
    QPixmap pixmap;
    if (QPixmapCache::find(key, &pixmap))
        return pixmap;
    QImageReader reader(drawing);
    reader.setScaledSize(reader.size().scaled(size, Qt::KeepAspectRatio));
    QImage image = reader.read().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (ink.isValid() && !image.isNull()) {
        QPainter painter(&image);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(image.rect(), ink);
    }
    pixmap = QPixmap::fromImage(image);
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}

/// Looks at theme and palette each time that it paints, so that it follows both.
class Engine final : public QIconEngine {
public:
    Engine(const QString& name, bool isTinted)
        : m_name(name), m_drawing(drawingOf(name)), m_theme(QIcon::fromTheme(name)), m_isTinted(isTinted) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
        if (!m_theme.isNull())
            return m_theme.paint(painter, rect, Qt::AlignCenter, mode, state);
        const qreal scale = painter->device()->devicePixelRatioF();
        painter->drawPixmap(rect, drawn(rect.size() * scale, mode));
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1.0);
    }

    /// `size` in device pixels (QIconEngine::scaledPixmap).
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal scale) override {
        if (m_theme.isNull())
            return drawn(size, mode);
        return m_theme.pixmap(size / scale, scale, mode, state);
    }

    QString iconName() override { return m_theme.isNull() ? QString() : m_theme.name(); }

    bool isNull() override { return m_theme.isNull() && m_drawing.isEmpty(); }

    QIconEngine* clone() const override { return new Engine(*this); }

private:
    QPixmap drawn(const QSize& size, QIcon::Mode mode) const {
        if (m_drawing.isEmpty() || size.isEmpty())
            return {};
        return render(m_drawing, size, m_isTinted ? inkFor(mode) : QColor());
    }

    const QString m_name;
    const QString m_drawing; // empty: there is none
    const QIcon m_theme;     // null while the theme has no such icon
    const bool m_isTinted;
};

} // namespace

QIcon named(const QString& name) {
    return QIcon(new Engine(name, true));
}

QIcon ofMediaType(const QString& mediaType) {
    const QMimeType type = QMimeDatabase().mimeTypeForName(mediaType);
    for (const QString& name : {type.iconName(), type.genericIconName()}) {
        if (QIcon icon = named(name); !name.isEmpty() && !icon.isNull())
            return icon;
    }
    return named(QStringLiteral("application-x-generic"));
}

QIcon ofApplication() {
    return QIcon(new Engine(QString::fromLatin1(kApplication), false));
}

} // namespace tarvo::Icons
