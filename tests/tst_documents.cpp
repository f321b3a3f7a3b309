// Files dropped on the window or opened as documents join its catalogue.
#include "TestSupport.h"
#include "app/App.h"
#include "platform/MenuBar.h"
#include "platform/SingleInstance.h"
#include <QApplication>
#include <QDropEvent>
#include <QMainWindow>
#include <QMimeData>
#include <QTimer>
#include <functional>
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
};
QTEST_MAIN(TstDocuments)
#include "tst_documents.moc"
