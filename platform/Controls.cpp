#include "platform/Controls.h"

#include "platform/LogView.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFontMetrics>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPointer>
#include <QProxyStyle>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QStringListModel>
#include <QStyledItemDelegate>
#include <QTableWidget>
#include <QTextCursor>
#include <QTextDocument>

#include <algorithm>

// ---- Control ----

Control::Control(QWidget* widget) : mWidget(widget) {}

Control::~Control() {
    // The window may already have taken its widgets down with it.
    QPointer<QWidget> widget(mWidget);
    delete widget.data();
}

bool Control::Parked() const {
    return mLeft + mWidth <= 0 || mTop + mHeight <= 0;
}

bool Control::Enabled() const {
    return mWidget->isEnabled();
}

void Control::SetEnabled(bool enabled) {
    mWidget->setEnabled(enabled);
}

void Control::SetVisible(bool visible) {
    mVisible = visible;
    mWidget->setVisible(visible && !Parked() && mWidget->parentWidget());
}

void Control::SetTextSize(int points) {
    if (points <= 0)
        return;
    // Sizes are the design's points at 72 per inch: pixels, so the layout fits on any screen.
    QFont font = mWidget->font();
    font.setPixelSize(points);
    mWidget->setFont(font);
}

// ---- Label, PushButton, CheckBox ----

Label::Label() : Control(new QLabel), mLabel(static_cast<QLabel*>(Widget())) {
    mLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
}

QString Label::Text() const {
    return mLabel->text();
}

void Label::SetText(const QString& text) {
    mLabel->setText(text);
    // Captions were laid out for a narrower system font: shrink one that would be cut off.
    QFont font = mLabel->font();
    const int width = mLabel->width();
    while (font.pixelSize() > 8 && width > 0 && QFontMetrics(font).horizontalAdvance(text) > width)
        font.setPixelSize(font.pixelSize() - 1);
    mLabel->setFont(font);
}

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

// ---- PopupMenu ----

namespace {

// Asks for the drop-down form of the list: the form that opens with the current row over the
// control measures every row first, a tenth of a second at tens of thousands of presets.
class DropDownListStyle final : public QProxyStyle {
public:
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returned) const override {
        if (hint == SH_ComboBox_Popup)
            return 0;
        return QProxyStyle::styleHint(hint, option, widget, returned);
    }
};

QStyle* PopupStyle() {
    static QPointer<QStyle> style;
    if (!style)
        style = new DropDownListStyle;
    return style;
}

} // namespace

PopupMenu::PopupMenu() : Control(new QComboBox), mCombo(static_cast<QComboBox*>(Widget())) {
    mCombo->setStyle(PopupStyle());
    // Long preset lists must open at once: rows of one height need no measuring. The rows are
    // plain strings: tens of thousands of them cost a list of texts, not an item object each.
    auto* view = new QListView(mCombo);
    view->setUniformItemSizes(true);
    mCombo->setModel(new QStringListModel(mCombo));
    mCombo->setView(view);
    mCombo->setMaxVisibleItems(30);
    mCombo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    connect(mCombo, &QComboBox::currentIndexChanged, this, &PopupMenu::Change);
}

void PopupMenu::AddRow(const QString& text) {
    AddRows(QStringList{text});
}

void PopupMenu::AddRows(const QStringList& texts) {
    if (texts.isEmpty())
        return;
    // QComboBox selects row 0 by itself on the first insert; a popup here never does.
    const QSignalBlocker blocker(mCombo);
    const int before = mCombo->currentIndex();
    auto* model = static_cast<QStringListModel*>(mCombo->model());
    if (model->rowCount() == 0) {
        model->setStringList(texts);
    } else {
        const int at = model->rowCount();
        model->insertRows(at, int(texts.size()));
        for (int i = 0; i < texts.size(); ++i)
            model->setData(model->index(at + i), texts.at(i));
    }
    if (mCombo->currentIndex() != before)
        mCombo->setCurrentIndex(before);
}

void PopupMenu::DeleteAllRows() {
    const QSignalBlocker blocker(mCombo);
    mCombo->clear();
}

int PopupMenu::ListCount() const {
    return mCombo->count();
}

int PopupMenu::ListIndex() const {
    return mCombo->currentIndex();
}

