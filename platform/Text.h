#pragma once

#include <QPair>
#include <QString>
#include <QStringView>
#include <QVector>

// String helpers with the semantics the program is written against: positions are
// 1-based, comparisons ignore letter case (InStrB alone is exact), lengths count characters.

bool Same(const QString& a, const QString& b);

int InStr(const QString& s, const QString& find);
int InStr(int start, const QString& s, const QString& find);
int InStrB(const QString& s, const QString& find);
int InStrB(int start, const QString& s, const QString& find);

QString NthField(const QString& s, const QString& sep, int n);
// Field n of s as a view, with the letter case rule given; nothing for an empty separator.
QStringView FieldView(QStringView s, QStringView sep, int n, Qt::CaseSensitivity cs);
// s.indexOf(find, from) for a from of 0 or more, exact. A plain loop: for the short marks and
// short lines the readers cut, quicker than Qt's search, whose set-up costs more than the search.
qsizetype IndexOfExact(QStringView s, QStringView find, qsizetype from = 0);

QString Mid(const QString& s, int start);
QString Mid(const QString& s, int start, int length);
QString Left(const QString& s, int n);
int Len(const QString& s);
QString Trim(const QString& s);

QString Replace(const QString& s, const QString& find, const QString& repl);
QString ReplaceAll(const QString& s, const QString& find, const QString& repl);
// Every occurrence of each find (letter case ignored) replaced by its text, in one pass from the
// left: what a replacement inserts is never searched again.
QString ReplaceEach(const QString& s, const QVector<QPair<QString, QString>>& findAndText);
QString ReplaceLineEndings(const QString& s, const QString& lineEnd);

// s as one word of a /bin/sh command line, with exactly its characters: every character the
// shell could read as syntax gets a backslash, a newline is quoted.
QString ShellWord(const QString& s);

double Val(const QString& s);

namespace EndOfLine {
QString Native();
QString Windows();
} // namespace EndOfLine
