#pragma once
#include "devices/TRadioController.h"

/// A LoRaWAN end-node module: adds the LoRaWAN, production support and sensor services.
class TLoRaWANEndNode : public TRadioController
{
    Q_OBJECT
public:
    explicit TLoRaWANEndNode(QObject* parent = nullptr);
    bool Open(const QString& portName, const QString& baudrateText) override;

signals:
    void EvLoRaWAN_RxEvent(const TKeyValueList& itemList);
    void EvLoRaWAN_SendMsgEvent(const TKeyValueList& itemList);
    void EvSensorApp_DataEvent(const TKeyValueList& itemList);

public slots:
    QObject* OnCreateInstance(const TKeyValueList& deviceInfo);
    void OnLoRaWAN_RxEvent(const TKeyValueList& itemList);
    void OnLoRaWAN_SendMsgEvent(const TKeyValueList& itemList);
    void OnLoRaWAN_ConfigChanged();
    void OnSensorApp_DataEvent(const TKeyValueList& itemList);
};
