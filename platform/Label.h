#pragma once

#include "platform/Control.h"

#include <QString>

class QLabel;

class Label final : public Control {
    Q_OBJECT
public:
    Label();
    QString Text() const;
    void SetText(const QString& text);

private:
    QLabel* mLabel;
};
