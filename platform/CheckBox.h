#pragma once

#include "platform/Control.h"

#include <QString>

class QCheckBox;

class CheckBox final : public Control {
    Q_OBJECT
public:
    CheckBox();
    QString Caption() const;
    void SetCaption(const QString& caption);
    bool Value() const;
    void SetValue(bool ticked);

private:
    QCheckBox* mBox;
};
