#include "platform/PushButton.h"

#include <QPushButton>

PushButton::PushButton() : Control(new QPushButton), mButton(static_cast<QPushButton*>(Widget())) {
    mButton->setAutoDefault(false);
    connect(mButton, &QPushButton::clicked, this, &PushButton::Action);
}

QString PushButton::Caption() const {
    return mButton->text();
}

void PushButton::SetCaption(const QString& caption) {
    mButton->setText(caption);
}

void PushButton::Push() {
    if (mButton->isEnabled())
        emit Action();
}
