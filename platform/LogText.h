#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>

#include <deque>
#include <utility>
#include <vector>

// The text of a log pane, held once and compactly, as a terminal keeps its scrollback: one byte
// a character while every character fits in Latin-1 (all a serial port ever delivers), two from
// the first one that doesn't. Lines are indexed by where they start. What a line shows is derived
// from it: a carriage return that is not the last character of its line takes the line back to
// its start, and a line wider than the pane is broken into rows. Neither touches the text.
class LogText {
public:
    LogText();

    qint64 Size() const { return mSize; }
    QChar At(qint64 at) const;
    QString Mid(qint64 from, qint64 count) const;
    QString Text() const { return Mid(0, Size()); }
    bool Equals(QStringView text) const;

    void Append(QStringView text);
    void Replace(qint64 from, qint64 count, QStringView text);
    // Gives the memory back at once.
    void Clear();

    qint64 LineCount() const { return qint64(mStarts.size()); }
    qint64 LineAt(qint64 at) const;
    qint64 LineStart(qint64 line) const { return mStarts[std::size_t(line)]; }
    // Where the line's own characters end: before its line feed, or at the end of the text.
    qint64 LineEnd(qint64 line) const;
    // The part of a line that is on screen: after its last overwriting carriage return, and
    // without a carriage return at its end.
    qint64 ShownStart(qint64 line) const { return LineStart(line) + mHeads[std::size_t(line)]; }
    qint64 ShownEnd(qint64 line) const;

    // Rows: lines broken at a number of columns.
    void SetColumns(int columns);
    int Columns() const { return mColumns; }
    qint64 RowCount() const { return mRowEnds.empty() ? 0 : mRowEnds.back(); }
    qint64 FirstRowOf(qint64 line) const { return line == 0 ? 0 : mRowEnds[std::size_t(line - 1)]; }
    qint64 RowsOf(qint64 line) const;
    // The line a row belongs to, and which of its rows it is.
    std::pair<qint64, qint64> LineOfRow(qint64 row) const;

private:
    std::pair<std::size_t, qint64> Locate(qint64 at) const;
    qint64 BlockSize(std::size_t block) const;
    void Widen();
    void AppendToBlocks(QStringView text);
    void CountBlockStarts();
    void Store(qint64 at, qint64 remove, QStringView text);
    void IndexFrom(qint64 line, qint64 scanFrom);
    // The rows of the line [start, end); its hidden head grows if an overwrite is found from scanFrom on.
    qint64 Measure(qint64 start, qint64 end, qint64 scanFrom, quint32& head) const;
    qint64 LastOverwrite(qint64 from, qint64 to) const;
    qint64 NextLineFeed(qint64 from) const;

    // The text in blocks that are filled and never moved: growing one buffer would copy it all,
    // page by page, each time it doubles.
    std::vector<QByteArray> mLatin;
    std::vector<QString> mWideText;
    std::vector<qint64> mBlockStarts;
    qint64 mSize = 0;
    bool mWide = false;
    // Per line, likewise in pieces that never move.
    std::deque<qint64> mStarts;
    // How many characters at the head of each line an overwriting carriage return hides.
    std::deque<quint32> mHeads;
    std::deque<qint64> mRowEnds;
    int mColumns = 80;
};
