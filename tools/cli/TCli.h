#pragma once
#include <QStringList>
#include <QTextStream>

#include "base/TKeyValueList.h"
#include "firmware/TBootloaderCtrl.h"

class QCommandLineParser;
class TGatewayCaller;
class TRadioController;

/// tessera-cli: the studio's core from the command line. Exit codes are a contract for scripts.
class TCli
{
public:
    enum ExitCode { ExitOk = 0, ExitCommandFailed = 1, ExitUsage = 2, ExitNoModule = 3 };

    TCli(QTextStream& out, QTextStream& err);
    /// Runs the command line (without the program name); returns the exit code.
    int Run(const QStringList& arguments);

private:
    friend class TCliConfig;
    int Ports();
    int Discover(const QStringList& extraPorts, double seconds);
    int Exec(const QString& port, const QString& baud, const QString& command, const QStringList& pairs);
    int Monitor(const QString& port, const QString& baud, double seconds);
    int Commands(const QString& port, const QString& baud);
    int Flash(const TBootloaderCtrl::Request& request);
    int Hex(const QString& path, const QString& size, const QString& writePath);
    int RegTable(const QString& chip, const QStringList& freqs, const QStringList& rates, const QStringList& fdevs, const QStringList& bws);
    /// gateways call|list (TCliGateways.cpp).
    static void AddGatewayOptions(QCommandLineParser& parser);
    int Gateways(const QStringList& arguments, const QCommandLineParser& parser);
    int GatewaysCall(TGatewayCaller& caller, const QStringList& addresses, double waitSeconds);
    int GatewaysList();

    /// Probe, controller factory by firmware name, full open: as the studio does. Null with exit code 3 reported.
    TRadioController* OpenController(const QString& port, const QString& baud);
    /// "error - couldn't open port P: reason" (and what to do about "Permission denied"), one line each.
    static QString OpenFailure(const QString& port, const QString& reason);
    void PrintRecord(const TKeyValueList& record, bool oneLine);
    int Usage(const QString& text);

    QTextStream& m_out;
    QTextStream& m_err;
    bool m_json = false;
    bool m_verbose = false;
};
