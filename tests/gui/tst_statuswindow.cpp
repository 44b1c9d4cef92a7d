#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QFileDialog>
#include <QLineEdit>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextLayout>
#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "settings/TSettings.h"
#include "status/TLogFileDialog.h"
#include "status/TStatusBox.h"
#include "status/TStatusLog.h"
#include "status/TStatusWindow.h"
#include "status/TTableCtrl.h"

class TestStatusWindow : public QObject
{
    Q_OBJECT
private slots:
    void lines_batchedSearchedAndCleared()
    {
        TStatusWindow window;
        QCOMPARE(TStatusWindow::Instance(), &window);
        window.AddStatusMessage(QStringLiteral("Device Information"), QStringLiteral("error - no local device selected"));
        window.AddStatusLine(QStringLiteral("Result: OK"));
        window.AddStatusLine(QStringLiteral("Result: ERROR - wrong parameter"));
        QCOMPARE(window.VisibleLines(), 0);   // not yet: appends wait for the batch
        QTRY_COMPARE(window.VisibleLines(), 3);
        QVERIFY(window.Text().split(QLatin1Char('\n')).at(0).endsWith(QStringLiteral(";Device Information:error - no local device selected")));

        window.OnSearchTextChanged(QStringLiteral("result"));
        QCOMPARE(window.SearchCounterText(), QStringLiteral("1 / 2"));
        window.OnSearchNext();
        QCOMPARE(window.SearchCounterText(), QStringLiteral("2 / 2"));
        window.OnSearchNext();
        QCOMPARE(window.SearchCounterText(), QStringLiteral("1 / 2"));
        window.OnSearchPrevious();
        QCOMPARE(window.SearchCounterText(), QStringLiteral("2 / 2"));
        window.OnSearchTextChanged(QStringLiteral("nothing like it"));
        QCOMPARE(window.SearchCounterText(), QStringLiteral("0 / 0"));

        window.OnClearStatusTable();
        QCOMPARE(window.VisibleLines(), 0);
        QCOMPARE(TStatusLog::Instance().LineCount(), 0);
    }

    void filters_levelAndDevice()
    {
        TStatusWindow window;
        TStatusLog& log = TStatusLog::Instance();
        log.AddStatusLine(QStringLiteral("/dev/pts/1:DeviceMgmt:Command:Get RTC"));
        log.AddStatusLine(QStringLiteral("/dev/pts/1:DeviceMgmt:Result: ERROR - wrong parameter"));
        log.AddStatusLine(QStringLiteral("/dev/pts/12:DeviceMgmt:Result: OK"));
        log.AddStatusLine(QStringLiteral("Device HCI Settings:warning - not sent: Baud Rate - choose a value"));
        log.AddStatusLine(QStringLiteral("DeviceMgmt:new radio detected on: /dev/pts/12"));
        window.FlushPending();
        QCOMPARE(window.VisibleLines(), 5);
        const auto shown = [&window] {
            QStringList texts;
            for (const QString& line : window.Text().split(QLatin1Char('\n'), Qt::SkipEmptyParts))
                texts << line.section(QLatin1Char(';'), 2);
            return texts;
        };

        window.SetLevelShown(TStatusLevel::Protocol, false);
        QCOMPARE(shown(), (QStringList{"/dev/pts/1:DeviceMgmt:Result: ERROR - wrong parameter",
                                       "Device HCI Settings:warning - not sent: Baud Rate - choose a value",
                                       "DeviceMgmt:new radio detected on: /dev/pts/12"}));
        window.SetLevelShown(TStatusLevel::Info, false);
        window.SetLevelShown(TStatusLevel::Warning, false);
        QCOMPARE(shown(), QStringList{"/dev/pts/1:DeviceMgmt:Result: ERROR - wrong parameter"});
        // A line that arrives while its level is hidden is kept and shows when the level does.
        log.AddStatusLine(QStringLiteral("/dev/pts/1:DeviceMgmt:Command:Set RTC"));
        window.FlushPending();
        QCOMPARE(window.VisibleLines(), 1);
        for (int level = 0; level < TStatusLevel::LevelCount; ++level)
            window.SetLevelShown(TStatusLevel::Level(level), true);
        QCOMPARE(window.VisibleLines(), 6);

        window.AddDevice(QStringLiteral("/dev/pts/1"));
        window.AddDevice(QStringLiteral("/dev/pts/12"));
        window.AddDevice(QStringLiteral("/dev/pts/1"));
        QCOMPARE(window.Devices(), (QStringList{"/dev/pts/1", "/dev/pts/12"}));
        window.SetDeviceFilter(QStringLiteral("/dev/pts/12"));
        QCOMPARE(shown(), (QStringList{"/dev/pts/12:DeviceMgmt:Result: OK", "DeviceMgmt:new radio detected on: /dev/pts/12"}));
        window.SetDeviceFilter(QStringLiteral("/dev/pts/1"));
        QCOMPARE(shown(), (QStringList{"/dev/pts/1:DeviceMgmt:Command:Get RTC", "/dev/pts/1:DeviceMgmt:Result: ERROR - wrong parameter",
                                       "/dev/pts/1:DeviceMgmt:Command:Set RTC"}));
        window.OnSearchTextChanged(QStringLiteral("result"));
        QCOMPARE(window.SearchCounterText(), QStringLiteral("1 / 1"));   // search runs on what is shown
        window.SetDeviceFilter(QString());
        QCOMPARE(window.VisibleLines(), 6);
        QCOMPARE(window.SearchCounterText(), QStringLiteral("1 / 2"));
        window.OnClearStatusTable();
    }

