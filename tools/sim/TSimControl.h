#pragma once
#include <QByteArray>
#include <QCommandLineOption>
#include <QObject>
#include <QStringList>

class QCommandLineParser;
class QSocketNotifier;
class TSimModule;
class TSimLoRaWAN;

/// Text commands that play the network while the virtual module runs, one per line
/// ("downlink 10 CAFE confirmed", "mac 06", "linkdisconnect"); tessera-sim reads them from its
/// standard input. Each command is one row of the command table in the .cpp; replies begin
/// "info - " or "error - ".
class TSimControl : public QObject
{
    Q_OBJECT
public:
    static constexpr int kMaxLineBytes = 1024;

    explicit TSimControl(TSimModule& module, QObject* parent = nullptr);
    ~TSimControl() override;

    /// Runs one command line and returns its reply (an empty line replies nothing).
    QString Execute(const QString& line);
    /// Reads command lines from `fd` until it ends or fails; every reply goes out as EvReply.
    void Listen(int fd);
    /// "usage  help" lines of every command.
    static QStringList Help();

    /// Start options of the network: --downlink-every SECONDS, --downlink-port PORT,
    /// --downlink-payload HEX (repeated: taken in turn), --downlink-confirmed, --no-join-accept.
    static QList<QCommandLineOption> Options();
    /// Applies them to the module; false with an "error - ..." text on a bad value.
    bool ApplyOptions(const QCommandLineParser& parser, QString& error);

signals:
    void EvReply(const QString& text);

private:
    struct Command;
    static const Command kCommands[];

    QString Downlink(const QStringList& args);
    QString DownlinkNow(const QStringList& args);
    QString SendDownlink(const QStringList& args, bool now);
    QString Multicast(const QStringList& args);
    QString Mac(const QStringList& args);
    QString Invalid(const QStringList& args);
    QString LinkDisconnect(const QStringList& args);
    QString JoinAccept(const QStringList& args);
    QString Status(const QStringList& args);
    QString ShowHelp(const QStringList& args);

    TSimLoRaWAN* LoRaWAN() const;
    /// Null when the node can receive; else the error reply.
    QString NotActive() const;
    void OnReadable();

    TSimModule& m_module;
    QSocketNotifier* m_notifier = nullptr;
    int m_fd = -1;
    QByteArray m_pending;
    bool m_discarding = false;   ///< inside a line that was too long
};
