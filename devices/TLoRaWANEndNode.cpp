#include "devices/TLoRaWANEndNode.h"

#include "sap/TProductionSupportSAP.h"
#include "sap/TSensorSAP.h"
#include "sap/TVeltoLRDeviceMgmt.h"
#include "sap/TVeltoLRLoRaWAN.h"
#include "settings/TSettings.h"

TLoRaWANEndNode::TLoRaWANEndNode(QObject* parent)
    : TRadioController(parent)
{
    m_nameText = QStringLiteral("LoRaWANEndNode");
}

QObject* TLoRaWANEndNode::OnCreateInstance(const TKeyValueList& deviceInfo)
{
    auto* node = new TLoRaWANEndNode;
    node->SetDeviceInfo(deviceInfo);
    return node;
}

bool TLoRaWANEndNode::Open(const QString& portName, const QString& baudrateText)
{
    const bool ok = TRadioController::Open(portName, baudrateText);
    if (!ok)
        return false;
    if (!m_saps.contains(QStringLiteral("LoRaWAN"))) {
        auto* lorawan = AddSAP<TVeltoLRLoRaWAN>(QStringLiteral("LoRaWAN"));
        connect(lorawan, &TVeltoLRLoRaWAN::EvLoRaWAN_RxEvent, this, &TLoRaWANEndNode::OnLoRaWAN_RxEvent);
        connect(lorawan, &TVeltoLRLoRaWAN::EvLoRaWAN_SendMsgEvent, this, &TLoRaWANEndNode::OnLoRaWAN_SendMsgEvent);
        connect(lorawan, &TVeltoLRLoRaWAN::EvLoRaWAN_ConfigChanged, this, &TLoRaWANEndNode::OnLoRaWAN_ConfigChanged);
    }
    if (auto* dm = qobject_cast<TVeltoLRDeviceMgmt*>(SAP(QStringLiteral("DeviceMgmt")))) {
        AddFeature(QStringLiteral("LoRaWANDeviceMgmt"));
        dm->SetDeveloperDecoding(TSettings::Instance().DeveloperMode());
    }
    AddSAP<TProductionSupportSAP>(QStringLiteral("PTS"));
    if (!m_saps.contains(QStringLiteral("SensorApp"))) {
        auto* sensor = AddSAP<TSensorSAP>(QStringLiteral("SensorApp"));
        connect(sensor, &TSensorSAP::EvSensorApp_DataEvent, this, &TLoRaWANEndNode::OnSensorApp_DataEvent);
    }
    return ok;
}

void TLoRaWANEndNode::OnLoRaWAN_RxEvent(const TKeyValueList& itemList)
{
    OnShowMessage(QStringLiteral("LoRaWAN"), itemList);
    emit EvLoRaWAN_RxEvent(itemList);
}

void TLoRaWANEndNode::OnLoRaWAN_SendMsgEvent(const TKeyValueList& itemList)
{
    OnShowMessage(QStringLiteral("LoRaWAN"), itemList);
    emit EvLoRaWAN_SendMsgEvent(itemList);
}

void TLoRaWANEndNode::OnLoRaWAN_ConfigChanged()
{
    OnDeviceMgmt_ConfigChanged();
}

void TLoRaWANEndNode::OnSensorApp_DataEvent(const TKeyValueList& itemList)
{
    OnShowMessage(QStringLiteral("SensorApp"), itemList);
    emit EvSensorApp_DataEvent(itemList);
}
