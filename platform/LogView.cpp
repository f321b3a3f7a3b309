#include "platform/LogView.h"

#include "platform/TerminalKeys.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <cmath>

namespace {

constexpr int kMargin = 4;
constexpr int kRepaintMs = 33;

QString Printable(QString text) {
    for (QChar& c : text)
        if (c.unicode() < 0x20 || c.unicode() == 0x7F)
            c = QLatin1Char(' ');
    return text;
}

bool IsWordCharacter(QChar c) {
    return c.isLetterOrNumber() || c == QLatin1Char('_');
}

} // namespace

// ---- Accessibility ----

namespace {

// What a screen reader reads: the pane's whole text, its caret and its selection, as a text
// control offers them (AT-SPI on Linux).
class LogViewAccessible final : public QAccessibleWidget,
                                public QAccessibleTextInterface,
                                public QAccessibleEditableTextInterface {
public:
    explicit LogViewAccessible(LogView* view) : QAccessibleWidget(view, QAccessible::EditableText) {}

    void* interface_cast(QAccessible::InterfaceType type) override {
        if (type == QAccessible::TextInterface)
            return static_cast<QAccessibleTextInterface*>(this);
        if (type == QAccessible::EditableTextInterface)
            return static_cast<QAccessibleEditableTextInterface*>(this);
        return QAccessibleWidget::interface_cast(type);
    }

    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.multiLine = true;
        state.editable = !View()->IsReadOnly();
        state.readOnly = View()->IsReadOnly();
        state.selectableText = true;
        return state;
    }

    QString text(QAccessible::Text kind) const override {
        if (kind == QAccessible::Value)
            return View()->Content().Text();
        return QAccessibleWidget::text(kind);
    }

    // Text
    void selection(int index, int* start, int* end) const override {
        *start = *end = 0;
        if (index == 0 && View()->HasSelection()) {
            *start = Clip(std::min(View()->Caret(), View()->Anchor()));
            *end = Clip(std::max(View()->Caret(), View()->Anchor()));
        }
    }
    int selectionCount() const override { return View()->HasSelection() ? 1 : 0; }
    void addSelection(int start, int end) override { setSelection(0, start, end); }
    void removeSelection(int) override { View()->SetCaret(View()->Caret()); }
    void setSelection(int, int start, int end) override {
        View()->SetCaret(start);
        View()->SetCaret(end, true);
    }
    int cursorPosition() const override { return Clip(View()->Caret()); }
    void setCursorPosition(int position) override { View()->SetCaret(position); }
    QString text(int start, int end) const override { return View()->Content().Mid(start, qint64(end) - start); }
    int characterCount() const override { return Clip(View()->Content().Size()); }
    QRect characterRect(int offset) const override {
        const QRect cell = View()->CharacterRect(offset);
        return QRect(View()->viewport()->mapToGlobal(cell.topLeft()), cell.size());
    }
    int offsetAtPoint(const QPoint& point) const override {
        return Clip(View()->PositionAt(View()->viewport()->mapFromGlobal(point)));
    }
    void scrollToSubstring(int start, int) override { View()->SetCaret(start); }
    QString attributes(int offset, int* start, int* end) const override {
        *start = *end = offset;
        return QString();
    }

    // Editable text
    void deleteText(int start, int end) override { View()->EditText(start, qint64(end) - start, QString()); }
    void insertText(int offset, const QString& text) override { View()->EditText(offset, 0, text); }
    void replaceText(int start, int end, const QString& text) override {
        View()->EditText(start, qint64(end) - start, text);
    }

private:
    LogView* View() const { return static_cast<LogView*>(widget()); }
    static int Clip(qint64 value) { return int(std::min<qint64>(value, INT_MAX)); }
};

QAccessibleInterface* MakeLogViewAccessible(const QString& className, QObject* object) {
    if (className == QLatin1String("LogView") && object && object->isWidgetType())
        return new LogViewAccessible(static_cast<LogView*>(object));
    return nullptr;
}

} // namespace

