#include "platform/LogText.h"

#include <QtGlobal>

#include <algorithm>
#include <cstring>

LogText::LogText() {
    Clear();
}

QString LogText::Mid(qint64 from, qint64 count) const {
    from = qBound<qint64>(0, from, Size());
    count = qBound<qint64>(0, count, Size() - from);
    if (mWide)
        return mWideText.mid(from, count);
    return QString::fromLatin1(mLatin.constData() + from, count);
}

bool LogText::Equals(QStringView text) const {
    if (text.size() != Size())
        return false;
    if (mWide)
        return QStringView(mWideText) == text;
    const char* bytes = mLatin.constData();
    for (qsizetype i = 0; i < text.size(); ++i)
        if (text[i].unicode() != uchar(bytes[i]))
            return false;
    return true;
}

void LogText::Append(QStringView text) {
    if (text.isEmpty())
        return;
    const qint64 old = Size();
    const qint64 last = LineCount() - 1;
    Store(old, 0, text);
    // Only the last line can change: the carriage return that ended it may overwrite now.
    IndexFrom(last, std::max(LineStart(last), old - 1));
}

void LogText::Replace(qint64 from, qint64 count, QStringView text) {
    from = qBound<qint64>(0, from, Size());
    count = qBound<qint64>(0, count, Size() - from);
    if (count == 0 && text.isEmpty())
        return;
    const qint64 line = LineAt(from);
    Store(from, count, text);
    IndexFrom(line, LineStart(line));
}

void LogText::Clear() {
    mLatin = QByteArray();
    mWideText = QString();
    mWide = false;
    std::vector<qint64>{0}.swap(mStarts);
    std::vector<quint32>{0}.swap(mHeads);
    std::vector<qint64>{1}.swap(mRowEnds);
}

void LogText::Store(qint64 at, qint64 remove, QStringView text) {
    if (!mWide && !QtPrivate::isLatin1(text)) {
        mWideText = QString::fromLatin1(mLatin);
        mLatin = QByteArray();
        mWide = true;
    }
    if (mWide) {
        mWideText.replace(at, remove, text.constData(), text.size());
        return;
    }
    if (remove == 0 && at == mLatin.size()) {
        // The common case, straight into the buffer: no converted copy on the way.
        mLatin.resize(at + text.size());
        char* out = mLatin.data() + at;
        const char16_t* in = text.utf16();
        for (qsizetype i = 0; i < text.size(); ++i)
            out[i] = char(in[i]);
        return;
    }
    mLatin.replace(at, remove, text.toLatin1());
}

qint64 LogText::NextLineFeed(qint64 from) const {
    if (mWide) {
        const qsizetype at = mWideText.indexOf(QLatin1Char('\n'), from);
        return at;
    }
    if (from >= mLatin.size())
        return -1;
    const void* hit = std::memchr(mLatin.constData() + from, '\n', std::size_t(mLatin.size() - from));
    return hit ? static_cast<const char*>(hit) - mLatin.constData() : -1;
}

qint64 LogText::LastOverwrite(qint64 from, qint64 to) const {
    if (to <= from)
        return -1;
    if (mWide) {
        for (qint64 i = to - 1; i >= from; --i)
            if (mWideText.at(i) == QLatin1Char('\r'))
                return i;
        return -1;
    }
    const void* hit = memrchr(mLatin.constData() + from, '\r', std::size_t(to - from));
    return hit ? static_cast<const char*>(hit) - mLatin.constData() : -1;
}

void LogText::IndexFrom(qint64 line, qint64 scanFrom) {
    mStarts.resize(std::size_t(line + 1));
    mHeads.resize(std::size_t(line + 1));
    mRowEnds.resize(std::size_t(line));
    const qint64 size = Size();
    qint64 from = std::max(scanFrom, mStarts.back());
    if (from == mStarts.back())
        mHeads.back() = 0;
    for (;;) {
        const qint64 start = mStarts.back();
        const qint64 feed = NextLineFeed(from);
        const qint64 end = feed < 0 ? size : feed;
        // A carriage return as the very last character hides nothing yet: a line feed may follow.
        const qint64 overwrite = LastOverwrite(from, end - 1);
        if (overwrite >= 0)
            mHeads.back() = quint32(std::min<qint64>(overwrite + 1 - start, 0xFFFFFFFF));
        const qint64 shownEnd = end > start && At(end - 1) == QLatin1Char('\r') ? end - 1 : end;
        const qint64 shown = std::max<qint64>(0, shownEnd - start - mHeads.back());
        const qint64 rows = std::max<qint64>(1, (shown + mColumns - 1) / mColumns);
        mRowEnds.push_back((mRowEnds.empty() ? 0 : mRowEnds.back()) + rows);
        if (feed < 0)
            break;
        mStarts.push_back(feed + 1);
        mHeads.push_back(0);
        from = feed + 1;
    }
}

qint64 LogText::LineAt(qint64 at) const {
    const auto it = std::upper_bound(mStarts.begin(), mStarts.end(), at);
    return std::max<qint64>(0, (it - mStarts.begin()) - 1);
}

qint64 LogText::LineEnd(qint64 line) const {
    return line + 1 < LineCount() ? mStarts[std::size_t(line + 1)] - 1 : Size();
}

qint64 LogText::ShownEnd(qint64 line) const {
    const qint64 end = LineEnd(line);
    const qint64 start = ShownStart(line);
    return end > start && At(end - 1) == QLatin1Char('\r') ? end - 1 : std::max(start, end);
}

void LogText::SetColumns(int columns) {
    columns = std::max(1, columns);
    if (columns == mColumns)
        return;
    mColumns = columns;
    qint64 rows = 0;
    for (qint64 line = 0; line < LineCount(); ++line) {
        rows += RowsOf(line);
        mRowEnds[std::size_t(line)] = rows;
    }
}

qint64 LogText::RowsOf(qint64 line) const {
    const qint64 shown = ShownEnd(line) - ShownStart(line);
    return std::max<qint64>(1, (shown + mColumns - 1) / mColumns);
}

std::pair<qint64, qint64> LogText::LineOfRow(qint64 row) const {
    row = qBound<qint64>(0, row, RowCount() - 1);
    const auto it = std::upper_bound(mRowEnds.begin(), mRowEnds.end(), row);
    const qint64 line = std::min<qint64>(it - mRowEnds.begin(), LineCount() - 1);
    return {line, row - FirstRowOf(line)};
}