    void separator_aRuleNotALine()
    {
        TStatusWindow window;
        TStatusLog& log = TStatusLog::Instance();
        log.Clear();
        const QString separator(160, QLatin1Char('-'));
        for (int command = 0; command < 3; ++command) {
            log.AddStatusLine(separator);
            log.AddStatusLine(QStringLiteral("COM3:DeviceMgmt:Command:Get RTC"));
            log.AddStatusLine(QStringLiteral("COM3:DeviceMgmt:Result: OK"));
        }
        window.FlushPending();
        QCOMPARE(window.VisibleLines(), 6);
        QCOMPARE(log.LineCount(), 6);
        QVERIFY(!window.Text().contains(QStringLiteral("---")));
        for (int line = 0; line < 6; ++line)
            QCOMPARE(window.Box()->HasRuleAbove(line), line % 2 == 0);
        // With lines filtered out, the rule shows above the first line shown after a command began.
        log.AddStatusLine(QStringLiteral("DeviceMgmt:new radio detected on: COM3"));
        log.AddStatusLine(QStringLiteral("DeviceMgmt:new radio detected on: COM4"));
        log.AddStatusLine(separator);
        log.AddStatusLine(QStringLiteral("COM3:DeviceMgmt:Command:Get RTC"));
        log.AddStatusLine(QStringLiteral("COM3:DeviceMgmt:Result: ERROR - operation failed"));
        window.SetLevelShown(TStatusLevel::Protocol, false);
        QCOMPARE(window.VisibleLines(), 3);
        QVERIFY(window.Box()->HasRuleAbove(0));    // three commands went before it
        QVERIFY(!window.Box()->HasRuleAbove(1));
        QVERIFY(window.Box()->HasRuleAbove(2));    // the error of the next command
        window.OnClearStatusTable();
    }

    void longLines_wrapWithTooltipCopyAndSearchKeepsTheTimeStamp()
    {
        TStatusWindow window;
        window.resize(320, 400);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        TStatusLog& log = TStatusLog::Instance();
        log.Clear();
        const QString tail = QStringLiteral("needle-at-the-end");
        const QString longText = QStringLiteral("COM3:DeviceMgmt:") + QString(150, QLatin1Char('x')) + tail;
        for (int i = 0; i < 200; ++i)
            log.AddStatusLine(i == 150 ? longText : QStringLiteral("COM3:DeviceMgmt:Result: OK %1").arg(i));
        window.FlushPending();
        TStatusBox* box = window.Box();
        QCOMPARE(box->lineWrapMode(), QPlainTextEdit::WidgetWidth);
        QCOMPARE(window.VisibleLines(), 200);   // a wrapped line is still one line

        window.OnSearchTextChanged(tail);
        QCOMPARE(window.SearchCounterText(), QStringLiteral("1 / 1"));
        QCOMPARE(box->textCursor().selectedText(), tail);
        const QTextBlock block = box->document()->findBlockByNumber(150);
        QTextCursor start(block);
        QVERIFY2(block.layout()->lineCount() > 1, "the line does not wrap: make it longer");
        const QRect stamp = box->cursorRect(start);
        QVERIFY2(box->viewport()->rect().contains(stamp), "the line's time stamp is out of view");
        QVERIFY(box->viewport()->rect().contains(box->cursorRect()));   // and so is the match
        QCOMPARE(box->horizontalScrollBar()->value(), 0);

        const QPoint onIt = stamp.center();
        QVERIFY(box->LineAt(onIt).endsWith(longText));
        QCOMPARE(box->LineAt(onIt), block.text());
        QVERIFY(box->CopyLineAt(onIt));
        QCOMPARE(QApplication::clipboard()->text(), block.text());

        // A line taller than the box: its time stamp stays in view rather than its end.
        log.AddStatusLine(QStringLiteral("COM3:DeviceMgmt:") + QString(3000, QLatin1Char('y')) + QStringLiteral("far-away"));
        window.OnSearchTextChanged(QStringLiteral("far-away"));
        QCOMPARE(window.SearchCounterText(), QStringLiteral("1 / 1"));
        QVERIFY(box->viewport()->rect().contains(box->cursorRect(QTextCursor(box->document()->findBlockByNumber(200)))));
        window.OnClearStatusTable();
        log.AddStatusLine(QStringLiteral("only line"));
        window.FlushPending();
        QVERIFY(box->LineAt(QPoint(5, box->viewport()->height() - 2)).isEmpty());   // below the last line
        QVERIFY(!box->CopyLineAt(QPoint(5, box->viewport()->height() - 2)));
    }

