#include "FlashSupport.h"
#include "ProcessSupport.h"
#include "TestSupport.h"

#include <QAbstractScrollArea>
#include <QScrollBar>

using namespace TestSupport;
using namespace FlashSupport;

// Flashing with the stand-in tool beside the program, a manifest's preset, a pty for the board.
class TstRun : public QObject {
    Q_OBJECT
private slots:
    void init() {
        mLayout = std::make_unique<AppFolderLayout>();
        mTool = mLayout->Path("Corvane.app/Contents/Resources");
        QVERIFY(InstallFakeTool(mTool + "/esptool"));
        QVERIFY(WriteFile(mLayout->Path("firmwares/blink/blink.json"),
                          "[\n{\n\"name\": \"Blink\",\n\"path\": \"images\\\\v1\",\n\"commands\": [\n\"--chip esp32 "
                          "--port %port --baud %baud write_flash 0x1000 %PATH\\\\a.bin\"\n]\n}\n]\n"));
        mSeams = std::make_unique<SeamRecorder>();
        QVERIFY(mBoard.Open());
        mSeams->ports = {mBoard.Port()};
        w = EspWin::Instance();
        ShowOnePort(w, mBoard.Name());
        w->Show();
        mDone = std::make_unique<QSignalSpy>(&w->esptool, &Shell::Completed);
    }

    void cleanup() {
        DisposeWindow();
        mSeams.reset();
        mBoard.Close();
        mLayout.reset();
    }

    // The log starts afresh, output and errors as they come; the end enables what it finds disabled.
    // Then templates in turn, after a failure too, with a tool path of blanks and quotes.
    void wholeRun() {
        w->rEF.SetText("from before");
        w->StartPB.Push();
        for (Control* c : std::initializer_list<Control*>{&w->StartPB, &w->PortPM, &w->SelectPB})
            c->SetEnabled(false);
        QVERIFY(mDone->wait(kLong));
        QCOMPARE(w->rEF.Text(), "Wait...." + Output(0));
        QVERIFY(w->StartPB.Enabled() && w->PortPM.Enabled() && w->SelectPB.Enabled());
        QCOMPARE(RecordedRuns(mTool),
                 (QList<QStringList>{{"--chip", "esp32", "--port", Dev(), "--baud", "921600", "write_flash", "0x1000",
                                      mLayout->Path("firmwares/blink/images/v1/a.bin")}}));
        const QString tool = mDir.filePath("my tools/it's here");
        QVERIFY(InstallFakeTool(tool + "/esptool"));
        mSeams->openAnswer = FolderItem(tool + "/esptool");
        w->SelectESPPB.Push();
        LoadPresets(w, {Record("B", {}, "", {"--port %port --exit 2", "--port %port"})}, 0);
        QVERIFY(RunToEnd(w, kLong));
        QCOMPARE(RecordedRuns(tool), (QList<QStringList>{{"--port", Dev(), "--exit", "2"}, {"--port", Dev()}}));
        QCOMPARE(w->rEF.Text(), "Wait...." + Output(2) + Output(0));
    }

    // Start doesn't judge the command: whatever it is completes once, its output whole.
    void commands_data() {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("log"); // all of it after "Wait....", or what the shell didn't find
        QTest::newRow("empty") << "" << QString();
        QTest::newRow("shell killed") << "kill -9 $$" << QString();
        QTest::newRow("errors among output")
            << "printf 'one\\r'; printf 'two\\n' >&2; printf '\\303\\251'" << QString::fromUtf8("one\rtwo\né");
        QTest::newRow("not UTF-8") << "printf 'ok \\377\\376 end\\n'" << QString::fromUtf8("ok \xff\xfe end\n");
        // A missing tool, and lines without their tool: commands all the same.
        for (const char* first : {"/no/such/esptool", "--chip", "-c", "--", "-", "+x"})
            QTest::newRow(first) << QString(first) + " 'echo smuggled'" << QString(first) + ": not found";
    }

