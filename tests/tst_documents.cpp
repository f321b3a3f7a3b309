// Files dropped on the window or opened as documents join its catalogue.
#include "TestSupport.h"
#include "app/App.h"
#include "platform/MenuBar.h"
#include "platform/SingleInstance.h"
#include "platform/Yield.h"
#include <QApplication>
#include <QDropEvent>
#include <QMainWindow>
#include <QMimeData>
#include <QTimer>
#include <functional>
#include <sys/socket.h>
#include <sys/un.h>

using namespace TestSupport;
namespace {
const QString kPackage = "sample Ver210305_140709 (Ver210305_140709)";
std::function<void()> gDuringStartUp; // runs when the window being made asks for its menu bar
// A manifest with a record for each name, each at version "v1".
QByteArray Manifest(const QStringList& names) {
    QStringList records;
    for (const QString& name : names)
        records << "{\n\"name\": \"" + name + "\",\n\"version\": \"v1\",\n\"commands\": [\n\"x\"\n]\n}";
    return ("[\n" + records.join(",\n") + "\n]\n").toUtf8();
}

// The preset rows: those of the catalogue laid at start-up, then those named ("-" separates).
QStringList Rows(int catalogue, const QStringList& names = {}) {
    QStringList rows;
    for (int i = 1; i <= catalogue; ++i)
        rows << QString("Base%1 (v1)").arg(i);
    for (const QString& name : names)
        rows << (name == "-" || name == kPackage ? name : name + " (v1)");
    return rows;
}

QStringList Presets(const EspWin* w) {
    QStringList rows;
    for (int i = 0; i < w->PrisetPM.ListCount(); ++i)
        rows << w->PrisetPM.List(i);
    return rows;
}
} // namespace

class TstDocuments : public QObject {
    Q_OBJECT
    AppFolderLayout mLayout;
    SeamRecorder mSeams;
    QTemporaryDir mSource;
    QString Dropped(const QString& name) const { return mSource.filePath(name); }
    EspWin* Lay(int count) {
        DisposeWindow(), AppFolderLayout::Clear();
        const QByteArray base = Manifest(Rows(count).replaceInStrings(" (v1)", ""));
        return WriteFile(mLayout.Path("firmwares/base.json"), base) ? EspWin::Instance() : nullptr;
    }

private slots:
    void initTestCase() {
        for (const auto& [name, content] : {std::pair{"a.json", Manifest({"A"})},
                                            {"b.crvj", Manifest({"B1", "B2"})},
                                            {"notes.txt", "text"},
                                            {"folder/c.json", Manifest({"C"})},
                                            {"folder/img.bin", "image"},
                                            {"folder/sub/d.crvj", Manifest({"D"})}})
            QVERIFY(WriteFile(Dropped(name), content));
        QFile image(Dropped("sample.bin"));
        QVERIFY(WriteFile(image.fileName(), QByteArray(256, '\xe9')) && image.open(QIODevice::ReadWrite));
        QVERIFY(image.setFileTime(QDateTime(QDate(2021, 3, 5), QTime(14, 7, 9)), QFileDevice::FileModificationTime));
    }

