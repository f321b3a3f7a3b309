#include "catalogue/Cuts.h"
#include "platform/Text.h"

#include <QTest>

class TstCuts : public QObject {
    Q_OBJECT
private slots:
    void keyLine_data();
    void keyLine();
    void values_data();
    void values();
};

void TstCuts::keyLine_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("raw");

    QTest::newRow("text key") << "\"name\": \"Sample\","
                              << "name"
                              << "\"Sample\",";
    QTest::newRow("list key") << "\"commands\": ["
                              << "commands"
                              << "[";
    QTest::newRow("raw value ends at a second separator") << "\"name\": \"x\": y\","
                                                          << "name"
                                                          << "\"x";
    QTest::newRow("no blank behind the colon") << "\"name\":\"x\","
                                               << "name\":\"x\","
                                               << "";
    QTest::newRow("blank before the colon") << "\"name\" : \"x\","
                                            << "name\" : \"x\","
                                            << "";
    QTest::newRow("bracket") << "]"
                             << ""
                             << "";
    QTest::newRow("empty line") << ""
                                << ""
                                << "";
    QTest::newRow("number value") << "\"baud\": 921600,"
                                  << "baud"
                                  << "921600,";
    QTest::newRow("letters that fold oddly") << QStringLiteral("\"\u017F\u212A\": \"\u0130\": x")
                                             << QStringLiteral("\u017F\u212A") << QStringLiteral("\"\u0130");
}

void TstCuts::keyLine() {
    QFETCH(QString, line);
    QFETCH(QString, key);
    QFETCH(QString, raw);
    QCOMPARE(Cuts::KeyOf(line), key);
    QCOMPARE(Cuts::RawValueOf(line), raw);
    // The same cuts as the case-blind NthField.
    QCOMPARE(Cuts::KeyOf(line), Mid(NthField(line, Cuts::KeySep, 1), 2));
    QCOMPARE(Cuts::RawValueOf(line), NthField(line, Cuts::KeySep, 2));
}

void TstCuts::values_data() {
    QTest::addColumn<QString>("raw");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("quoteless");
    QTest::addColumn<QString>("number");

    QTest::newRow("quoted, comma") << "\"sample\","
                                   << "sample"
                                   << "sample,"
                                   << "\"sample";
    QTest::newRow("quoted, last key") << "\"sample\""
                                      << "sample\""
                                      << "sample"
                                      << "\"sample\"";
    QTest::newRow("inner quote-comma") << "\"a\",b\","
                                       << "a"
                                       << "a,b,"
                                       << "\"a";
    QTest::newRow("empty text") << "\"\","
                                << ""
                                << ","
                                << "\"";
    QTest::newRow("number, comma") << "921600,"
                                   << "21600,"
                                   << "921600,"
                                   << "921600,";
    QTest::newRow("nothing") << ""
                             << ""
                             << ""
                             << "";
}

void TstCuts::values() {
    QFETCH(QString, raw);
    QFETCH(QString, text);
    QFETCH(QString, quoteless);
    QFETCH(QString, number);
    QCOMPARE(Cuts::TextValue(raw), text);
    QCOMPARE(Cuts::TextValue(raw), NthField(Mid(raw, 2), Cuts::ValueEnd, 1));
    QCOMPARE(Cuts::QuotelessValue(raw), quoteless);
    QCOMPARE(Cuts::NumberValue(raw), number);
}

QTEST_GUILESS_MAIN(TstCuts)
#include "tst_cuts.moc"
