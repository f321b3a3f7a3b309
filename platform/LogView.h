#pragma once

#include "platform/LogText.h"

#include <QAbstractScrollArea>
#include <QString>
#include <QTimer>

#include <functional>
#include <vector>

// The log and terminal pane. Its text is a LogText, laid out only where it is seen: a row of a
// fixed-pitch font holds a fixed number of characters, so finding any row is a look-up, and an
// append costs what was appended, however much the pane already holds. The user may select,
// copy, type at the caret and edit; those edits, and only those, can be undone.
class LogView final : public QAbstractScrollArea {
    Q_OBJECT
public:
    explicit LogView(QWidget* parent = nullptr);
    ~LogView() override;

    const LogText& Content() const { return mText; }
    // Writes by the program: they replace or extend the text and are not undoable.
    void SetText(QStringView text);
    void AppendText(QStringView text);
    // Scrolls so that a row is at the top; one past the end shows the end.
    void ScrollToRow(int row);

    qint64 Caret() const { return mCaret; }
    qint64 Anchor() const { return mAnchor; }
    void SetCaret(qint64 at, bool keepAnchor = false);
    bool HasSelection() const { return mCaret != mAnchor; }
    // What the selection shows on screen, its rows' lines joined by line feeds.
    QString SelectedText() const;
    QString ShownText() const;
    bool IsReadOnly() const { return mReadOnly; }
    void SetReadOnly(bool readOnly) { mReadOnly = readOnly; }
    // While on (a session is open), Ctrl+letter goes to the key handler as its control character
    // instead of to the Edit menu.
    void SetTerminalKeys(bool on) { mTerminalKeys = on; }
    // Called with each key's text before the pane handles it; true consumes the key.
    void SetKeyHandler(std::function<bool(const QString&)> handler) { mKeyHandler = std::move(handler); }
    // Where the caret, or a character, is on screen, in viewport coordinates.
    QRect CaretRect() const;
    QRect CharacterRect(qint64 at) const;
    // An edit on the user's behalf, as an assistive tool makes it: undoable, like typing.
    void EditText(qint64 from, qint64 count, const QString& text) { UserReplace(from, count, text, false); }
    // The text position under a viewport point.
    qint64 PositionAt(QPoint point) const;

public slots:
    void undo();
    void cut();
    void copy();
    void paste();
    void selectAll();
    void del();

signals:
    // The user changed the text.
    void Edited();

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    QVariant inputMethodQuery(Qt::InputMethodQuery query) const override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    struct Edit {
        qint64 at;
        QString removed;
        QString inserted;
        bool typed;
    };

    void UserReplace(qint64 from, qint64 count, const QString& text, bool typed);
    void Relayout();
    void UpdateScrollRange();
    void UpdateSoon();
    int VisibleRows() const;
    qint64 Visible(qint64 at) const;
    qint64 RowOf(qint64 at) const;
    qint64 ColumnOf(qint64 at) const;
    qint64 PositionOf(qint64 row, qint64 column) const;
    qint64 PreviousPosition(qint64 at) const;
    qint64 NextPosition(qint64 at) const;
    bool MoveByKey(QKeyEvent* event);
    bool EditByShortcut(QKeyEvent* event);
    void EnsureCaretVisible();
    void Notify(qint64 from, const QString& removed, const QString& inserted);

    LogText mText;
    qint64 mCaret = 0;
    qint64 mAnchor = 0;
    qint64 mGoalColumn = -1;
    bool mReadOnly = false;
    bool mTerminalKeys = false;
    bool mProgramScroll = false;
    bool mDragging = false;
    std::function<bool(const QString&)> mKeyHandler;
    std::vector<Edit> mUndo;
    qreal mCellWidth = 7;
    int mRowHeight = 14;
    int mAscent = 11;
    // A flood is shown some thirty times a second, not once per arrival: each frame sent to the
    // display server is one the loop may have to wait for.
    QTimer mRepaint;
};
