#pragma once
#include <QCommandLineOption>
#include <QString>

#include <memory>

class QCommandLineParser;
class TSimGateway;

/// tessera-sim's options for a virtual gateway: --gateway PORT and --gateway-answer MODE.
class TSimGatewayOptions
{
public:
    TSimGatewayOptions();
    void AddTo(QCommandLineParser& parser) const;

    enum Result { Absent, Started, UsageError, Failed };
    /// Starts the gateway the options ask for; `error` says why when the result is UsageError or Failed.
    Result Start(const QCommandLineParser& parser, std::unique_ptr<TSimGateway>& gateway, QString& error) const;

private:
    QCommandLineOption m_port;
    QCommandLineOption m_answer;
};
