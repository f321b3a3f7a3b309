#pragma once

// Helpers of the flashing tests: the stand-in tool on disk, hand-made presets, and what
// the stand-in recorded.

#include "TestSupport.h"
#include "window/EspWin.h"

#include <QFile>
#include <QSignalSpy>
#include <QStringList>

#include <csignal>
#include <memory>

namespace FlashSupport {

// Places the stand-in tool at path (folders made as needed), executable.
inline bool InstallFakeTool(const QString& path) {
    const QByteArray script = TestSupport::ReadFile(QStringLiteral(CORVANE_FAKE_ESPTOOL));
    if (script.isEmpty() || !TestSupport::WriteFile(path, script))
        return false;
    return QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner | QFile::ExeUser);
}

inline FirmRef Record(const QString& name, const FolderItem& folder, const QString& path, const QStringList& commands) {
    auto rec = std::make_shared<FirmClass>();
    rec->mName = name;
    rec->mVersion = QStringLiteral("1.0");
    rec->mPath = path;
    rec->mCommand = commands;
    rec->mFirmFolder = folder;
    return rec;
}

inline FirmRef Separator() {
    auto rec = std::make_shared<FirmClass>();
    rec->mName = QStringLiteral("-");
    return rec;
}

// Puts records into the catalogue with one preset row each, the way a load leaves them,
// selects row index and has the command composed.
inline void LoadPresets(EspWin* w, const QVector<FirmRef>& records, int index) {
    w->mFirm = records;
    w->PrisetPM.DeleteAllRows();
    for (const FirmRef& rec : records)
        w->PrisetPM.AddRow(rec->mName);
    w->PrisetPM.SetListIndex(index);
    w->MakeCommand();
}

// The port list of the window holds exactly this one row, selected.
inline void ShowOnePort(EspWin* w, const QString& name) {
    w->PortPM.DeleteAllRows();
    w->PortPM.AddRow(name);
    w->PortPM.SetListIndex(0);
}

// The recorded runs of the stand-in in folder: one list of arguments per run.
inline QList<QStringList> RecordedRuns(const QString& folder) {
    QList<QStringList> runs;
    const QString text = QString::fromUtf8(TestSupport::ReadFile(folder + QStringLiteral("/args.log")));
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        if (line == QLatin1String("--run"))
            runs.append(QStringList());
        else if (!runs.isEmpty() && !line.isEmpty())
            runs.last().append(line);
    }
    return runs;
}

// A killed process may linger as a zombie until its new parent reaps it: that counts as gone.
inline bool Alive(qint64 pid) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (pid <= 0 || !stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll();
    const qsizetype close = line.lastIndexOf(')');
    return close > 0 && line.mid(close + 2, 1) != "Z";
}

inline qint64 RecordedPid(const QString& folder) {
    return TestSupport::ReadFile(folder + QStringLiteral("/pid")).trimmed().toLongLong();
}

// Presses Start and waits for the end of the run; false when it didn't end in time.
inline bool RunToEnd(EspWin* w, int timeoutMs = 60000) {
    QSignalSpy done(&w->esptool, &Shell::Completed);
    w->StartPB.Push();
    return done.count() > 0 || done.wait(timeoutMs);
}

} // namespace FlashSupport
