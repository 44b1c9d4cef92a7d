#pragma once
#include "devices/TLoRaWANEndNode.h"

/// An end node that also runs the point-to-point radio stack: adds the DataLink service.
class TExtLoRaWANEndNode : public TLoRaWANEndNode
{
    Q_OBJECT
public:
    explicit TExtLoRaWANEndNode(QObject* parent = nullptr);
    bool Open(const QString& portName, const QString& baudrateText) override;
    bool ReadDeviceInfo() override;

signals:
    void EvDataLink_MessageEvent(const TKeyValueList& radioMsg);

public slots:
    QObject* OnCreateInstance(const TKeyValueList& deviceInfo);
    void OnDataLink_MessageEvent(const TKeyValueList& radioMsg);
    void OnDataLink_ConfigChanged();
};
