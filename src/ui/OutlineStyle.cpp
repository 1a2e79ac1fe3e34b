#include "ui/OutlineStyle.h"

#include <QPainter>
#include <QStyleOption>

namespace tarvo {

namespace {

bool hasOutline(QStyle::PrimitiveElement element, const QStyleOption& option) {
    switch (element) {
    case QStyle::PE_FrameLineEdit:
    case QStyle::PE_Frame:
    case QStyle::PE_FrameMenu:
    case QStyle::PE_FrameTabWidget:
    case QStyle::PE_IndicatorCheckBox:
    case QStyle::PE_IndicatorRadioButton:
    case QStyle::PE_PanelButtonCommand:
    case QStyle::PE_PanelTipLabel:
        return true;
    case QStyle::PE_PanelButtonTool:
        return option.state & (QStyle::State_On | QStyle::State_Sunken);
    default:
        return false;
    }
}

} // namespace

void OutlineStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                 const QWidget* widget) const {
    QProxyStyle::drawPrimitive(element, option, painter, widget);
    if (hasOutline(element, *option))
        outline(*painter, option->rect, *option);
}

void OutlineStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                               const QWidget* widget) const {
    QProxyStyle::drawControl(element, option, painter, widget);
    const bool isChosenTab = element == CE_TabBarTabShape && option->state.testFlag(State_Selected);
    if (isChosenTab || element == CE_ProgressBarGroove)
        outline(*painter, option->rect, *option);
}

void OutlineStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                      QPainter* painter, const QWidget* widget) const {
    QProxyStyle::drawComplexControl(control, option, painter, widget);
    if (control == CC_ComboBox || control == CC_SpinBox)
        outline(*painter, option->rect, *option);
    else if (control == CC_ScrollBar)
        outline(*painter, subControlRect(control, option, SC_ScrollBarSlider, widget), *option);
}

/// What has the focus keeps the colour that the style gives it, inside of the line.
void OutlineStyle::outline(QPainter& painter, const QRect& rect, const QStyleOption& option) const {
    if (m_strength <= 0 || !rect.isValid())
        return;
    const bool isFocused = option.state.testFlag(State_HasFocus);
    QColor color = option.palette.color(isFocused ? QPalette::Highlight : QPalette::WindowText);
    color.setAlphaF(isFocused ? 1 : m_strength);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(color);
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(rect.adjusted(0, 0, -1, -1));
    painter.restore();
}

} // namespace tarvo
