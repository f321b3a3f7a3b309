#include "platform/Text.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

// Letter case matters only where the text has letters; without any, the exact search is the
// same search and several times cheaper.
Qt::CaseSensitivity CaseFor(const QString& find) {
    for (const QChar c : find)
        if (c.unicode() >= 128 || c.isLetter())
            return Qt::CaseInsensitive;
    return Qt::CaseSensitive;
}

} // namespace

bool Same(const QString& a, const QString& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

int InStr(const QString& s, const QString& find) {
    return InStr(1, s, find);
}

int InStr(int start, const QString& s, const QString& find) {
    if (start < 1)
        start = 1;
    const qsizetype at = s.indexOf(find, start - 1, CaseFor(find));
    return at < 0 ? 0 : int(at + 1);
}

int InStrB(const QString& s, const QString& find) {
    return InStrB(1, s, find);
}

int InStrB(int start, const QString& s, const QString& find) {
    if (start < 1)
        start = 1;
    const qsizetype at = s.indexOf(find, start - 1, Qt::CaseSensitive);
    return at < 0 ? 0 : int(at + 1);
}

QString NthField(const QString& s, const QString& sep, int n) {
    if (sep.isEmpty())
        return n == 1 ? s : QString();
    return FieldView(s, sep, n, CaseFor(sep)).toString();
}

qsizetype IndexOfExact(QStringView s, QStringView find, qsizetype from) {
    if (find.isEmpty())
        return from <= s.size() ? from : -1;
    const QChar* text = s.data();
    const QChar* rest = find.data() + 1;
    const qsizetype restSize = find.size() - 1;
    const QChar first = find.front();
    for (qsizetype at = from, last = s.size() - find.size(); at <= last; ++at) {
        if (text[at] == first && std::equal(rest, rest + restSize, text + at + 1))
            return at;
    }
    return -1;
}

QStringView FieldView(QStringView s, QStringView sep, int n, Qt::CaseSensitivity cs) {
    if (n < 1 || sep.isEmpty())
        return QStringView();
    const auto find = [&](qsizetype from) {
        return cs == Qt::CaseSensitive ? IndexOfExact(s, sep, from) : s.indexOf(sep, from, cs);
    };
    qsizetype from = 0;
    for (int field = 1; field < n; ++field) {
        const qsizetype at = find(from);
        if (at < 0)
            return QStringView();
        from = at + sep.size();
    }
    const qsizetype end = find(from);
    return end < 0 ? s.mid(from) : s.mid(from, end - from);
}

QString Mid(const QString& s, int start) {
    if (start < 1)
        start = 1;
    return start > s.size() ? QString() : s.mid(start - 1);
}

QString Mid(const QString& s, int start, int length) {
    if (start < 1)
        start = 1;
    if (length <= 0 || start > s.size())
        return QString();
    return s.mid(start - 1, length);
}

QString Left(const QString& s, int n) {
    return n <= 0 ? QString() : s.left(n);
}

int Len(const QString& s) {
    return int(s.size());
}

QString Trim(const QString& s) {
    return s.trimmed();
}

QString Replace(const QString& s, const QString& find, const QString& repl) {
    if (find.isEmpty())
        return s;
    const qsizetype at = s.indexOf(find, 0, CaseFor(find));
    if (at < 0)
        return s;
    QString out = s;
    out.replace(at, find.size(), repl);
    return out;
}

QString ReplaceAll(const QString& s, const QString& find, const QString& repl) {
    if (find.isEmpty())
        return s;
    if (!s.contains(find, CaseFor(find)))
        return s;
    QString out = s;
    return out.replace(find, repl, CaseFor(find));
}

QString ReplaceLineEndings(const QString& s, const QString& lineEnd) {
    QString out;
    out.reserve(s.size() + s.size() / 16);
    for (qsizetype i = 0; i < s.size(); ++i) {
        const QChar c = s.at(i);
        if (c == QLatin1Char('\r')) {
            if (i + 1 < s.size() && s.at(i + 1) == QLatin1Char('\n'))
                ++i;
            out += lineEnd;
        } else if (c == QLatin1Char('\n')) {
            out += lineEnd;
        } else {
            out += c;
        }
    }
    return out;
}

double Val(const QString& s) {
    // The longest number at the head, after leading blanks; anything else reads as 0.
    const QByteArray text = s.trimmed().toLatin1();
    const char* begin = text.constData();
    const char* p = begin;
    if (*p == '+' || *p == '-')
        ++p;
    const char* digits = p;
    while (*p >= '0' && *p <= '9')
        ++p;
    if (*p == '.') {
        ++p;
        while (*p >= '0' && *p <= '9')
            ++p;
    }
    if (p == digits || (p == digits + 1 && *digits == '.'))
        return 0;
    if (*p == 'e' || *p == 'E') {
        const char* e = p + 1;
        if (*e == '+' || *e == '-')
            ++e;
        if (*e >= '0' && *e <= '9') {
            p = e;
            while (*p >= '0' && *p <= '9')
                ++p;
        }
    }
    return std::strtod(QByteArray(begin, int(p - begin)).constData(), nullptr);
}

namespace EndOfLine {
QString Native() {
#ifdef Q_OS_WIN
    return QStringLiteral("\r\n");
#else
    return QStringLiteral("\n");
#endif
}
QString Windows() {
    return QStringLiteral("\r\n");
}
} // namespace EndOfLine

QString ShellWord(const QString& s) {
    // Backslash-newline would join lines instead of escaping, so a newline is quoted.
    static const QString plain = QStringLiteral("/._-+,:@%");
    QString out;
    out.reserve(s.size() + 8);
    for (const QChar c : s) {
        if (c == QLatin1Char('\n'))
            out += QStringLiteral("'\n'");
        else if (c.unicode() < 128 && !c.isLetterOrNumber() && !plain.contains(c))
            out += QLatin1Char('\\') + QString(c);
        else
            out += c;
    }
    return out;
}

QString ReplaceEach(const QString& s, const QVector<QPair<QString, QString>>& findAndText) {
    // Most characters start no find: they are passed over on one comparison.
    QString starts;
    for (const auto& pair : findAndText) {
        if (!pair.first.isEmpty())
            starts += pair.first.at(0).toCaseFolded();
    }
    QString out;
    out.reserve(s.size());
    const QStringView text(s);
    qsizetype from = 0;
    qsizetype at = 0;
    while (at < text.size()) {
        bool found = false;
        if (starts.contains(text.at(at).toCaseFolded())) {
            for (const auto& [find, with] : findAndText) {
                if (!find.isEmpty() && text.mid(at, find.size()).compare(find, Qt::CaseInsensitive) == 0) {
                    out += text.mid(from, at - from);
                    out += with;
                    at += find.size();
                    from = at;
                    found = true;
                    break;
                }
            }
        }
        if (!found)
            ++at;
    }
    out += text.mid(from);
    return out;
}
