#include "platform/Label.h"

#include <QFontMetrics>
#include <QLabel>

Label::Label() : Control(new QLabel), mLabel(static_cast<QLabel*>(Widget())) {
    mLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
}

QString Label::Text() const {
    return mLabel->text();
}

void Label::SetText(const QString& text) {
    mLabel->setText(text);
    // Captions were laid out for a narrower system font: shrink one that would be cut off.
    QFont font = mLabel->font();
    const int width = mLabel->width();
    while (font.pixelSize() > 8 && width > 0 && QFontMetrics(font).horizontalAdvance(text) > width)
        font.setPixelSize(font.pixelSize() - 1);
    mLabel->setFont(font);
}
