#pragma once

#include "platform/Control.h"

#include <QString>

class QLineEdit;

class TextField final : public Control {
    Q_OBJECT
public:
    TextField();
    QString Text() const;
    void SetText(const QString& text);

signals:
    void TextChange();

private:
    QLineEdit* mLine;
};
