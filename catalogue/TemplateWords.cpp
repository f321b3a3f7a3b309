#include "catalogue/TemplateWords.h"

namespace TemplateWords {

namespace {

bool IsPlain(const QString& s) {
    static const QString marks = QStringLiteral("._-+,:@");
    for (const QChar c : s) {
        if (c.unicode() < 128 && !c.isLetterOrNumber() && !marks.contains(c))
            return false;
    }
    return true;
}

// Single quotes keep everything literal but themselves; apostrophe is the shell's
// close-quote, an apostrophe in the form given, open-quote.
QString Quoted(const QString& s, const QString& apostrophe, bool breakRewrites) {
    if (IsPlain(s))
        return s;
    QString out = QStringLiteral("'");
    QChar previous;
    for (const QChar c : s) {
        if (c == QLatin1Char('\''))
            out += apostrophe;
        else if (c == QLatin1Char('%'))
            out += QStringLiteral("'%'");
        else if (breakRewrites && ((previous == QLatin1Char('-') && c == QLatin1Char('-')) ||
                                   (previous == QLatin1Char('$') && c == QLatin1Char('{'))))
            out += QStringLiteral("''") + c;
        else
            out += c;
        previous = c;
    }
    return out + QLatin1Char('\'');
}

bool IsControl(QChar c) {
    return c.unicode() < 0x20 || c.unicode() == 0x7f;
}

} // namespace

QString PackageName(const QString& name) {
    QString out = name;
    for (QChar& c : out) {
        if (c == QLatin1Char('"') || c == QLatin1Char('\\') || IsControl(c))
            c = QLatin1Char('_');
    }
    return out;
}

QString ManifestWord(const QString& name) {
    return Quoted(name, QStringLiteral("'\\''"), false);
}

bool FitsScript(const QString& text) {
    for (const QChar c : text) {
        if (c == QLatin1Char('\\') || IsControl(c))
            return false;
    }
    return true;
}

QString ScriptWord(const QString& text) {
    // The reader drops backslashes, so an apostrophe is written in double quotes.
    return Quoted(text, QStringLiteral("'\"'\"'"), true);
}

QStringList ScriptFields(const QString& line) {
    // Quotes stay in their field, so each field is a piece of the line as it stands.
    QStringList fields;
    qsizetype from = 0;
    QChar quote;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar c = line.at(i);
        if (quote.isNull() && c == QLatin1Char(' ')) {
            fields.append(line.mid(from, i - from));
            from = i + 1;
        } else if (c == quote) {
            quote = QChar();
        } else if (quote.isNull() && (c == QLatin1Char('\'') || c == QLatin1Char('"'))) {
            quote = c;
        }
    }
    fields.append(line.mid(from));
    return fields;
}

} // namespace TemplateWords