void PopupMenu::SetListIndex(int index) {
    if (index < -1 || index >= mCombo->count())
        return;
    mCombo->setCurrentIndex(index);
}

QString PopupMenu::List(int row) const {
    return mCombo->itemText(row);
}

QString PopupMenu::Text() const {
    return mCombo->currentIndex() < 0 ? QString() : mCombo->currentText();
}

// ---- TextArea ----

namespace {

class KeyedEdit final : public QPlainTextEdit {
public:
    explicit KeyedEdit(TextArea* owner) : mOwner(owner) {}

protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (mOwner->KeyDown(event->text())) {
            event->accept();
            return;
        }
        QPlainTextEdit::keyPressEvent(event);
    }

private:
    TextArea* mOwner;
};

// A field shows every line end as a paragraph break of its own, so that a position in the
// document is the same position in the text, whatever the line ends are.
QString ForDocument(QString text) {
    for (QChar& c : text)
        if (c == QLatin1Char('\r') || c == QLatin1Char('\n'))
            c = QChar::ParagraphSeparator;
    return text;
}

QString FromDocument(QString text) {
    for (QChar& c : text)
        if (c == QChar::ParagraphSeparator || c == QChar::LineSeparator)
            c = QLatin1Char('\n');
    return text;
}

bool SameOnScreen(QChar inText, QChar inDocument) {
    if (inText == QLatin1Char('\r') || inText == QLatin1Char('\n'))
        return inDocument == QChar::ParagraphSeparator;
    return inText == inDocument;
}

} // namespace

TextArea::TextArea(Kind kind)
    : Control(kind == Kind::Log ? static_cast<QWidget*>(new LogView) : static_cast<QWidget*>(new KeyedEdit(this))) {
    auto* area = static_cast<QAbstractScrollArea*>(Widget());
    area->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    if (kind == Kind::Log) {
        mLog = static_cast<LogView*>(Widget());
        mLog->SetKeyHandler([this](const QString& key) { return KeyDown(key); });
        connect(mLog, &LogView::Edited, this, &TextArea::TextChange);
        return;
    }
    mEdit = static_cast<QPlainTextEdit*>(Widget());
    mEdit->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    mEdit->setTabChangesFocus(true);
    mEdit->setUndoRedoEnabled(true);
    connect(mEdit->document(), &QTextDocument::contentsChange, this, &TextArea::FieldEdited);
}

QString TextArea::Text() const {
    return mLog ? mLog->Content().Text() : mText;
}

void TextArea::SetText(const QString& text) {
    if (mLog) {
        if (mLog->Content().Equals(text))
            return;
        mLog->SetText(text);
    } else {
        if (mText == text)
            return;
        WriteField(0, int(mText.size()), text);
    }
    emit TextChange();
}

void TextArea::AppendText(const QString& text) {
    if (text.isEmpty())
        return;
    if (mLog)
        mLog->AppendText(text);
    else
        WriteField(int(mText.size()), 0, text);
    emit TextChange();
}

void TextArea::WriteField(int from, int count, const QString& text) {
    // The program's own writes leave no undo step behind: undo is for what the user typed.
    QTextDocument* document = mEdit->document();
    mOwnEdit = true;
    document->setUndoRedoEnabled(false);
    QTextCursor cursor(document);
    cursor.setPosition(from);
    cursor.setPosition(from + count, QTextCursor::KeepAnchor);
    cursor.insertText(ForDocument(text));
    document->setUndoRedoEnabled(true);
    mOwnEdit = false;
    mText.replace(from, count, text);
}

void TextArea::FieldEdited(int position, int removed, int added) {
    Q_UNUSED(removed);
    if (mOwnEdit)
        return;
    // Qt may report more than changed (the closing paragraph, a whole block): what is there now
    // is read back, and only what differs from the text replaces it.
    const QTextDocument* document = mEdit->document();
    const int length = document->characterCount() - 1;
    position = std::clamp(position, 0, int(mText.size()));
    QTextCursor cursor(mEdit->document());
    cursor.setPosition(std::min(position, length));
    cursor.setPosition(std::clamp(position + added, position, length), QTextCursor::KeepAnchor);
    const QString now = cursor.selectedText();
    const int before = std::clamp(int(mText.size()) + int(now.size()) - length, 0, int(mText.size()) - position);
    int head = 0;
    while (head < now.size() && head < before && SameOnScreen(mText.at(position + head), now.at(head)))
        ++head;
    int tail = 0;
    while (tail < now.size() - head && tail < before - head &&
           SameOnScreen(mText.at(position + before - 1 - tail), now.at(now.size() - 1 - tail)))
        ++tail;
    if (head == before && head == now.size())
        return;
    mText.replace(position + head, before - head - tail, FromDocument(now.mid(head, now.size() - head - tail)));
    emit TextChange();
}

