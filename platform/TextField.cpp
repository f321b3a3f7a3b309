#include "platform/TextField.h"

#include <QLineEdit>

TextField::TextField() : Control(new QLineEdit), mLine(static_cast<QLineEdit*>(Widget())) {
    connect(mLine, &QLineEdit::textChanged, this, &TextField::TextChange);
}

QString TextField::Text() const {
    return mLine->text();
}

void TextField::SetText(const QString& text) {
    if (mLine->text() != text)
        mLine->setText(text);
}
