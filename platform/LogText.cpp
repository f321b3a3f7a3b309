#include "platform/LogText.h"

#include <QStringEncoder>
#include <QThreadPool>
#include <QtGlobal>

#include <algorithm>
#include <cstring>
#include <memory>

#include <sys/mman.h>

namespace {

// A block is filled to this size before the next one starts.
constexpr qint64 kBlock = 4 << 20;

// Fresh pages fault one by one as a flood fills them; where the system offers huge pages, a
// block takes them, and a fault brings in 2 MB at a time.
void AdviseHugePages(char* data, qint64 size) {
#ifdef MADV_HUGEPAGE
    constexpr quintptr kPage = 4096;
    const quintptr from = (quintptr(data) + kPage - 1) & ~(kPage - 1);
    const quintptr to = (quintptr(data) + quintptr(size)) & ~(kPage - 1);
    if (to > from)
        madvise(reinterpret_cast<void*>(from), to - from, MADV_HUGEPAGE);
#else
    Q_UNUSED(data);
    Q_UNUSED(size);
#endif
}

} // namespace

LogText::LogText() : mLatin{QByteArray()}, mBlockStarts{0}, mStarts{0}, mHeads{0}, mRowEnds{1} {}

std::pair<std::size_t, qint64> LogText::Locate(qint64 at) const {
    const auto it = std::upper_bound(mBlockStarts.begin(), mBlockStarts.end(), at);
    const std::size_t block = std::size_t(std::max<std::ptrdiff_t>(0, (it - mBlockStarts.begin()) - 1));
    return {block, at - mBlockStarts[block]};
}

qint64 LogText::BlockSize(std::size_t block) const {
    return mWide ? mWideText[block].size() : mLatin[block].size();
}

QChar LogText::At(qint64 at) const {
    const auto [block, offset] = Locate(at);
    return mWide ? mWideText[block].at(offset) : QChar(uchar(mLatin[block].at(offset)));
}

QString LogText::Mid(qint64 from, qint64 count) const {
    from = qBound<qint64>(0, from, Size());
    count = qBound<qint64>(0, count, Size() - from);
    QString text;
    text.reserve(count);
    auto [block, offset] = Locate(from);
    while (count > 0) {
        const qint64 n = std::min(count, BlockSize(block) - offset);
        if (mWide)
            text += QStringView(mWideText[block]).mid(offset, n);
        else
            text += QLatin1StringView(mLatin[block].constData() + offset, n);
        count -= n;
        ++block;
        offset = 0;
    }
    return text;
}

bool LogText::Equals(QStringView text) const {
    if (text.size() != Size())
        return false;
    qint64 at = 0;
    for (std::size_t block = 0; block < mBlockStarts.size(); ++block) {
        const qint64 n = BlockSize(block);
        if (mWide) {
            if (QStringView(mWideText[block]) != text.mid(at, n))
                return false;
        } else if (QLatin1StringView(mLatin[block].constData(), n) != text.mid(at, n)) {
            return false;
        }
        at += n;
    }
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
    const qint64 first = LineAt(from);
    const qint64 last = LineAt(from + count);
    if (last + 1 >= LineCount()) {
        Store(from, count, text);
        IndexFrom(first, LineStart(first));
        return;
    }
    // An edit above the end: only the lines it touches are read again, those behind it move.
    const qint64 delta = text.size() - count;
    const qint64 untouched = LineStart(last + 1) + delta;
    const qint64 firstRow = FirstRowOf(first);
    const qint64 oldRows = mRowEnds[std::size_t(last)] - firstRow;
    Store(from, count, text);
    std::vector<qint64> starts;
    std::vector<quint32> heads;
    std::vector<qint64> rowEnds;
    for (qint64 start = LineStart(first); start < untouched;) {
        const qint64 feed = NextLineFeed(start);
        quint32 head = 0;
        const qint64 rows = Measure(start, feed, start, head);
        starts.push_back(start);
        heads.push_back(head);
        rowEnds.push_back((rowEnds.empty() ? firstRow : rowEnds.back()) + rows);
        start = feed + 1;
    }
    const auto at = std::ptrdiff_t(first);
    const auto end = std::ptrdiff_t(last + 1);
    mStarts.erase(mStarts.begin() + at, mStarts.begin() + end);
    mStarts.insert(mStarts.begin() + at, starts.begin(), starts.end());
    mHeads.erase(mHeads.begin() + at, mHeads.begin() + end);
    mHeads.insert(mHeads.begin() + at, heads.begin(), heads.end());
    mRowEnds.erase(mRowEnds.begin() + at, mRowEnds.begin() + end);
    mRowEnds.insert(mRowEnds.begin() + at, rowEnds.begin(), rowEnds.end());
    const qint64 rowDelta = (rowEnds.back() - firstRow) - oldRows;
    for (std::size_t line = std::size_t(first) + starts.size(); line < mStarts.size(); ++line) {
        mStarts[line] += delta;
        mRowEnds[line] += rowDelta;
    }
}

void LogText::Clear() {
    // Handing back hundreds of megabytes page by page takes longer than a frame: a worker
    // does it, while the pane is empty at once.
    auto old = std::make_shared<LogText>(std::move(*this));
    if (old->mSize >= kBlock)
        QThreadPool::globalInstance()->start([old = std::move(old)]() mutable { old.reset(); });
    mLatin = {QByteArray()};
    mWideText = {};
    mBlockStarts = {0};
    mSize = 0;
    mWide = false;
    mStarts = {0};
    mHeads = {0};
    mRowEnds = {1};
}