int TextArea::ScrollPosition() const {
    return static_cast<QAbstractScrollArea*>(Widget())->verticalScrollBar()->value();
}

void TextArea::SetScrollPosition(int line) {
    if (mLog) {
        mLog->ScrollToRow(line);
        return;
    }
    QScrollBar* bar = mEdit->verticalScrollBar();
    bar->setValue(qBound(bar->minimum(), line, bar->maximum()));
}

int TextArea::LineCount() const {
    return mLog ? int(std::min<qint64>(mLog->Content().LineCount(), INT_MAX)) : mEdit->document()->blockCount();
}

void TextArea::SetBackColor(const QColor& color) {
    mBackColor = color;
    QPalette palette = Widget()->palette();
    palette.setColor(QPalette::Base, color);
    Widget()->setPalette(palette);
}

bool TextArea::ReadOnly() const {
    return mLog ? mLog->IsReadOnly() : mEdit->isReadOnly();
}

void TextArea::SetReadOnly(bool readOnly) {
    if (mLog)
        mLog->SetReadOnly(readOnly);
    else
        mEdit->setReadOnly(readOnly);
}

void TextArea::SetKeyDownHandler(std::function<bool(const QString&)> handler) {
    mKeyDown = std::move(handler);
}

bool TextArea::KeyDown(const QString& key) {
    return mKeyDown ? mKeyDown(key) : false;
}

void TextArea::SetTerminalKeys(bool on) {
    if (mLog)
        mLog->SetTerminalKeys(on);
}

QString TextArea::ShownText() const {
    return mLog ? mLog->ShownText() : mEdit->toPlainText();
}

// ---- TextField ----

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

// ---- Graphics and Listbox ----

void Graphics::FillRect(int x, int y, int width, int height) {
    if (mPainter)
        mPainter->fillRect(x, y, width, height, ForeColor);
}

namespace {

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
    if (row < 0 || row >= int(mTags.size()) || column < 0 || column >= int(mTags[row].size()))
        return FolderItem();
    return mTags[row][column];
}

void Listbox::SetCellTag(int row, int column, const FolderItem& tag) {
    if (row < 0 || row >= int(mTags.size()) || column < 0 || column >= int(mTags[row].size()))
        return;
    mTags[row][column] = tag;
}

int Listbox::CellType(int row, int column) const {
    if (row < 0 || row >= int(mTypes.size()) || column < 0 || column >= int(mTypes[row].size()))
        return 0;
    return mTypes[row][column];
}

void Listbox::SetCellType(int row, int column, int type) {
    if (row < 0 || row >= int(mTypes.size()) || column < 0 || column >= int(mTypes[row].size()))
        return;
    mTypes[row][column] = type;
    SetCell(row, column, Cell(row, column));
    QTableWidgetItem* item = mTable->item(row, column);
    mOwnEdit = true;
    // 3 is an editable text cell.
    item->setFlags(type == 3 ? item->flags() | Qt::ItemIsEditable : item->flags() & ~Qt::ItemIsEditable);
    mOwnEdit = false;
}

void Listbox::AddRow(const QString& first) {
    const int row = mTable->rowCount();
    mTable->insertRow(row);
    const int columns = mTable->columnCount();
    mTags.emplace_back(std::size_t(columns));
    mTypes.emplace_back(std::size_t(columns), 0);
    for (int c = 0; c < columns; ++c)
        SetCell(row, c, QString());
    SetCell(row, 0, first);
}

void Listbox::RemoveRow(int row) {
    if (row < 0 || row >= mTable->rowCount())
        return;
    mTable->removeRow(row);
    mTags.erase(mTags.begin() + row);
    mTypes.erase(mTypes.begin() + row);
}

void Listbox::DeleteAllRows() {
    mTable->setRowCount(0);
    mTags.clear();
    mTypes.clear();
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
