#include <QTest>

class Stub : public QObject {
    Q_OBJECT
};

QTEST_MAIN(Stub)
#include "tst_readers.moc"
