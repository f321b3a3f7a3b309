#include "platform/TextInputStream.h"

std::unique_ptr<TextInputStream> TextInputStream::Open(const FolderItem& item) {
    bool ok = false;
    QByteArray bytes = ReadManifestBytes(item, &ok);
    if (!ok)
        return nullptr;
    return std::unique_ptr<TextInputStream>(new TextInputStream(QString::fromUtf8(bytes)));
}

std::unique_ptr<TextInputStream> TextInputStream::OfText(QString text) {
    return std::unique_ptr<TextInputStream>(new TextInputStream(std::move(text)));
}

QString TextInputStream::ReadLine() {
    return NextLine(false).toString();
}

QString TextInputStream::ReadTrimmedLine() {
    return NextLine(true).toString();
}

QStringView TextInputStream::ReadTrimmedLineView() {
    return NextLine(true);
}

QStringView TextInputStream::NextLine(bool trimmed) {
    const qsizetype size = mText.size();
    if (mPos >= size)
        return QStringView();
    const QChar* data = mText.constData();
    qsizetype end = mPos;
    while (end < size && data[end] != QLatin1Char('\n') && data[end] != QLatin1Char('\r'))
        ++end;
    // Trimmed, without white space QString::trimmed takes off, at both ends.
    qsizetype from = mPos, to = end;
    while (trimmed && from < to && data[from].isSpace())
        ++from;
    while (trimmed && to > from && data[to - 1].isSpace())
        --to;
    const QStringView line = QStringView(mText).mid(from, to - from);
    if (end < size && data[end] == QLatin1Char('\r') && end + 1 < size && data[end + 1] == QLatin1Char('\n'))
        ++end;
    mPos = end < size ? end + 1 : end;
    return line;
}

QString TextInputStream::ReadAll() {
    QString rest = mText.mid(mPos);
    mPos = mText.size();
    return rest;
}
