#include <QApplication>
#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
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

int main(int argc, char** argv)
{
    TestEnvironment::IsolateUserDirectories();
    QApplication app(argc, argv);
    TestStatusWindow test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_statuswindow.moc"
