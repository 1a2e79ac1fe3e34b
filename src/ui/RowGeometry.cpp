#include "ui/RowGeometry.h"

#include <algorithm>

#include <QStyle>

namespace tarvo {

namespace {

constexpr int kMargin = 8;
constexpr int kGap = 3;
constexpr int kBar = 8;
constexpr int kButtonArea = RowGeometry::kButton + 14;

int textHeight(const QFontMetrics& font) {
    return 2 * font.height() + 2 * kGap + kBar;
}

} // namespace

RowGeometry RowGeometry::of(const QRect& row, const QFontMetrics& font, Qt::LayoutDirection direction) {
    const QRect icon(row.left() + kMargin, row.center().y() - kIcon / 2, kIcon, kIcon);
    const QRect button(row.right() - kMargin - kButtonArea, row.top(), kButtonArea, row.height());
    const int left = icon.right() + 1 + kMargin;
    const int width = std::max(0, button.left() - kMargin - left);
    const int top = row.center().y() - textHeight(font) / 2;
    const QRect name(left, top, width, font.height());
    const QRect bar(left, name.bottom() + 1 + kGap, width, kBar);
    const QRect status(left, bar.bottom() + 1 + kGap, width, font.height());
    const auto placed = [&](const QRect& part) { return QStyle::visualRect(direction, row, part); };
    return {placed(icon), placed(name), placed(bar), placed(status), placed(button)};
}

QSize RowGeometry::sizeFor(const QFontMetrics& font) {
    return {kIcon + kButtonArea + 4 * kMargin, std::max<int>(kIcon, textHeight(font)) + 2 * kMargin};
}

} // namespace tarvo
