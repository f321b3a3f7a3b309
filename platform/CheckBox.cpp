#include "platform/CheckBox.h"

#include <QCheckBox>

CheckBox::CheckBox() : Control(new QCheckBox), mBox(static_cast<QCheckBox*>(Widget())) {}

QString CheckBox::Caption() const {
    return mBox->text();
}

void CheckBox::SetCaption(const QString& caption) {
    mBox->setText(caption);
}

bool CheckBox::Value() const {
    return mBox->isChecked();
}

void CheckBox::SetValue(bool ticked) {
    mBox->setChecked(ticked);
}
