#pragma once
#include "sap/TVeltoLRSAP.h"

/// Receives the trace events of debug firmware and turns each into a readable status line, naming
/// the event identifiers from the trace event configuration (TTraceEventConfig).
class TTraceSAP : public TVeltoLRSAP
{
    Q_OBJECT
public:
    static constexpr quint8 kSapId = 0xA0;
    static constexpr const char* kSource = "VTTrace";

    explicit TTraceSAP(QObject* parent = nullptr);

    /// Loads the program's trace event names from `path` (see TTraceEventConfig::Load).
    bool LoadEventConfiguration(const QString& path);
    /// Event name (or "0x.." when it has none), a blank and "P1:%1(0x%2);P2:%3(0x%4)" when the
    /// payload holds both parameters.
    static QString EventText(quint8 id, const quint8* payload, int length);

    /// Every message of this service is a trace event: always handled.
    bool ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record) override;

signals:
    void EvTrace_Event(const TKeyValueList& itemList);

private:
    void RefreshMessageNames();
};