LogView::LogView(QWidget* parent) : QAbstractScrollArea(parent) {
    static const bool accessible = [] {
        QAccessible::installFactory(MakeLogViewAccessible);
        return true;
    }();
    Q_UNUSED(accessible);
#ifdef __GLIBC__
    // A flood arrives as a stream of pieces of 64 KB and more. With glibc's defaults each one is
    // mapped and unmapped, or the heap grows and is trimmed for it, and every fresh page faults:
    // that, not the text, is most of the cost. Pieces stay in the heap now, and the pane's large
    // blocks are still mapped, so Clear still gives them back at once.
    static const bool tuned = [] {
        mallopt(M_MMAP_THRESHOLD, 1 << 20);
        mallopt(M_TRIM_THRESHOLD, 16 << 20);
        return true;
    }();
    Q_UNUSED(tuned);
#endif
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_InputMethodEnabled);
    setAcceptDrops(true);
    viewport()->setAcceptDrops(true);
    viewport()->setCursor(Qt::IBeamCursor);
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);
    mRepaint.setSingleShot(true);
    mRepaint.setInterval(kRepaintMs);
    connect(&mRepaint, &QTimer::timeout, this, [this] {
        verticalScrollBar()->setUpdatesEnabled(true);
        viewport()->update();
    });
    Relayout();
}

LogView::~LogView() = default;

// ---- Program writes ----

void LogView::SetText(QStringView text) {
    const qint64 removed = mText.Size();
    mText.Clear();
    mText.Append(text);
    mUndo.clear();
    mUndo.shrink_to_fit();
    mCaret = mAnchor = mText.Size();
    mGoalColumn = -1;
    UpdateScrollRange();
    viewport()->update();
    if (QAccessible::isActive()) {
        if (removed > 0) {
            QAccessibleTextRemoveEvent gone(this, 0, QString());
            QAccessible::updateAccessibility(&gone);
        }
        QAccessibleTextInsertEvent added(this, 0, text.toString());
        QAccessible::updateAccessibility(&added);
    }
}

void LogView::AppendText(QStringView text) {
    if (text.isEmpty())
        return;
    const qint64 end = mText.Size();
    const bool caretFollows = mCaret == end;
    const bool anchorFollows = mAnchor == end;
    mText.Append(text);
    if (caretFollows)
        mCaret = mText.Size();
    if (anchorFollows)
        mAnchor = mText.Size();
    UpdateScrollRange();
    UpdateSoon();
    if (QAccessible::isActive()) {
        QAccessibleTextInsertEvent added(this, int(std::min<qint64>(end, INT_MAX)), text.toString());
        QAccessible::updateAccessibility(&added);
    }
}

void LogView::ScrollToRow(int row) {
    QScrollBar* bar = verticalScrollBar();
    mProgramScroll = true;
    bar->setValue(std::clamp(row, bar->minimum(), bar->maximum()));
    mProgramScroll = false;
}

// ---- The user's edits ----

void LogView::UserReplace(qint64 from, qint64 count, const QString& text, bool typed) {
    if (mReadOnly || (count == 0 && text.isEmpty()))
        return;
    const QString removed = mText.Mid(from, count);
    mText.Replace(from, count, text);
    Edit* last = mUndo.empty() ? nullptr : &mUndo.back();
    if (typed && count == 0 && last && last->typed && last->removed.isEmpty() &&
        last->at + last->inserted.size() == from)
        last->inserted += text;
    else
        mUndo.push_back({from, removed, text, typed});
    mCaret = mAnchor = from + text.size();
    mGoalColumn = -1;
    UpdateScrollRange();
    EnsureCaretVisible();
    viewport()->update();
    Notify(from, removed, text);
    emit Edited();
}

void LogView::Notify(qint64 from, const QString& removed, const QString& inserted) {
    if (!QAccessible::isActive())
        return;
    const int at = int(std::min<qint64>(from, INT_MAX));
    if (!removed.isEmpty()) {
        QAccessibleTextRemoveEvent gone(this, at, removed);
        QAccessible::updateAccessibility(&gone);
    }
    if (!inserted.isEmpty()) {
        QAccessibleTextInsertEvent added(this, at, inserted);
        QAccessible::updateAccessibility(&added);
    }
    QAccessibleTextCursorEvent moved(this, int(std::min<qint64>(mCaret, INT_MAX)));
    QAccessible::updateAccessibility(&moved);
}

void LogView::undo() {
    if (mUndo.empty())
        return;
    const Edit edit = mUndo.back();
    mUndo.pop_back();
    mText.Replace(edit.at, edit.inserted.size(), edit.removed);
    mCaret = mAnchor = edit.at + edit.removed.size();
    UpdateScrollRange();
    EnsureCaretVisible();
    viewport()->update();
    Notify(edit.at, edit.inserted, edit.removed);
    emit Edited();
}