    void cleanup() { DisposeWindow(), AppFolderLayout::Clear(); }
    // The whole window takes files let go over any control, no pane takes them as text, plain text ({})
    // is no drop. A catalogue of three has row 1 chosen before.
    void drops() {
        const QString web = "https://example.com/a.json";
        const std::tuple<int, QStringList, QString, QStringList, int> rows[] = {
            {0, {"a.json", "b.crvj"}, "", {"A", "B1", "B2"}, 0},
            {0, {"sample.bin"}, "rEF", {kPackage}, 0},
            {0, {"notes.txt"}, "InstallEF", {}, -1},
            {1, {"a.json", "folder"}, "StartPB", {"A", "-", "C", "-", "D"}, 0},
            {1, {}, "rEF", {}, 0},
            {3, {"a.json", "b.crvj"}, "PrisetPM", {"-", "A", "-", "B1", "B2"}, 4},
            {3, {"sample.bin", "sample.bin"}, "", {"-", kPackage, "-", kPackage}, 4},
            {3, {web, "a.json"}, "", {}, 1},
            {3, {"a.json", web, "gone.json"}, "EspToolEF", {"-", "A"}, 4},
        };
        for (const auto& [catalogue, dragged, over, added, selected] : rows) {
            EspWin* w = Lay(catalogue);
            w->Show(), w->PrisetPM.SetListIndex(catalogue == 3 ? 1 : w->PrisetPM.ListIndex());
            QMimeData data;
            QList<QUrl> urls;
            for (const QString& name : dragged)
                urls << (name.contains("://") ? QUrl(name) : QUrl::fromLocalFile(Dropped(name)));
            dragged.isEmpty() ? data.setText(Dropped("a.json")) : data.setUrls(urls);
            // As the toolkit delivers it: to the first widget up from the control that takes drops.
            QWidget* target = w->mWindow.Widget()->centralWidget();
            for (const Control* c : w->mWindow.Controls())
                target = c->Name() == over ? c->Widget() : target;
            while (!target->acceptDrops())
                target = target->parentWidget();
            QDragEnterEvent enter(target->rect().center(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QDropEvent drop(target->rect().center(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(target, &enter), QApplication::sendEvent(target, &drop);
            const QByteArray row = dragged.join(' ').toUtf8() + " on " + QByteArray::number(catalogue);
            QVERIFY2(enter.isAccepted() == drop.isAccepted() && drop.isAccepted() != dragged.isEmpty() &&
                         !w->mWindow.HandleDrop(nullptr),
                     row);
            QVERIFY2(Presets(w) == Rows(catalogue, added) && w->PrisetPM.ListIndex() == selected && w->mDropBin == 0,
                     row);
            QVERIFY2(!(w->rEF.Text() + w->InstallEF.Text() + w->EspToolEF.Text()).contains(mSource.path()) &&
                         mSeams.beeps == 0,
                     row);
            // Only a .bin dropped on its own becomes a package.
            QVERIFY2(QFileInfo::exists(mLayout.Path("firmwares/sample/sample.bin")) == dragged.contains("sample.bin") &&
                         !QFileInfo::exists(mLayout.Path("firmwares/img.json")) &&
                         (!dragged.isEmpty() || !w->mWindow.HandleDrop(&data)),
                     row);
        }
    }

    // While the window is half made a drop is refused and a document waits; then documents join the
    // open window's catalogue; a later launch's, each a document of its own, bring a closed one back.
    void documents() {
        SingleInstance running(mSource.filePath("socket"));
        const auto handOver = [&](const QStringList& paths) {
            return SingleInstance(running.Path()).HandOver(paths, 60000);
        };
        QVERIFY(running.Listen([](const QString& path) { TheApp().OpenHandedOver(path); }));
        bool dropTaken = true;
        gDuringStartUp = [&] {
            QMimeData data;
            data.setUrls({QUrl::fromLocalFile(Dropped("b.crvj"))});
            dropTaken = EspWin::Existing()->mWindow.AcceptsDrops() || EspWin::Existing()->mWindow.HandleDrop(&data);
            TheApp().Event_OpenDocument(FolderItem(Dropped("a.json")));
        };
        EspWin::UseMenuBar([]() -> MenuBar& {
            if (gDuringStartUp)
                std::exchange(gDuringStartUp, nullptr)();
            return MainMenuBar();
        });
        EspWin* w = Lay(3);
        QVERIFY(!gDuringStartUp && !dropTaken);
        QTRY_COMPARE(Presets(w), Rows(3, {"-", "A"}));
        QVERIFY(w->PrisetPM.ListIndex() == 4 && w->mWindow.IsVisible() &&
                w->mFirmFolderX == FolderItem(mLayout.Path("firmwares")));
        for (const auto& [name, selected] :
             {std::pair{"a.json", 6}, {"folder", 8}, {"notes.txt", 10}, {"", 1}, {"sample.bin", 12}}) {
            w->PrisetPM.SetListIndex(1), TheApp().Event_OpenDocument(*name ? FolderItem(Dropped(name)) : FolderItem());
            QCOMPARE(w->PrisetPM.ListIndex(), selected);
        }
        QVERIFY(Presets(w) == Rows(3, {"-", "A", "-", "A", "-", "C", "-", "D", "-", kPackage}) &&
                EspWin::Existing() == w);
        w->Close();
        QVERIFY(!EspWin::Existing() && handOver({Dropped("a.json"), Dropped("b.crvj")}));
        QTRY_VERIFY((w = EspWin::Existing()) && w->PrisetPM.ListCount() == 10);
        QVERIFY(Presets(w) == Rows(3, {"-", kPackage, "-", "A", "-", "B1", "B2"}) && w->PrisetPM.ListIndex() == 8);
        w->Close();
        QVERIFY(handOver({}));
        QTRY_VERIFY(EspWin::Existing());
        QVERIFY(TheApp().FileNewWin_Action(0) && Presets(EspWin::Existing()) == Rows(3, {"-", kPackage}));
    }

    // Manifests changing under a walk make no records; a package folder's name taken by a file leaves
    // the manifest without images; an image gone before it is taken gives no package.
    void faults() {
        EspWin* w = Lay(0);
        for (int i = 0; i < 4000; ++i)
            QVERIFY(WriteFile(Dropped(QString("walk/%1.json").arg(i)), Manifest({QString::number(i)})));
        QTimer::singleShot(0, this, [&] {
            for (int i = 2000; i < 4000; ++i) {
                const QString x = Dropped(QString("walk/%1.json").arg(i));
                QFile::remove(x);
                i % 3 ? void(i % 3 == 1 ? QDir().mkpath(x) : QFile::link(x + ".gone", x))
                      : void(WriteFile(x, "{\n\"name\": \"x\""));
            }
        });
        w->DoDropFile(FolderItem(Dropped("walk")));
        QVERIFY(QFileInfo(Dropped("walk/2003.json")).isSymLink() && w->mFirm.size() > 1 && w->mFirm.size() < 7999);
        for (const FirmRef& r : w->mFirm)
            QVERIFY2(r->mName == "-" || QString::number(r->mName.toInt()) == r->mName, qPrintable(r->mName));
        w = Lay(0);
        QVERIFY(WriteFile(mLayout.Path("tools/bin/boot_app0.bin"), "boot") &&
                WriteFile(mLayout.Path("firmwares/sample"), "in the way"));
        w->DoDropFile(FolderItem(Dropped("sample.bin"))), w->DoDropFile(FolderItem(Dropped("gone.bin")));
        QVERIFY(ReadFile(mLayout.Path("firmwares/sample")) == "in the way" && QFileInfo::exists(Dropped("sample.bin")));
        QVERIFY(Presets(w) == QStringList{kPackage} && w->PrisetPM.ListIndex() == 0 &&
                !QFileInfo::exists(mLayout.Path("firmwares/gone.json")));
    }

    // A launch that hangs up in the middle of a walk, which lets events run, crashes nothing and
    // loses nothing: every record arrives once, in order.
    void handOverMidWalk() {
        EspWin* w = Lay(1);
        w->Show();
        QStringList expected = {"Base1", "A", "B1", "B2", "C"};
        for (int i = 0; i < 5000; ++i) {
            expected << QString("M%1").arg(i);
            QVERIFY(WriteFile(Dropped(QString("many/m%1.json").arg(i)), Manifest({expected.last()})));
        }
        SingleInstance running(mSource.filePath("socket"));
        QVERIFY(running.Listen([](const QString& path) { TheApp().OpenHandedOver(path); }));

        // The slow launch sends the folder first, the rest once the folder's walk is under way.
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, QFile::encodeName(running.Path()).constData(), sizeof address.sun_path);
        const int slow = ::socket(AF_UNIX, SOCK_STREAM, 0);
        QVERIFY(::connect(slow, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
        const QByteArray first = QFile::encodeName(Dropped("many")) + '\0';
        const QByteArray rest =
            QFile::encodeName(Dropped("a.json")) + '\0' + QFile::encodeName(Dropped("b.crvj")) + '\0' + '\0';
        QVERIFY(::write(slow, first.constData(), size_t(first.size())) == first.size());
        bool handed = false;
        QTimer later;
        connect(&later, &QTimer::timeout, &later, [&] {
            if (handed || !InNestedEvents() || w->mFirm.size() < 3)
                return;
            handed = ::write(slow, rest.constData(), size_t(rest.size())) == rest.size();
            ::close(slow);
            handed = SingleInstance(running.Path()).HandOver({}) && handed;
        });
        later.start(0);
        QTRY_VERIFY_WITH_TIMEOUT(handed, 60000);
        later.stop();

        // Once the last path is in, every one before it is.
        QVERIFY(SingleInstance(running.Path()).HandOver({Dropped("folder/c.json")}));
        QTRY_VERIFY_WITH_TIMEOUT(Presets(w).contains("C (v1)"), 60000);
        QStringList names;
        for (const FirmRef& r : w->mFirm)
            if (r->mName != "-")
                names << r->mName;
        names.sort();
        expected.sort();
        QCOMPARE(names, expected);
        QCOMPARE(EspWin::Existing(), w);
    }
};

QTEST_MAIN(TstDocuments)
#include "tst_documents.moc"
