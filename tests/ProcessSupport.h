#pragma once

#include <QDir>
#include <QFile>

// The live members of a process group; a killed process may linger as a zombie until its new
// parent reaps it, and that counts as gone.
inline QList<qint64> GroupMembers(qint64 group) {
    QList<qint64> members;
    for (const QString& pid : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        const QByteArray line = pid.toLongLong() > 0 && stat.open(QIODevice::ReadOnly) ? stat.readAll() : "";
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 2 && fields.at(0) != "Z" && fields.at(2).toLongLong() == group) // state, parent, group
            members << pid.toLongLong();
    }
    return members;
}