    void logDialog_opensInDocumentsAndSaysWhatItDoes()
    {
        QWidget parent;
        const QString documents = TSettings::Instance().DocumentsDirectory();
        QVERIFY(QDir().mkpath(documents));
        QFileDialog* dialog = TLogFileDialog::Create(&parent, QStringLiteral("Open Log File"),
                                                     QDir(documents).filePath(QStringLiteral("RxTable_2024-01-31_12-00-00.log")));
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Open Log File"));
        QCOMPARE(QDir(dialog->directory()).canonicalPath(), QDir(documents).canonicalPath());
        QCOMPARE(dialog->labelText(QFileDialog::Accept), QStringLiteral("Start Logging"));
        QCOMPARE(dialog->acceptMode(), QFileDialog::AcceptSave);
        QCOMPARE(dialog->nameFilters(), QStringList{QStringLiteral("Log Files (*.log)")});
        // A log folder that does not exist (any more) falls back to Documents.
        QFileDialog* fallback = TLogFileDialog::Create(&parent, QStringLiteral("Create Log File"), QStringLiteral("/no/such/folder/x.log"));
        QCOMPARE(QDir(fallback->directory()).canonicalPath(), QDir(documents).canonicalPath());
    }

    void limit_boxHoldsOnlyTheLineAfterTheReset()
    {
        TStatusWindow window;
        TStatusLog& log = TStatusLog::Instance();
        log.Clear();
        for (int i = 0; i < TStatusLog::kMaxLines; ++i)
            log.AddStatusLine(QStringLiteral("x"));
        window.FlushPending();
        QCOMPARE(window.VisibleLines(), TStatusLog::kMaxLines);
        log.AddStatusLine(QStringLiteral("after the limit"));
        window.FlushPending();
        QCOMPARE(window.VisibleLines(), 1);
        QVERIFY(window.Text().endsWith(QStringLiteral(";after the limit")));
    }

    void logFile_nameFieldAndButton()
    {
        TStatusWindow window;
        QTemporaryDir dir;
        QCOMPARE(window.LogFileNameText(), QStringLiteral("n.a."));
        QCOMPARE(window.findChild<QLineEdit*>(QStringLiteral("Search"))->accessibleName(), QStringLiteral("Search"));
        QCOMPARE(window.LogButtonText(), QStringLiteral("Create Log File"));
        QVERIFY(TStatusLog::Instance().OpenLogFile(dir.filePath(QStringLiteral("s.log"))));
        QCOMPARE(window.LogFileNameText(), dir.filePath(QStringLiteral("s.log")));
        QCOMPARE(window.LogButtonText(), QStringLiteral("Close Log File"));
        window.OnLogButton();   // closes without a dialog
        QCOMPARE(window.LogFileNameText(), QStringLiteral("n.a."));
        QCOMPARE(window.LogButtonText(), QStringLiteral("Create Log File"));
    }

    void table_rowsCountersColumnsAndLog()
    {
        QTemporaryDir dir;
        TTableCtrl table(QStringLiteral("RxTable"), {QStringLiteral("Time"), QStringLiteral("Port"), QStringLiteral("Payload")});
        QVERIFY(table.OpenLogFile(dir.path()));
        QVERIFY(table.LogFilePath().startsWith(dir.path() + QStringLiteral("//RxTable_")));
        QCOMPARE(table.LogButtonText(), QStringLiteral("Close Log File"));
        table.AppendRow({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")});
        table.AppendRow({QStringLiteral("d"), QStringLiteral("e"), QStringLiteral("cafe")});
        QFile file(table.LogFilePath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("a;b;c\nd;e;cafe\n"));
        QTRY_COMPARE(table.RowCount(), 2);
        QCOMPARE(table.Cell(1, 2), QStringLiteral("cafe"));

        table.OnSearchFieldTextEdited(QStringLiteral("c"));
        QCOMPARE(table.SearchCounterText(), QStringLiteral("1 / 2"));
        table.OnSearchNext();
        QCOMPARE(table.SearchCounterText(), QStringLiteral("2 / 2"));

        table.OnClearTable();
        QCOMPARE(table.RowCount(), 0);
        QCOMPARE(table.RowCounter(), 2);
        table.AppendRow({QStringLiteral("f")});
        table.OnClearAndResetTable();
        QCOMPARE(table.RowCounter(), 0);
        table.CloseLogFile();
        QCOMPARE(table.LogButtonText(), QStringLiteral("Open Log File"));
    }
};

TESSERA_TEST_MAIN_WITH(QApplication, TestStatusWindow)
#include "tst_statuswindow.moc"
