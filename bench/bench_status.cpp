// Prints how long the status window takes for 100000 lines and a message table for 10000 rows,
// counting both the append calls and the batched display.
#include <QApplication>
#include <QElapsedTimer>
#include <QTextStream>

#include "status/TStatusLog.h"
#include "status/TStatusWindow.h"
#include "status/TTableCtrl.h"

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? QByteArray("offscreen") : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    QTextStream out(stdout);

    TStatusWindow window;
    window.resize(1200, 400);
    window.show();
    TStatusLog& log = TStatusLog::Instance();
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 100000; ++i)
        log.AddStatusMessage(QStringLiteral("/dev/pts/3:LoRaWANEndNode:LoRaWAN"),
                             QStringLiteral("EvType: Rx U-Data; Port: 10; Payload: 01 02 03 04 05 06 07 08; RSSI: -87; SNR: 7 #%1").arg(i));
    const qint64 appendMs = timer.elapsed();
    window.FlushPending();
    QCoreApplication::processEvents();
    out << QStringLiteral("status window: 100000 lines appended in %1 ms, shown after %2 ms in all (%3 lines visible)\n")
               .arg(appendMs).arg(timer.elapsed()).arg(window.VisibleLines());

    TTableCtrl table(QStringLiteral("Bench"), {QStringLiteral("HostTime"), QStringLiteral("Port"), QStringLiteral("Event"), QStringLiteral("Payload")});
    table.resize(1200, 400);
    table.show();
    timer.restart();
    for (int i = 0; i < 10000; ++i)
        table.AppendRow({QStringLiteral("2026-11-23 07:00:00.%1").arg(i % 1000), QStringLiteral("/dev/pts/3"), QStringLiteral("Rx Event"),
                         QStringLiteral("01 02 03 04 05 06 07 08 #%1").arg(i)});
    const qint64 rowsMs = timer.elapsed();
    table.FlushPending();
    QCoreApplication::processEvents();
    out << QStringLiteral("message table: 10000 rows appended in %1 ms, shown after %2 ms in all (%3 rows)\n")
               .arg(rowsMs).arg(timer.elapsed()).arg(table.RowCount());
    return 0;
}