    void commands() {
        QFETCH(QString, command);
        QFETCH(QString, log);
        w->InstallEF.SetText(command);
        QVERIFY(RunToEnd(w, kLong));
        QCoreApplication::processEvents();
        QCOMPARE(mDone->count(), 1);
        const QString text = w->rEF.Text();
        QVERIFY(log.endsWith("found") ? text.startsWith("Wait....") && text.contains(log) : text == "Wait...." + log);
    }

    void sessionAcrossRun_data() {
        QTest::addColumn<bool>("openAtStart");
        QTest::addColumn<bool>("autoTicked");
        QTest::addColumn<QString>("midRun");
        QTest::addColumn<bool>("openAfter");
        QTest::newRow("open, unticked") << true << false << "" << true;
        QTest::newRow("closed, ticked") << false << true << "" << true;
        QTest::newRow("closed, ticked, tool killed") << false << true << "kill" << true;
        QTest::newRow("closed, unticked") << false << false << "" << false;
        QTest::newRow("closed, ticked, opened mid-run: the completion's toggle closes it")
            << false << true << "connect" << false;
    }

    // The tool needs the port to itself: the session closes for the run and comes back after it at
    // the monitor speed shown then, whatever the result. A second Start leaves run, log and session be.
    void sessionAcrossRun() {
        QFETCH(bool, openAtStart);
        QFETCH(bool, autoTicked);
        QFETCH(QString, midRun);
        QFETCH(bool, openAfter);
        QVERIFY(WriteFile(mTool + "/hold", ""));
        if (openAtStart)
            w->ConnectPB.Push();
        w->AutoConnectCB.SetValue(autoTicked);
        w->StartPB.Push();
        QVERIFY(w->termConnected == openAtStart && !w->mConnected && !w->MySerial.IsOpen());
        QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().endsWith("Connecting....\n"), kLong);
        if (midRun == "connect")
            w->ConnectPB.Push();
        const QString log = w->rEF.Text();
        const qint64 shell = w->esptool.ProcessId();
        w->StartPB.Push();
        w->esptool.Execute("echo second");
        QVERIFY(w->rEF.Text() == log && w->esptool.ProcessId() == shell && w->mConnected == (midRun == "connect"));
        w->BaudPMs.SetListIndex(3);
        QVERIFY(midRun == "kill" ? ::kill(pid_t(RecordedPid(mTool)), SIGKILL) == 0 : WriteFile(mTool + "/go", ""));
        QVERIFY(mDone->wait(kLong) && mDone->count() == 1 && RecordedRuns(mTool).size() == 1);
        // The shell may say how its tool ended.
        QVERIFY(midRun == "kill" ? w->rEF.Text().startsWith(log) && !w->rEF.Text().contains("Writing")
                                 : w->rEF.Text() == "Wait...." + Output(0));
        QVERIFY(w->mConnected == openAfter && w->MySerial.IsOpen() == openAfter && mSeams->beeps == 0);
        if (openAfter)
            QVERIFY(w->MySerial.SerialPort.Name == mBoard.Name() && w->MySerial.Baud == w->BaudPMs.Text().toInt());
    }

    // What a line started ends with the run: what it left when it completes, all when the window closes.
    void toolsEndWithTheRun() {
        w->InstallEF.SetText("sleep 1000 >/dev/null 2>&1 & echo $!");
        QVERIFY(RunToEnd(w, kLong));
        const qint64 left = w->rEF.Text().mid(8).trimmed().toLongLong();
        QTRY_VERIFY_WITH_TIMEOUT(left > 0 && !Alive(left), kLong);
        w->InstallEF.SetText("sleep 1000 & exec sleep 1000");
        w->StartPB.Push();
        const qint64 group = w->esptool.ProcessId();
        const auto alone = [&] { // of the two tools and the watcher, the one holding a single descriptor
            int n = 0;
            for (const qint64 pid : GroupMembers(group))
                n += QDir(QString("/proc/%1/fd").arg(pid), {}, QDir::NoSort, QDir::System).count() == 1;
            return n;
        };
        QTRY_VERIFY_WITH_TIMEOUT(GroupMembers(group).size() == 3 && alone() == 1, kLong);
        w->Close();
        QVERIFY(!w->esptool.IsRunning() && !EspWin::Existing());
        DisposeWindow();
        QTRY_VERIFY_WITH_TIMEOUT(GroupMembers(group).isEmpty(), kLong);
        QCOMPARE(mDone->count(), 1); // the first run's alone
    }

    // The log follows its end as output comes in, as far as the scroll line limit.
    void logFollowsTheEnd() {
        const int limit = TextArea::kScrollLineLimit;
        const QScrollBar* bar = static_cast<QAbstractScrollArea*>(w->rEF.Widget())->verticalScrollBar();
        w->InstallEF.SetText(QString("i=0; while [ $i -lt %1 ]; do i=$((i+1)); echo line $i; done").arg(limit + 99));
        QVERIFY(RunToEnd(w, kLong));
        QVERIFY(w->rEF.Text().endsWith(QString("\nline %1\n").arg(limit + 99)) && bar->maximum() > limit);
        QCOMPARE(bar->value(), limit);
    }

    // Output is taken piece by piece: the two bytes of "é" in two pieces stay two broken ones. Then a
    // flood without line ends for as long as the test lets it: clicks are served, no byte is lost.
    void outputAsItComes() {
        const auto until = [&](const char* word) { return "while [ ! -e '" + mDir.filePath(word) + "' ]; do"; };
        w->InstallEF.SetText(QString("printf '\\303'; %1 sleep 0.02; done; printf '\\251'; n=0; %2 head -c 262144 "
                                     "/dev/zero | tr '\\0' x; n=$((n+1)); done; echo; echo $n")
                                 .arg(until("a"), until("b")));
        w->StartPB.Push();
        QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().size() > 8, kLong);
        QVERIFY(WriteFile(mDir.filePath("a"), ""));
        QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().size() > 4 * 1024 * 1024, kLong);
        int clicks = 0;
        connect(&w->SelectPB, &PushButton::Action, this, [&] { ++clicks; });
        QMetaObject::invokeMethod(&w->SelectPB, &PushButton::Push, Qt::QueuedConnection);
        QTRY_COMPARE_WITH_TIMEOUT(clicks, 1, kLong);
        QVERIFY(w->esptool.IsRunning() && WriteFile(mDir.filePath("b"), "") && mDone->wait(kLong));
        const QStringList tail = w->rEF.Text().split('\n');
        QVERIFY(tail.size() == 3 && tail.at(1).toInt() >= 16);
        QVERIFY(tail.at(0) == "Wait...." + QString(2, QChar(0xFFFD)) + QString(tail.at(1).toInt() * 262144, 'x'));
    }

private:
    static constexpr int kLong = 120000;
    QString Dev() const { return mBoard.slavePath; }
    // What the stand-in prints for a run that ends with status.
    QString Output(int status) const {
        QString out = "esptool.py v4.7.0\nSerial port " + Dev() + "\nConnecting....\n";
        for (const int p : {0, 25, 50, 75, 100})
            out += QString::asprintf("Writing at 0x0001%04d... (%d %%)\r", p, p);
        return out + "\nwarning: this is a stand-in tool\nLeaving... status " + QString::number(status) + "\n";
    }

    std::unique_ptr<AppFolderLayout> mLayout;
    QTemporaryDir mDir; // for what the line waits on and a tool the user chose
    std::unique_ptr<SeamRecorder> mSeams;
    std::unique_ptr<QSignalSpy> mDone; // the window's run completing
    Pty mBoard;
    QString mTool; // the folder of the stand-in tool beside the program
    EspWin* w = nullptr;
};

QTEST_MAIN(TstRun)
#include "tst_run.moc"
