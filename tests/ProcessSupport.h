#pragma once

// Processes as /proc shows them: the runs' shells, their tools and the watchers beside them.

#include <QDir>
#include <QFile>
#include <QList>

namespace ProcessSupport {

// The state letter and the process group of a process, or nothing when it is gone.
inline bool ReadStat(qint64 pid, char& state, qint64& group) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (pid <= 0 || !stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll();
    const qsizetype close = line.lastIndexOf(')');
    const QList<QByteArray> fields = line.mid(close + 2).split(' ');
    if (close <= 0 || fields.size() < 3 || fields.at(0).isEmpty())
        return false;
    state = fields.at(0).at(0);
    group = fields.at(2).toLongLong();
    return true;
}

// A killed process may linger as a zombie until its new parent reaps it: that counts as gone.
inline bool Alive(qint64 pid) {
    char state = 0;
    qint64 group = 0;
    return ReadStat(pid, state, group) && state != 'Z';
}

// The live processes of a process group.
inline QList<qint64> GroupMembers(qint64 group) {
    QList<qint64> members;
    for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        bool number = false;
        const qint64 pid = entry.toLongLong(&number);
        char state = 0;
        qint64 of = 0;
        if (number && ReadStat(pid, state, of) && of == group && state != 'Z')
            members << pid;
    }
    return members;
}

} // namespace ProcessSupport