void LogView::cut() {
    if (!HasSelection() || mReadOnly)
        return;
    copy();
    del();
}

void LogView::copy() {
    if (HasSelection())
        QGuiApplication::clipboard()->setText(SelectedText());
}

void LogView::paste() {
    const QString text = QGuiApplication::clipboard()->text();
    if (text.isEmpty())
        return;
    const qint64 from = std::min(mCaret, mAnchor);
    UserReplace(from, std::max(mCaret, mAnchor) - from, text, false);
}

void LogView::selectAll() {
    SetCaret(0);
    SetCaret(mText.Size(), true);
}

void LogView::del() {
    const qint64 from = std::min(mCaret, mAnchor);
    UserReplace(from, std::max(mCaret, mAnchor) - from, QString(), false);
}

// ---- Caret and selection ----

void LogView::SetCaret(qint64 at, bool keepAnchor) {
    mCaret = Visible(at);
    if (!keepAnchor)
        mAnchor = mCaret;
    EnsureCaretVisible();
    viewport()->update();
    if (QAccessible::isActive()) {
        QAccessibleTextCursorEvent moved(this, int(std::min<qint64>(mCaret, INT_MAX)));
        QAccessible::updateAccessibility(&moved);
        if (keepAnchor) {
            QAccessibleTextSelectionEvent selected(this, int(std::min(mCaret, mAnchor)),
                                                   int(std::max(mCaret, mAnchor)));
            QAccessible::updateAccessibility(&selected);
        }
    }
}

QString LogView::SelectedText() const {
    const qint64 from = std::min(mCaret, mAnchor);
    const qint64 to = std::max(mCaret, mAnchor);
    QString text;
    for (qint64 line = mText.LineAt(from); line < mText.LineCount() && mText.LineStart(line) <= to; ++line) {
        if (mText.LineStart(line) > from)
            text += QLatin1Char('\n');
        const qint64 a = std::max(from, mText.ShownStart(line));
        const qint64 b = std::min(to, mText.ShownEnd(line));
        if (b > a)
            text += mText.Mid(a, b - a);
    }
    return text;
}

QString LogView::ShownText() const {
    QString text;
    for (qint64 line = 0; line < mText.LineCount(); ++line) {
        if (line > 0)
            text += QLatin1Char('\n');
        text += mText.Mid(mText.ShownStart(line), mText.ShownEnd(line) - mText.ShownStart(line));
    }
    return text;
}

qint64 LogView::Visible(qint64 at) const {
    at = std::clamp<qint64>(at, 0, mText.Size());
    const qint64 line = mText.LineAt(at);
    return std::clamp(at, mText.ShownStart(line), mText.ShownEnd(line));
}

qint64 LogView::ColumnOf(qint64 at) const {
    const qint64 line = mText.LineAt(at);
    const qint64 offset = at - mText.ShownStart(line);
    const qint64 sub = std::min(offset / mText.Columns(), mText.RowsOf(line) - 1);
    return offset - sub * mText.Columns();
}

qint64 LogView::RowOf(qint64 at) const {
    const qint64 line = mText.LineAt(at);
    const qint64 offset = at - mText.ShownStart(line);
    return mText.FirstRowOf(line) + std::min(offset / mText.Columns(), mText.RowsOf(line) - 1);
}

qint64 LogView::PositionOf(qint64 row, qint64 column) const {
    if (row >= mText.RowCount())
        return mText.Size();
    const auto [line, sub] = mText.LineOfRow(std::max<qint64>(0, row));
    const qint64 start = mText.ShownStart(line) + sub * mText.Columns();
    const qint64 end = std::min(start + mText.Columns(), mText.ShownEnd(line));
    return std::clamp(start + column, start, end);
}

qint64 LogView::PositionAt(QPoint point) const {
    const qint64 row = verticalScrollBar()->value() + std::floor(double(point.y()) / mRowHeight);
    const qint64 column = std::max<qint64>(0, qRound((point.x() - kMargin) / mCellWidth));
    return PositionOf(std::max<qint64>(0, row), column);
}

QRect LogView::CharacterRect(qint64 at) const {
    at = Visible(at);
    const qint64 row = RowOf(at) - verticalScrollBar()->value();
    const int x = kMargin + int(ColumnOf(at) * mCellWidth);
    return QRect(x, int(row * mRowHeight), int(std::ceil(mCellWidth)), mRowHeight);
}

