// Icons where the desktop's theme has none.
#include "ui/Icons.h"

#include <QApplication>
#include <QPalette>
#include <gtest/gtest.h>

namespace tarvo {
namespace {

/// The colour of what is drawn most densely, by its own scale.
QColor inkOf(const QIcon& icon, qreal scale, QIcon::Mode mode = QIcon::Normal) {
    const QImage image = icon.pixmap(QSize(24, 24), scale, mode).toImage();
    EXPECT_EQ(image.size(), QSize(24, 24) * scale) << "blurred";
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y).alpha() == 255)
                return image.pixelColor(x, y);
        }
    }
    return {};
}

TEST(Icons, AreDrawnSharplyInTheTextColourOfTheMoment) {
    const QIcon icon = Icons::named("list-add");
    const QPalette before = QApplication::palette();
    for (const QColor ink : {QColor(Qt::white), QColor(Qt::darkBlue)}) {
        QPalette palette = before;
        palette.setColor(QPalette::ButtonText, ink);
        palette.setColor(QPalette::Disabled, QPalette::ButtonText, Qt::red);
        QApplication::setPalette(palette);
        for (const qreal scale : {1.0, 1.5, 2.0})
            EXPECT_EQ(inkOf(icon, scale), ink);
        EXPECT_EQ(inkOf(icon, 1.0, QIcon::Disabled), QColor(Qt::red));
    }
    QApplication::setPalette(before);
}

TEST(Icons, FollowAThemeThatIsChosenLater) {
    const QIcon icon = Icons::named("folder");
    EXPECT_EQ(icon.name(), "");
    QIcon::setThemeName("Adwaita");
    EXPECT_EQ(icon.name(), QIcon::hasThemeIcon("folder") ? "folder" : "");
    QIcon::setThemeName("no such theme");
    EXPECT_EQ(icon.name(), "");
    EXPECT_FALSE(icon.isNull());
}

TEST(Icons, AreThereForEveryKindOfFileAndNullForAWrongName) {
    for (const char* type : {"text/plain", "application/zip", "image/png", "video/mp4", "audio/flac",
                             "application/pdf", "application/octet-stream", "font/ttf", "inode/directory",
                             "application/x-iso9660-image", "x-made/up"})
        EXPECT_FALSE(Icons::ofMediaType(type).pixmap(48).isNull()) << type;
    EXPECT_FALSE(Icons::ofApplication().pixmap(64).isNull());
    EXPECT_TRUE(Icons::named("no-such-icon").isNull());
}

} // namespace
} // namespace tarvo
