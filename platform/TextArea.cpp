#include "platform/TextArea.h"

#include "platform/LogView.h"

#include <QKeyEvent>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTextCursor>
#include <QTextDocument>

#include <algorithm>
#include <climits>

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
