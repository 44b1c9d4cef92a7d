#pragma once
#include <QCommandLineOption>
#include <QString>

#include <memory>

class QCommandLineParser;
class TSimAir;
class TSimModule;
class TSimTraffic;

/// tessera-sim's options for the point-to-point radio: a second virtual module that shares the air
/// with the first (--peer-link, --path-loss) and received traffic at a steady rate (--traffic).
class TSimOspreyOptions
{
public:
    /// Low 16 bits of the peer's device address: its radio answers as 10:1234.
    static constexpr quint16 kPeerDevice = 0x1234;
    static constexpr int kMaxPathLossDb = 200;

    TSimOspreyOptions();
    ~TSimOspreyOptions();

    void AddTo(QCommandLineParser& parser) const;
    /// Checks the values; false with an "error - ..." text.
    bool Read(const QCommandLineParser& parser, QString& error);
    /// Once `module` is open: the peer on its own pseudo-terminal, the air, the traffic. False with a text.
    bool Start(TSimModule& module, QString& error);
    /// The peer's pseudo-terminal, empty without a peer.
    QString PeerPortName() const;

private:
    QCommandLineOption m_peerLinkOption;
    QCommandLineOption m_pathLossOption;
    QCommandLineOption m_trafficOption;
    QString m_peerLink;
    int m_pathLossDb = -1;
    double m_trafficRate = 0;
    std::unique_ptr<TSimAir> m_air;
    std::unique_ptr<TSimModule> m_peer;
    std::unique_ptr<TSimTraffic> m_traffic;
};