QRect LogView::CaretRect() const {
    const qint64 caret = Visible(mCaret);
    const qint64 row = RowOf(caret) - verticalScrollBar()->value();
    const int x = kMargin + int(ColumnOf(caret) * mCellWidth);
    return QRect(x, int(row * mRowHeight), 1, mRowHeight);
}

qint64 LogView::PreviousPosition(qint64 at) const {
    const qint64 line = mText.LineAt(at);
    if (at > mText.ShownStart(line))
        return at - 1;
    return line > 0 ? mText.ShownEnd(line - 1) : at;
}

qint64 LogView::NextPosition(qint64 at) const {
    const qint64 line = mText.LineAt(at);
    if (at < mText.ShownEnd(line))
        return at + 1;
    return line + 1 < mText.LineCount() ? mText.ShownStart(line + 1) : at;
}

void LogView::EnsureCaretVisible() {
    const qint64 row = RowOf(Visible(mCaret));
    QScrollBar* bar = verticalScrollBar();
    if (row < bar->value())
        bar->setValue(int(std::min<qint64>(row, INT_MAX)));
    else if (row >= bar->value() + VisibleRows())
        bar->setValue(int(std::min<qint64>(row - VisibleRows() + 1, INT_MAX)));
}

// ---- Layout and painting ----

int LogView::VisibleRows() const {
    return std::max(1, viewport()->height() / mRowHeight);
}

void LogView::Relayout() {
    const QFontMetricsF metrics(font());
    mCellWidth = std::max<qreal>(1, metrics.horizontalAdvance(QLatin1Char('M')));
    mRowHeight = std::max(1, int(std::ceil(metrics.lineSpacing())));
    mAscent = int(std::ceil(metrics.ascent()));
    // Keep the line at the top where it is while the rows are counted anew.
    const qint64 top = mText.LineOfRow(verticalScrollBar()->value()).first;
    mText.SetColumns(std::max(1, int((viewport()->width() - 2 * kMargin) / mCellWidth)));
    UpdateScrollRange();
    verticalScrollBar()->setValue(int(std::min<qint64>(mText.FirstRowOf(top), INT_MAX)));
    viewport()->update();
}

void LogView::UpdateScrollRange() {
    QScrollBar* bar = verticalScrollBar();
    const int rows = VisibleRows();
    const qint64 maximum = std::max<qint64>(0, mText.RowCount() - rows);
    bar->setRange(0, int(std::min<qint64>(maximum, INT_MAX)));
    bar->setPageStep(rows);
    bar->setSingleStep(1);
}

void LogView::UpdateSoon() {
    if (mRepaint.isActive())
        return;
    // The scroll bar follows each append exactly, but is drawn at the same pace as the text.
    verticalScrollBar()->setUpdatesEnabled(false);
    mRepaint.start();
}

void LogView::scrollContentsBy(int, int) {
    if (mProgramScroll)
        UpdateSoon();
    else
        viewport()->update();
}

void LogView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    Relayout();
}

void LogView::changeEvent(QEvent* event) {
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        Relayout();
}

void LogView::paintEvent(QPaintEvent*) {
    QPainter painter(viewport());
    painter.setFont(font());
    const QPalette::ColorGroup group = hasFocus() ? QPalette::Active : QPalette::Inactive;
    const QColor textColor = palette().color(group, QPalette::Text);
    const QColor selectionBack = palette().color(group, QPalette::Highlight);
    const QColor selectionText = palette().color(group, QPalette::HighlightedText);
    const qint64 from = std::min(mCaret, mAnchor);
    const qint64 to = std::max(mCaret, mAnchor);
    const qint64 caret = Visible(mCaret);
    const qint64 caretRow = RowOf(caret);
    const int columns = mText.Columns();
    const int height = viewport()->height();

    qint64 row = verticalScrollBar()->value();
    if (row >= mText.RowCount())
        return;
    auto [line, sub] = mText.LineOfRow(row);
    qint64 rowsOfLine = mText.RowsOf(line);
    for (int y = 0; y < height && line < mText.LineCount(); y += mRowHeight, ++row) {
        const qint64 start = mText.ShownStart(line) + sub * columns;
        const qint64 end = std::min(start + columns, mText.ShownEnd(line));
        if (end > start) {
            painter.setPen(textColor);
            painter.drawText(QPointF(kMargin, y + mAscent), Printable(mText.Mid(start, end - start)));
            const qint64 a = std::max(from, start);
            const qint64 b = std::min(to, end);
            if (b > a) {
                const QRectF band(kMargin + (a - start) * mCellWidth, y, (b - a) * mCellWidth, mRowHeight);
                painter.fillRect(band, selectionBack);
                painter.setPen(selectionText);
                painter.drawText(QPointF(band.left(), y + mAscent), Printable(mText.Mid(a, b - a)));
            }
        }
        if (row == caretRow && hasFocus()) {
            const int x = kMargin + int(ColumnOf(caret) * mCellWidth);
            painter.fillRect(QRect(x, y, 1, mRowHeight), textColor);
        }
        if (++sub >= rowsOfLine) {
            ++line;
            sub = 0;
            if (line < mText.LineCount())
                rowsOfLine = mText.RowsOf(line);
        }
    }
}

