#pragma once

#include "platform/Control.h"

#include <QString>

class QPushButton;

class PushButton final : public Control {
    Q_OBJECT
public:
    PushButton();
    QString Caption() const;
    void SetCaption(const QString& caption);
    void Push();

signals:
    void Action();

private:
    QPushButton* mButton;
};
