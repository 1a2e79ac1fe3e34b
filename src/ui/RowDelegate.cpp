#include "ui/RowDelegate.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QToolTip>

#include "base/Runloop.h"
#include "ui/Icons.h"
#include "ui/RowPainting.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

bool isSelected(const QStyleOptionViewItem& option) {
    return option.state.testFlag(QStyle::State_Selected);
}

QPalette::ColorGroup groupOf(const QStyleOptionViewItem& option) {
    if (!option.state.testFlag(QStyle::State_Enabled))
        return QPalette::Disabled;
    return option.state.testFlag(QStyle::State_Active) ? QPalette::Active : QPalette::Inactive;
}

RowColors colorsOf(const QStyleOptionViewItem& option) {
    return RowColors::of(option.palette, groupOf(option), isSelected(option));
}

RowGeometry geometryOf(const QStyleOptionViewItem& option) {
    return RowGeometry::of(option.rect, option.fontMetrics, option.direction);
}

QRect middleOf(const QRect& area, int side) {
    return {area.center().x() - side / 2, area.center().y() - side / 2, side, side};
}

} // namespace

RowDelegate::RowDelegate(const RowsModel& rows, QObject* parent) : QStyledItemDelegate(parent), m_rows(rows) {
    Runloop::assertMain();
    loadIcons();
}

void RowDelegate::loadIcons() {
    m_icons.forget();
    m_information = Icons::named(QStringLiteral("dialog-information"));
    m_caution = Icons::named(QStringLiteral("dialog-warning"));
}

QSize RowDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
    return RowGeometry::sizeFor(option.fontMetrics);
}

void RowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                        const QModelIndex& index) const {
    const RowLook look = m_rows.lookAt(index);
    const RowGeometry geometry = geometryOf(option);
    const RowColors colors = colorsOf(option);
    paintBackground(*painter, option);
    const auto mode = isSelected(option) ? QIcon::Selected : QIcon::Normal;
    m_icons.iconOf(look.name).paint(painter, geometry.icon, Qt::AlignCenter, mode);
    paintStateSign(*painter, geometry.icon, look.state, colors, option.direction);
    paintTexts(*painter, option, look, geometry);
    paintBar(*painter, geometry.bar, look, colors, option.direction);
    const QIcon& button = look.isMultipart ? m_information : m_caution;
    button.paint(painter, middleOf(geometry.button, RowGeometry::kButton), Qt::AlignCenter, mode);
}

/// A selected row has a beam at its beginning, too, for those who can't tell its colour.
void RowDelegate::paintBackground(QPainter& painter, const QStyleOptionViewItem& option) const {
    const QStyle* style = option.widget->style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &option, &painter, option.widget);
    if (isSelected(option)) {
        const QRect beam(option.rect.left(), option.rect.top(), 4, option.rect.height());
        painter.fillRect(QStyle::visualRect(option.direction, option.rect, beam),
                         option.palette.color(groupOf(option), QPalette::Text));
    }
    if (!option.state.testFlag(QStyle::State_HasFocus))
        return;
    QStyleOptionFocusRect focus;
    focus.QStyleOption::operator=(option);
    focus.state |= QStyle::State_KeyboardFocusChange | QStyle::State_Item;
    focus.backgroundColor = colorsOf(option).base;
    style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, &painter, option.widget);
}

void RowDelegate::paintTexts(QPainter& painter, const QStyleOptionViewItem& option, const RowLook& look,
                             const RowGeometry& geometry) const {
    const RowColors colors = colorsOf(option);
    const auto draw = [&](const QRect& rect, Qt::Alignment side, const QString& words) {
        const auto placed = QStyle::visualAlignment(option.direction, side | Qt::AlignVCenter);
        painter.drawText(rect, static_cast<int>(placed) | Qt::TextSingleLine, words);
    };
    const QFontMetrics& font = option.fontMetrics;
    painter.setFont(option.font);
    painter.setPen(colors.text);
    draw(geometry.name, Qt::AlignLeft, font.elidedText(look.name, Qt::ElideMiddle, geometry.name.width()));
    painter.setPen(colors.faint);
    const int gap = 2 * font.averageCharWidth();
    const int amount = look.amount.isEmpty() ? 0 : font.horizontalAdvance(look.amount) + gap;
    const int words = font.horizontalAdvance(look.status);
    const int width = geometry.status.width();
    const bool cutsWords = words > width - amount && words <= width;
    const bool hasRoom = 2 * amount < width && !cutsWords;
    const int room = width - (hasRoom ? amount : 0);
    draw(geometry.status, Qt::AlignLeft, font.elidedText(look.status, Qt::ElideRight, room));
    if (hasRoom)
        draw(geometry.status, Qt::AlignRight, look.amount);
}

bool RowDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                            const QModelIndex& index) {
    if (event->type() != QEvent::ToolTip || !index.isValid())
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    const RowLook look = m_rows.lookAt(index);
    QStyleOptionViewItem filled = option;
    initStyleOption(&filled, index);
    const bool isOnButton = geometryOf(filled).button.contains(event->pos());
    const QString words = isOnButton ? text("tr.row.information") : look.name + u'\n' + look.status;
    QToolTip::showText(event->globalPos(), words.toHtmlEscaped().replace(u'\n', QStringLiteral("<br>")),
                       view);
    return true;
}

bool RowDelegate::editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                              const QModelIndex& index) {
    const auto* mouse = dynamic_cast<QMouseEvent*>(event);
    if (!mouse || mouse->button() != Qt::LeftButton ||
        !geometryOf(option).button.contains(mouse->position().toPoint()))
        return QStyledItemDelegate::editorEvent(event, model, option, index);
    if (event->type() == QEvent::MouseButtonRelease)
        Q_EMIT informationClicked(index);
    return true;
}

} // namespace tarvo
