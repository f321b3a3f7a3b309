#pragma once

#include "platform/FolderItem.h"

#include <QString>

#include <memory>

// Files are read whole and cut into lines from memory; text is taken as UTF-8. A file over
// kMaxManifestBytes can't be opened.
class TextInputStream {
public:
    static std::unique_ptr<TextInputStream> Open(const FolderItem& item);
    // A stream over text read before, so that bytes read once can go to more than one use.
    static std::unique_ptr<TextInputStream> OfText(QString text);
    // All of the text, wherever reading stands.
    const QString& Text() const { return mText; }

    QString ReadLine();
    // Trim(ReadLine()) without the copy in between.
    QString ReadTrimmedLine();
    // ReadTrimmedLine as a view into Text(), for readers that keep only cuts of the line.
    QStringView ReadTrimmedLineView();
    QString ReadAll();
    bool Eof() const { return mPos >= mText.size(); }
    void Close() {}

private:
    explicit TextInputStream(QString text) : mText(std::move(text)) {}
    QStringView NextLine(bool trimmed);

    QString mText;
    qsizetype mPos = 0;
};
