#pragma once

// Helpers of the catalogue tests: manifests from lines, and the catalogue as plain text so
// that a whole mFirm can be compared in one QCOMPARE.

#include "TestSupport.h"

#include "window/EspWin.h"

#include <QDir>
#include <QStringList>

namespace CatalogueSupport {

inline QByteArray Lines(const QStringList& lines, const char* end = "\n") {
    return lines.join(QString::fromLatin1(end)).toUtf8() + end;
}

// name|version|path|[command][command]|F, where F stands for the folder the records should
// point to and is empty for nil; "=k" marks the same object as entry k.
inline QStringList Describe(const QVector<FirmRef>& firm, const FolderItem& folder = FolderItem()) {
    QStringList out;
    for (int i = 0; i < firm.size(); ++i) {
        const FirmRef& r = firm.at(i);
        if (!r) {
            out << "null";
            continue;
        }
        QString commands;
        for (const QString& c : r->mCommand)
            commands += "[" + c + "]";
        QString where = r->mFirmFolder.IsNil()     ? QString()
                        : r->mFirmFolder == folder ? "F"
                                                   : r->mFirmFolder.NativePath();
        QString text = QStringList{r->mName, r->mVersion, r->mPath, commands, where}.join('|');
        for (int k = 0; k < i; ++k)
            if (firm.at(k) == r) {
                text += "=" + QString::number(k);
                break;
            }
        out << text;
    }
    return out;
}

inline QStringList Names(const QVector<FirmRef>& firm) {
    QStringList out;
    for (const FirmRef& r : firm)
        out << (r ? r->mName : QStringLiteral("null"));
    return out;
}

inline QStringList Rows(const PopupMenu& popup) {
    QStringList out;
    for (int i = 0; i < popup.ListCount(); ++i)
        out << popup.List(i);
    return out;
}

inline FirmRef Record(const QString& name, const QString& version = QString(), const QString& baud = QString()) {
    auto r = std::make_shared<FirmClass>();
    r->mName = name;
    r->mVersion = version;
    r->mBaud = baud;
    return r;
}

// A manifest of one entry whose name tells where it was found.
inline QByteArray Entry(const QString& name) {
    return Lines({"[", "    {", "        \"name\": \"" + name + "\",", "        \"path\": \"\",",
                  "        \"commands\": [", "            \"--port %port write_flash 0x0 %PATH\\\\" + name + ".bin\"",
                  "        ]", "    }", "]"});
}

// A window whose start-up finds an empty firmware folder: no records and no question.
inline EspWin* QuietWindow() {
    QDir().mkpath(TestSupport::AppFolder() + "/firmwares");
    return EspWin::Instance();
}

} // namespace CatalogueSupport