// ---- Keys ----

bool LogView::event(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride) {
        auto* key = static_cast<QKeyEvent*>(event);
        // The pane's own keys win over the menu's; the Edit keys without a session go to the menu.
        if (TerminalKeys::RouteOf(key->key(), key->modifiers(), key->text(), mTerminalKeys) !=
            TerminalKeys::Route::Menu) {
            event->accept();
            return true;
        }
    }
    return QAbstractScrollArea::event(event);
}

bool LogView::EditByShortcut(QKeyEvent* event) {
    switch (TerminalKeys::RouteOf(event->key(), event->modifiers(), event->text(), mTerminalKeys)) {
    case TerminalKeys::Route::Copy:
        copy();
        return true;
    case TerminalKeys::Route::Paste:
        paste();
        return true;
    case TerminalKeys::Route::Board:
        return false;
    case TerminalKeys::Route::Pane:
    case TerminalKeys::Route::Menu:
        break;
    }
    // Reached only where no menu took the key: the pane does what the Edit menu would.
    if (event->matches(QKeySequence::Copy))
        copy();
    else if (event->matches(QKeySequence::Cut))
        cut();
    else if (event->matches(QKeySequence::Paste))
        paste();
    else if (event->matches(QKeySequence::SelectAll))
        selectAll();
    else if (event->matches(QKeySequence::Undo))
        undo();
    else
        return false;
    return true;
}

bool LogView::MoveByKey(QKeyEvent* event) {
    const bool extend = event->modifiers() & Qt::ShiftModifier;
    const bool whole = event->modifiers() & Qt::ControlModifier;
    const qint64 caret = Visible(mCaret);
    const qint64 goal = mGoalColumn >= 0 ? mGoalColumn : ColumnOf(caret);
    qint64 target = caret;
    bool vertical = false;
    switch (event->key()) {
    case Qt::Key_Left:
        target = !extend && HasSelection() ? std::min(mCaret, mAnchor) : PreviousPosition(caret);
        break;
    case Qt::Key_Right:
        target = !extend && HasSelection() ? std::max(mCaret, mAnchor) : NextPosition(caret);
        break;
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown: {
        const qint64 step = event->key() == Qt::Key_Up || event->key() == Qt::Key_Down ? 1 : VisibleRows();
        const qint64 sign = event->key() == Qt::Key_Up || event->key() == Qt::Key_PageUp ? -1 : 1;
        const qint64 row = std::clamp<qint64>(RowOf(caret) + sign * step, 0, mText.RowCount() - 1);
        target = PositionOf(row, goal);
        vertical = true;
        break;
    }
    case Qt::Key_Home:
        target = whole ? 0 : PositionOf(RowOf(caret), 0);
        break;
    case Qt::Key_End:
        target = whole ? mText.Size() : PositionOf(RowOf(caret), mText.Columns());
        break;
    default:
        return false;
    }
    SetCaret(target, extend);
    mGoalColumn = vertical ? goal : -1;
    return true;
}

