#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include "TestEnvironment.h"
#include "tools/sim/TPseudoTerminal.h"

namespace {
QString ReadAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QStringLiteral("(unreadable)");
}

void WriteText(const QString& path, const QByteArray& text)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

/// What a simulator killed by SIGKILL leaves behind: a link to a terminal that no longer exists.
QString MakeDanglingLink(const QTemporaryDir& dir, const QString& name)
{
    const QString gone = dir.filePath(name + QStringLiteral(".gone"));
    WriteText(gone, "x");
    const QString link = dir.filePath(name);
    QFile::link(gone, link);
    QFile::remove(gone);
    return link;
}

struct SimProcess {
    QProcess process;
    QString port;
};

/// Starts tessera-sim and waits until it has printed its port (or ended).
bool StartSim(SimProcess& sim, const QStringList& args)
{
    sim.process.setProgram(QStringLiteral(TESSERA_BIN_DIR "/tessera-sim"));
    sim.process.setArguments(args);
    sim.process.start();
    if (!sim.process.waitForStarted(10000))
        return false;
    QEventLoop loop;
    QObject::connect(&sim.process, &QProcess::readyReadStandardOutput, &loop, &QEventLoop::quit);
    QObject::connect(&sim.process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop, &QEventLoop::quit);
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    while (!sim.process.canReadLine() && sim.process.state() == QProcess::Running)
        loop.exec();
    sim.port = QString::fromUtf8(sim.process.readLine()).trimmed();
    return !sim.port.isEmpty();
}
}

class TestSimLink : public QObject
{
    Q_OBJECT

private slots:
    void createLink_replacesOnlyItsOwnOrADanglingLink()
    {
        QTemporaryDir dir;
        TPseudoTerminal pty;
        QVERIFY(pty.Open());
        QString error;

        const QString file = dir.filePath(QStringLiteral("notes.txt"));
        WriteText(file, "keep me");
        QVERIFY(!pty.CreateLink(file, &error));
        QCOMPARE(error, QStringLiteral("error - %1 exists and is not a link: remove it or choose another path").arg(file));
        QCOMPARE(ReadAll(file), QStringLiteral("keep me"));

        const QString directory = dir.filePath(QStringLiteral("folder"));
        QVERIFY(QDir().mkdir(directory));
        QVERIFY(!pty.CreateLink(directory, &error));
        QCOMPARE(error, QStringLiteral("error - %1 exists and is not a link: remove it or choose another path").arg(directory));
        QVERIFY(QFileInfo(directory).isDir());

        TPseudoTerminal other;
        QVERIFY(other.Open());
        const QString othersLink = dir.filePath(QStringLiteral("other"));
        QVERIFY(other.CreateLink(othersLink));
        QVERIFY(!pty.CreateLink(othersLink, &error));
        QCOMPARE(error, QStringLiteral("error - %1 links to %2, which is in use: remove the link or choose another path").arg(othersLink, other.SlavePath()));
        QCOMPARE(QFileInfo(othersLink).symLinkTarget(), other.SlavePath());

        const QString stale = MakeDanglingLink(dir, QStringLiteral("stale"));
        QVERIFY(QFileInfo(stale).isSymLink());
        QVERIFY2(pty.CreateLink(stale, &error), qPrintable(error));
        QCOMPARE(QFileInfo(stale).symLinkTarget(), pty.SlavePath());
        QVERIFY2(pty.CreateLink(stale, &error), qPrintable(error));   // its own link again

        // Close removes its own link, but not a file that took the link's place meanwhile.
        const QString mine = dir.filePath(QStringLiteral("mine"));
        QVERIFY(other.CreateLink(mine));
        QVERIFY(QFile::remove(mine));
        WriteText(mine, "replaced by the user");
        other.Close();
        QCOMPARE(ReadAll(mine), QStringLiteral("replaced by the user"));
        QVERIFY(!QFileInfo(othersLink).isSymLink());
        pty.Close();
        QVERIFY(!QFileInfo(stale).isSymLink());
    }

    void simulator_refusesAFile_replacesADanglingLink_removesItsLinkOnSignals()
    {
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("port"));
        WriteText(file, "precious");
        QProcess refused;
        refused.start(QStringLiteral(TESSERA_BIN_DIR "/tessera-sim"), {QStringLiteral("--link"), file});
        QVERIFY(refused.waitForFinished(10000));
        QCOMPARE(refused.exitCode(), 1);
        QCOMPARE(QString::fromUtf8(refused.readAllStandardError()),
                 QStringLiteral("error - %1 exists and is not a link: remove it or choose another path\n").arg(file));
        QVERIFY(refused.readAllStandardOutput().isEmpty());
        QCOMPARE(ReadAll(file), QStringLiteral("precious"));

        const QString link = MakeDanglingLink(dir, QStringLiteral("module"));
        SimProcess sim;
        QVERIFY(StartSim(sim, {QStringLiteral("--link"), link}));
        QVERIFY(sim.port.startsWith(QStringLiteral("/dev/pts/")));
        QCOMPARE(QFileInfo(link).symLinkTarget(), sim.port);

        // A second simulator must not take over the running one's link.
        SimProcess second;
        QVERIFY(!StartSim(second, {QStringLiteral("--link"), link}));
        if (second.process.state() != QProcess::NotRunning)
            QVERIFY(second.process.waitForFinished(10000));
        QCOMPARE(second.process.exitCode(), 1);
        QVERIFY(QString::fromUtf8(second.process.readAllStandardError()).contains(QStringLiteral("which is in use")));
        QCOMPARE(QFileInfo(link).symLinkTarget(), sim.port);

        sim.process.terminate();
        QVERIFY(sim.process.waitForFinished(10000));
        QCOMPARE(sim.process.exitStatus(), QProcess::NormalExit);
        QVERIFY(!QFileInfo(link).isSymLink());

    }
};

TESSERA_TEST_MAIN(TestSimLink)
#include "tst_simlink.moc"
