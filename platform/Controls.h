#pragma once

#include "platform/FolderItem.h"

#include <QColor>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

class QWidget;
class QComboBox;
class QPlainTextEdit;
class QLineEdit;
class QPushButton;
class QCheckBox;
class QLabel;
class QTableWidget;
class QPainter;
class LogView;
class Window;

// Window edges a control keeps its distance to when the window is resized.
enum Lock { LockNone = 0, LockLeft = 1, LockTop = 2, LockRight = 4, LockBottom = 8 };

// Base of every window control: a name, a place on the window and an Open event that the
// window raises once, in creation order, when it opens.
class Control : public QObject {
    Q_OBJECT
public:
    ~Control() override;

    QString Name() const { return objectName(); }
    int Left() const { return mLeft; }
    int Top() const { return mTop; }
    int Width() const { return mWidth; }
    int Height() const { return mHeight; }
    int Locks() const { return mLocks; }
    int TabIndex() const { return mTab; }
    // Parked controls stand outside the window: alive, but never shown.
    bool Parked() const;

    bool Enabled() const;
    void SetEnabled(bool enabled);
    bool Visible() const { return mVisible; }
    void SetVisible(bool visible);
    void SetTextSize(int points);
    QWidget* Widget() const { return mWidget; }

signals:
    void Open();

protected:
    explicit Control(QWidget* widget);

private:
    friend class Window;
    QWidget* mWidget;
    int mLeft = 0, mTop = 0, mWidth = 0, mHeight = 0, mLocks = 0, mTab = 0;
    bool mVisible = true;
};

class Label final : public Control {
    Q_OBJECT
public:
    Label();
    QString Text() const;
    void SetText(const QString& text);

private:
    QLabel* mLabel;
};

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

using BevelButton = PushButton;

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

// A multi-line text pane. Text gives back exactly what the program wrote and the user typed,
// carriage returns and all; what is shown is derived from it. A log (`rEF`) is a LogView, laid out
// only where it is seen; a field is a small QPlainTextEdit. Text the program writes is never
// undoable, the user's own edits are.
class TextArea final : public Control {
    Q_OBJECT
public:
    enum class Kind { Field, Log };
    explicit TextArea(Kind kind = Kind::Field);
    QString Text() const;
    void SetText(const QString& text);
    void AppendText(const QString& text);
    int ScrollPosition() const;
    void SetScrollPosition(int line);
    int LineCount() const;
    QColor BackColor() const { return mBackColor; }
    void SetBackColor(const QColor& color);
    bool ReadOnly() const;
    void SetReadOnly(bool readOnly);
    // Called with each key's text before the pane handles it; true consumes the key.
    void SetKeyDownHandler(std::function<bool(const QString&)> handler);
    bool KeyDown(const QString& key);
    // A log only: while on, Ctrl+letter goes to KeyDown as its control character.
    void SetTerminalKeys(bool on);
    // The log's text as it is shown on screen, its lines joined by line feeds.
    QString ShownText() const;

signals:
    void TextChange();

private:
    void FieldEdited(int position, int removed, int added);
    void WriteField(int from, int count, const QString& text);

    QPlainTextEdit* mEdit = nullptr;
    LogView* mLog = nullptr;
    // A field's text; the document on screen holds it one character for one.
    QString mText;
    bool mOwnEdit = false;
    QColor mBackColor = Qt::white;
    std::function<bool(const QString&)> mKeyDown;
};

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

// Paint surface handed to a list's background painter.
class Graphics {
public:
    Graphics(QPainter* painter, int width, int height) : mPainter(painter), mWidth(width), mHeight(height) {}
    QColor ForeColor;
    int Width() const { return mWidth; }
    int Height() const { return mHeight; }
    void FillRect(int x, int y, int width, int height);

private:
    QPainter* mPainter;
    int mWidth, mHeight;
};

class Listbox final : public Control {
    Q_OBJECT
public:
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
    std::vector<std::vector<FolderItem>> mTags;
    std::vector<std::vector<int>> mTypes;
    std::function<bool(Graphics&, int, int)> mPainter;
    bool mOwnEdit = false;
};
