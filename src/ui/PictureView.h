// A picture, as large as there is room for it, and no larger than it is.
#pragma once

#include <QImage>
#include <QWidget>

namespace tarvo {

/// Main thread.
class PictureView final : public QWidget {
    Q_OBJECT

public:
    explicit PictureView(QWidget* parent = nullptr);

    void setPicture(const QImage& picture);

    const QImage& picture() const { return m_picture; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QImage m_picture;
};

} // namespace tarvo