void LogView::keyPressEvent(QKeyEvent* event) {
    if (EditByShortcut(event)) {
        event->accept();
        return;
    }
    const bool control = mTerminalKeys && TerminalKeys::IsControlKey(event->key(), event->modifiers());
    const QString text = control ? QString(TerminalKeys::ControlCharacter(event->key())) : event->text();
    if (mKeyHandler && mKeyHandler(text)) {
        event->accept();
        return;
    }
    if (control || MoveByKey(event)) {
        event->accept();
        return;
    }
    const qint64 from = std::min(mCaret, mAnchor);
    const qint64 to = std::max(mCaret, mAnchor);
    switch (event->key()) {
    case Qt::Key_Backspace:
        if (HasSelection())
            del();
        else
            UserReplace(PreviousPosition(Visible(mCaret)), Visible(mCaret) - PreviousPosition(Visible(mCaret)),
                        QString(), false);
        break;
    case Qt::Key_Delete:
        if (HasSelection())
            del();
        else
            UserReplace(Visible(mCaret), NextPosition(Visible(mCaret)) - Visible(mCaret), QString(), false);
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        UserReplace(from, to - from, QStringLiteral("\n"), true);
        break;
    default:
        if (!TerminalKeys::IsTypedText(text) || (event->modifiers() & (Qt::ControlModifier | Qt::MetaModifier))) {
            event->ignore();
            return;
        }
        UserReplace(from, to - from, text, true);
    }
    event->accept();
}

void LogView::inputMethodEvent(QInputMethodEvent* event) {
    if (!event->commitString().isEmpty()) {
        const qint64 from = std::min(mCaret, mAnchor);
        UserReplace(from, std::max(mCaret, mAnchor) - from, event->commitString(), true);
    }
    event->accept();
}

QVariant LogView::inputMethodQuery(Qt::InputMethodQuery query) const {
    if (query == Qt::ImCursorRectangle)
        return QRectF(CaretRect());
    if (query == Qt::ImEnabled)
        return !mReadOnly;
    return QAbstractScrollArea::inputMethodQuery(query);
}

// ---- Mouse, menu, focus, drops ----

void LogView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    mDragging = true;
    SetCaret(PositionAt(event->position().toPoint()), event->modifiers() & Qt::ShiftModifier);
    mGoalColumn = -1;
}

void LogView::mouseMoveEvent(QMouseEvent* event) {
    if (!mDragging || !(event->buttons() & Qt::LeftButton))
        return;
    const QPoint point = event->position().toPoint();
    QScrollBar* bar = verticalScrollBar();
    if (point.y() < 0)
        bar->setValue(bar->value() - 1);
    else if (point.y() > viewport()->height())
        bar->setValue(bar->value() + 1);
    SetCaret(PositionAt(point), true);
}

void LogView::mouseReleaseEvent(QMouseEvent* event) {
    mDragging = false;
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (event->button() == Qt::LeftButton && HasSelection() && clipboard->supportsSelection())
        clipboard->setText(SelectedText(), QClipboard::Selection);
}

void LogView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    const qint64 at = PositionAt(event->position().toPoint());
    const qint64 line = mText.LineAt(at);
    qint64 from = at;
    qint64 to = at;
    while (from > mText.ShownStart(line) && IsWordCharacter(mText.At(from - 1)))
        --from;
    while (to < mText.ShownEnd(line) && IsWordCharacter(mText.At(to)))
        ++to;
    SetCaret(from);
    SetCaret(to, true);
}

void LogView::contextMenuEvent(QContextMenuEvent* event) {
    QMenu menu(this);
    menu.addAction(tr("Copy"), this, &LogView::copy)->setEnabled(HasSelection());
    menu.addAction(tr("Paste"), this, &LogView::paste)->setEnabled(!mReadOnly);
    menu.addSeparator();
    menu.addAction(tr("Select All"), this, &LogView::selectAll);
    menu.exec(event->globalPos());
}

void LogView::focusInEvent(QFocusEvent* event) {
    QAbstractScrollArea::focusInEvent(event);
    viewport()->update();
}

void LogView::focusOutEvent(QFocusEvent* event) {
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update();
}

void LogView::dragEnterEvent(QDragEnterEvent* event) {
    if (!mReadOnly && event->mimeData()->hasText())
        event->acceptProposedAction();
}

void LogView::dragMoveEvent(QDragMoveEvent* event) {
    if (!mReadOnly && event->mimeData()->hasText())
        event->acceptProposedAction();
}

void LogView::dropEvent(QDropEvent* event) {
    if (mReadOnly || !event->mimeData()->hasText())
        return;
    const qint64 at = PositionAt(event->position().toPoint());
    UserReplace(at, 0, event->mimeData()->text(), false);
    event->acceptProposedAction();
}