void LogText::Widen() {
    mWideText.clear();
    for (QByteArray& block : mLatin) {
        mWideText.push_back(QString::fromLatin1(block));
        block = QByteArray();
    }
    mLatin.clear();
    mWide = true;
}

void LogText::CountBlockStarts() {
    const std::size_t count = mWide ? mWideText.size() : mLatin.size();
    mBlockStarts.resize(count);
    qint64 at = 0;
    for (std::size_t block = 0; block < count; ++block) {
        mBlockStarts[block] = at;
        at += BlockSize(block);
    }
    mSize = at;
}

void LogText::AppendToBlocks(QStringView text) {
    while (!text.isEmpty()) {
        const std::size_t last = mBlockStarts.size() - 1;
        if (BlockSize(last) >= kBlock) {
            mBlockStarts.push_back(mSize);
            if (mWide) {
                mWideText.emplace_back();
                mWideText.back().reserve(kBlock);
            } else {
                mLatin.emplace_back();
                mLatin.back().reserve(kBlock);
                AdviseHugePages(mLatin.back().data(), mLatin.back().capacity());
            }
            continue;
        }
        const QStringView piece = text.left(kBlock - BlockSize(last));
        if (mWide) {
            mWideText[last] += piece;
        } else {
            QByteArray& block = mLatin[last];
            if (block.capacity() < kBlock) {
                block.reserve(kBlock);
                AdviseHugePages(block.data(), block.capacity());
            }
            // Straight into the block's reserved room: no converted copy on the way.
            const qsizetype old = block.size();
            block.resize(old + piece.size());
            QStringEncoder latin1(QStringEncoder::Latin1);
            latin1.appendToBuffer(block.data() + old, piece);
        }
        mSize += piece.size();
        text = text.mid(piece.size());
    }
}

void LogText::Store(qint64 at, qint64 remove, QStringView text) {
    if (!mWide && !QtPrivate::isLatin1(text))
        Widen();
    if (remove == 0 && at == mSize) {
        AppendToBlocks(text);
        return;
    }
    // An edit by hand: rare, and it touches only the blocks it falls in.
    auto [block, offset] = Locate(at);
    if (offset == BlockSize(block) && block + 1 < mBlockStarts.size() && remove > 0) {
        ++block;
        offset = 0;
    }
    const std::size_t first = block;
    const qint64 firstOffset = offset;
    for (qint64 left = remove; left > 0; ++block, offset = 0) {
        const qint64 n = std::min(left, BlockSize(block) - offset);
        if (mWide)
            mWideText[block].remove(offset, n);
        else
            mLatin[block].remove(offset, n);
        left -= n;
    }
    if (mWide)
        mWideText[first].insert(firstOffset, text);
    else
        mLatin[first].insert(firstOffset, text.toLatin1());
    // Emptied blocks go, but one always stays.
    if (mWide)
        mWideText.erase(
            std::remove_if(mWideText.begin(), mWideText.end(), [](const QString& b) { return b.isEmpty(); }),
            mWideText.end());
    else
        mLatin.erase(std::remove_if(mLatin.begin(), mLatin.end(), [](const QByteArray& b) { return b.isEmpty(); }),
                     mLatin.end());
    if (mWide ? mWideText.empty() : mLatin.empty()) {
        if (mWide)
            mWideText.emplace_back();
        else
            mLatin.emplace_back();
    }
    CountBlockStarts();
}

qint64 LogText::NextLineFeed(qint64 from) const {
    if (from >= mSize)
        return -1;
    auto [block, offset] = Locate(from);
    for (; block < mBlockStarts.size(); ++block, offset = 0) {
        const qint64 n = BlockSize(block);
        if (mWide) {
            const qsizetype hit = mWideText[block].indexOf(QLatin1Char('\n'), offset);
            if (hit >= 0)
                return mBlockStarts[block] + hit;
            continue;
        }
        const char* data = mLatin[block].constData();
        const void* hit = offset < n ? std::memchr(data + offset, '\n', std::size_t(n - offset)) : nullptr;
        if (hit)
            return mBlockStarts[block] + (static_cast<const char*>(hit) - data);
    }
    return -1;
}

qint64 LogText::LastOverwrite(qint64 from, qint64 to) const {
    if (to <= from)
        return -1;
    auto [block, last] = Locate(to - 1);
    for (;;) {
        const qint64 start = mBlockStarts[block];
        const qint64 low = std::max<qint64>(0, from - start);
        if (mWide) {
            for (qint64 i = last; i >= low; --i)
                if (mWideText[block].at(i) == QLatin1Char('\r'))
                    return start + i;
        } else if (last >= low) {
            const char* data = mLatin[block].constData();
            const void* hit = memrchr(data + low, '\r', std::size_t(last - low + 1));
            if (hit)
                return start + (static_cast<const char*>(hit) - data);
        }
        if (start <= from || block == 0)
            return -1;
        --block;
        last = BlockSize(block) - 1;
    }
}

qint64 LogText::Measure(qint64 start, qint64 end, qint64 scanFrom, quint32& head) const {
    // A carriage return as the very last character hides nothing yet: a line feed may follow.
    const qint64 overwrite = LastOverwrite(scanFrom, end - 1);
    if (overwrite >= 0)
        head = quint32(std::min<qint64>(overwrite + 1 - start, 0xFFFFFFFF));
    const qint64 shownEnd = end > start && At(end - 1) == QLatin1Char('\r') ? end - 1 : end;
    const qint64 shown = std::max<qint64>(0, shownEnd - start - head);
    return std::max<qint64>(1, (shown + mColumns - 1) / mColumns);
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
        const qint64 feed = NextLineFeed(from);
        const qint64 rows = Measure(mStarts.back(), feed < 0 ? size : feed, from, mHeads.back());
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
