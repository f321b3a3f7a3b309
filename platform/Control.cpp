#include "platform/Control.h"

#include <QPointer>
#include <QWidget>

Control::Control(QWidget* widget) : mWidget(widget) {}

Control::~Control() {
    // The window may already have taken its widgets down with it.
    QPointer<QWidget> widget(mWidget);
    delete widget.data();
}

bool Control::Parked() const {
    return mLeft + mWidth <= 0 || mTop + mHeight <= 0;
}

bool Control::Enabled() const {
    return mWidget->isEnabled();
}

void Control::SetEnabled(bool enabled) {
    mWidget->setEnabled(enabled);
}

void Control::SetVisible(bool visible) {
    mVisible = visible;
    mWidget->setVisible(visible && !Parked() && mWidget->parentWidget());
}

void Control::SetTextSize(int points) {
    if (points <= 0)
        return;
    // Sizes are the design's points at 72 per inch: pixels, so the layout fits on any screen.
    QFont font = mWidget->font();
    font.setPixelSize(points);
    mWidget->setFont(font);
}
