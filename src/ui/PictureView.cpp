#include "ui/PictureView.h"

#include <QPainter>

namespace tarvo {

PictureView::PictureView(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::TabFocus); // so that a screen reader comes by
    setMinimumSize(32, 32);
}

void PictureView::setPicture(const QImage& picture) {
    m_picture = picture;
    update();
}

void PictureView::paintEvent(QPaintEvent*) {
    if (m_picture.isNull())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QSizeF own = QSizeF(m_picture.size()) / devicePixelRatioF();
    QSizeF size = own.scaled(QSizeF(rect().size()), Qt::KeepAspectRatio);
    if (own.width() < size.width())
        size = own;
    QRectF place(QPointF(), size);
    place.moveCenter(QRectF(rect()).center());
    painter.drawImage(place, m_picture);
}

} // namespace tarvo
