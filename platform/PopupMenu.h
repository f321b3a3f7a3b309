#pragma once

#include "platform/Control.h"

#include <QString>
#include <QStringList>

class QComboBox;

// A popup over QComboBox. Adding rows never selects one, clearing raises nothing, and
// a change of ListIndex, by the user or from code, raises Change once when it differs.
class PopupMenu final : public Control {
    Q_OBJECT
public:
    PopupMenu();
    void AddRow(const QString& text);
    void AddRows(const QStringList& texts);
    void DeleteAllRows();
    int ListCount() const;
    int ListIndex() const;
    void SetListIndex(int index);
    QString List(int row) const;
    QString Text() const;

signals:
    void Change();

private:
    QComboBox* mCombo;
};
