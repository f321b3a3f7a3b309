#include "platform/Listbox.h"

#include <QHeaderView>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QTableWidget>

namespace {

// A cell keeps its tag and its type in its own item, so they go wherever the row goes.
constexpr int kTagRole = Qt::UserRole;
constexpr int kTypeRole = Qt::UserRole + 1;

class PaintingDelegate final : public QStyledItemDelegate {
public:
    explicit PaintingDelegate(Listbox* owner, QObject* parent) : QStyledItemDelegate(parent), mOwner(owner) {}

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        painter->save();
        painter->translate(option.rect.topLeft());
        Graphics g(painter, option.rect.width(), option.rect.height());
        const bool done = mOwner->PaintBackground(g, index.row(), index.column());
        painter->restore();
        if (!done)
            QStyledItemDelegate::paint(painter, option, index);
    }

private:
    Listbox* mOwner;
};

} // namespace

Listbox::Listbox() : Control(new QTableWidget), mTable(static_cast<QTableWidget*>(Widget())) {
    mTable->setSelectionBehavior(QAbstractItemView::SelectRows);
    mTable->setSelectionMode(QAbstractItemView::SingleSelection);
    mTable->verticalHeader()->hide();
    mTable->setItemDelegate(new PaintingDelegate(this, mTable));
    connect(mTable, &QTableWidget::itemSelectionChanged, this, &Listbox::Change);
    connect(mTable, &QTableWidget::cellDoubleClicked, this, &Listbox::DoubleClick);
    connect(mTable, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) {
        if (!mOwnEdit)
            emit CellTextChange(item->row(), item->column());
    });
}

void Listbox::SetColumns(const QStringList& headings) {
    mTable->setColumnCount(int(headings.size()));
    mTable->setHorizontalHeaderLabels(headings);
    mTable->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
}

QString Listbox::Cell(int row, int column) const {
    const QTableWidgetItem* item = mTable->item(row, column);
    return item ? item->text() : QString();
}

void Listbox::SetCell(int row, int column, const QString& text) {
    if (row < 0 || row >= mTable->rowCount() || column < 0 || column >= mTable->columnCount())
        return;
    mOwnEdit = true;
    QTableWidgetItem* item = mTable->item(row, column);
    if (!item) {
        item = new QTableWidgetItem;
        item->setFlags(item->flags() & ~Qt::ItemIsEditable);
        mTable->setItem(row, column, item);
    }
    item->setText(text);
    mOwnEdit = false;
}

FolderItem Listbox::CellTag(int row, int column) const {
    const QTableWidgetItem* item = mTable->item(row, column);
    return item ? item->data(kTagRole).value<FolderItem>() : FolderItem();
}

void Listbox::SetCellTag(int row, int column, const FolderItem& tag) {
    QTableWidgetItem* item = mTable->item(row, column);
    if (!item)
        return;
    mOwnEdit = true;
    item->setData(kTagRole, QVariant::fromValue(tag));
    mOwnEdit = false;
}

int Listbox::CellType(int row, int column) const {
    const QTableWidgetItem* item = mTable->item(row, column);
    return item ? item->data(kTypeRole).toInt() : TypeDefault;
}

void Listbox::SetCellType(int row, int column, int type) {
    QTableWidgetItem* item = mTable->item(row, column);
    if (!item)
        return;
    mOwnEdit = true;
    item->setData(kTypeRole, type);
    item->setFlags(type == TypeEditable ? item->flags() | Qt::ItemIsEditable : item->flags() & ~Qt::ItemIsEditable);
    mOwnEdit = false;
}

void Listbox::AddRow(const QString& first) {
    const int row = mTable->rowCount();
    mTable->insertRow(row);
    for (int c = 0; c < mTable->columnCount(); ++c)
        SetCell(row, c, QString());
    SetCell(row, 0, first);
}

void Listbox::RemoveRow(int row) {
    if (row < 0 || row >= mTable->rowCount())
        return;
    mTable->removeRow(row);
}

void Listbox::DeleteAllRows() {
    mTable->setRowCount(0);
}

int Listbox::ListIndex() const {
    const QList<QTableWidgetSelectionRange> ranges = mTable->selectedRanges();
    return ranges.isEmpty() ? -1 : ranges.first().topRow();
}

void Listbox::SetListIndex(int row) {
    if (row < 0)
        mTable->clearSelection();
    else
        mTable->selectRow(row);
}

int Listbox::ListCount() const {
    return mTable->rowCount();
}

int Listbox::LastIndex() const {
    return mTable->rowCount() - 1;
}

void Listbox::SetBackgroundPainter(std::function<bool(Graphics&, int, int)> painter) {
    mPainter = std::move(painter);
}

bool Listbox::PaintBackground(Graphics& g, int row, int column) {
    return mPainter ? mPainter(g, row, column) : false;
}
