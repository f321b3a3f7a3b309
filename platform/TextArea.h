#pragma once

#include "platform/Control.h"

#include <QColor>
#include <QString>

#include <functional>

class QPlainTextEdit;
class LogView;

// A multi-line text pane. Text gives back exactly what the program wrote and the user typed,
// carriage returns and all; what is shown is derived from it. A log (`rEF`) is a LogView, laid out
// only where it is seen; a field is a small QPlainTextEdit. Text the program writes is never
// undoable, the user's own edits are.
class TextArea final : public Control {
    Q_OBJECT
public:
    enum class Kind { Field, Log };
    // The line a log is scrolled to after each write: past the end of the text it shows the
    // end, so a log up to this many lines follows its output.
    static constexpr int kScrollLineLimit = 10000;

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
