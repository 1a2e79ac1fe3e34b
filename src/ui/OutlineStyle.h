// Draws lines around what a person can act on, where the style's own can't be seen.
#pragma once

#include <QProxyStyle>

namespace tarvo {

/// Fusion draws every outline darker than the window, and so none on black. Main thread.
class OutlineStyle final : public QProxyStyle {
    Q_OBJECT

public:
    /// How much of the text's colour is in the lines; 0: none are drawn.
    static constexpr float kOnDark = 0.35F;
    static constexpr float kHighContrast = 1;

    explicit OutlineStyle(const QString& baseStyle) : QProxyStyle(baseStyle) {}

    void setStrength(float strength) { m_strength = strength; }

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget) const override;

private:
    void outline(QPainter& painter, const QRect& rect, const QStyleOption& option) const;

    float m_strength = 0;
};

} // namespace tarvo
