#include "platform/Text.h"

#include <QTest>

class TstText : public QObject {
    Q_OBJECT
private slots:
    void fields_data();
    void fields();
    void positions();
    void replacing();
    void cutting();
    void numbers();
    void lineEndings();
};

void TstText::fields_data() {
    QTest::addColumn<QString>("s");
    QTest::addColumn<QString>("sep");
    QTest::addColumn<int>("n");
    QTest::addColumn<QString>("field");

    QTest::newRow("first") << "a,b,c"
                           << "," << 1 << "a";
    QTest::newRow("middle") << "a,b,c"
                            << "," << 2 << "b";
    QTest::newRow("past the last") << "a,b,c"
                                   << "," << 4 << "";
    QTest::newRow("sep absent, n=1 is all") << "abc"
                                            << "," << 1 << "abc";
    QTest::newRow("sep absent, n=2 is empty") << "abc"
                                              << "," << 2 << "";
    QTest::newRow("case ignored") << "oneXSEPtwo"
                                  << "xsep" << 2 << "two";
    QTest::newRow("multi-char sep") << "\"a\": \"b\": c"
                                    << "\": " << 2 << "\"b";
    QTest::newRow("empty fields") << ",,"
                                  << "," << 2 << "";
    QTest::newRow("empty string") << ""
                                  << "," << 1 << "";
    QTest::newRow("non-ASCII") << "ä_0xé_0xö"
                               << "_0X" << 2 << "é";
}

void TstText::fields() {
    QFETCH(QString, s);
    QFETCH(QString, sep);
    QFETCH(int, n);
    QFETCH(QString, field);
    QCOMPARE(NthField(s, sep, n), field);
}

void TstText::positions() {
    QCOMPARE(InStr("Hello", "h"), 1);
    QCOMPARE(InStr("Hello", "LLO"), 3);
    QCOMPARE(InStr("Hello", "x"), 0);
    QCOMPARE(InStr(3, "abcabc", "a"), 4);
    // Byte-exact search: case counts.
    QCOMPARE(InStrB("cu.SLAB_USBtoUART", "SLAB_USBtoUART"), 4);
    QCOMPARE(InStrB("cu.slab_usbtouart", "SLAB_USBtoUART"), 0);
    QVERIFY(Same("ABC", "abc"));
    QVERIFY(!Same("ABC", "abd"));
}

void TstText::replacing() {
    QCOMPARE(Replace("aXbxc", "x", "-"), QString("a-bxc"));
    QCOMPARE(ReplaceAll("aXbxc", "x", "-"), QString("a-b-c"));
    QCOMPARE(ReplaceAll("%PATH\\\\a %path\\\\b", "%PATH\\\\", "/p/"), QString("/p/a /p/b"));
    QCOMPARE(ReplaceAll("abc", "", "-"), QString("abc"));
    QCOMPARE(Replace("abc", "z", "-"), QString("abc"));
}

void TstText::cutting() {
    QCOMPARE(Mid("Hello", 2), QString("ello"));
    QCOMPARE(Mid("Hello", 6), QString());
    QCOMPARE(Mid("Hello", 0), QString("Hello"));
    QCOMPARE(Mid("Hello", 2, 3), QString("ell"));
    QCOMPARE(Left("Hello", 2), QString("He"));
    QCOMPARE(Left("Hi", 5), QString("Hi"));
    // Characters, not bytes.
    QCOMPARE(Len(QString::fromUtf8("日本")), 2);
    QCOMPARE(Mid(QString::fromUtf8("日本語"), 2, 1), QString::fromUtf8("本"));
    QCOMPARE(Left(QString::fromUtf8("ÄÖ"), 1), QString::fromUtf8("Ä"));
    QCOMPARE(Trim(" \t a b \r\n"), QString("a b"));
}

void TstText::numbers() {
    QCOMPARE(Val("115200"), 115200.0);
    QCOMPARE(Val("921600,"), 921600.0);
    QCOMPARE(Val("  12abc"), 12.0);
    QCOMPARE(Val("abc"), 0.0);
    QCOMPARE(Val(""), 0.0);
    QCOMPARE(Val("1.5"), 1.5);
    QCOMPARE(Val("-7"), -7.0);
}

void TstText::lineEndings() {
    QCOMPARE(ReplaceLineEndings("a\nb\rc\r\nd", EndOfLine::Windows()), QString("a\r\nb\r\nc\r\nd"));
    QCOMPARE(ReplaceLineEndings("\r\n\r\n", "\n"), QString("\n\n"));
}

QTEST_GUILESS_MAIN(TstText)
#include "tst_text.moc"
