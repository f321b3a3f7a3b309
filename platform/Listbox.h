#pragma once

#include "platform/Control.h"
#include "platform/FolderItem.h"
#include "platform/Graphics.h"

#include <QString>
#include <QStringList>

#include <functional>

class QTableWidget;

class Listbox final : public Control {
    Q_OBJECT
public:
    // What SetCellType takes and CellType gives: a cell shows its text, or lets the user edit it.
    enum CellTypes { TypeDefault = 0, TypeEditable = 3 };

    Listbox();
    void SetColumns(const QStringList& headings);
    QString Cell(int row, int column) const;
    void SetCell(int row, int column, const QString& text);
    FolderItem CellTag(int row, int column) const;
    void SetCellTag(int row, int column, const FolderItem& tag);
    int CellType(int row, int column) const;
    void SetCellType(int row, int column, int type);
    void AddRow(const QString& first);
    void RemoveRow(int row);
    void DeleteAllRows();
    int ListIndex() const;
    void SetListIndex(int row);
    int ListCount() const;
    int LastIndex() const;
    void SetBackgroundPainter(std::function<bool(Graphics&, int row, int column)> painter);
    bool PaintBackground(Graphics& g, int row, int column);

signals:
    void Change();
    void DoubleClick();
    void CellTextChange(int row, int column);

private:
    QTableWidget* mTable;
    std::function<bool(Graphics&, int, int)> mPainter;
    bool mOwnEdit = false;
};
