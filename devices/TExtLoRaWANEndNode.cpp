#include "devices/TExtLoRaWANEndNode.h"

#include "sap/TDataLinkSAP.h"

TExtLoRaWANEndNode::TExtLoRaWANEndNode(QObject* parent)
    : TLoRaWANEndNode(parent)
{
    m_nameText = QStringLiteral("ExtLoRaWANEndNode");
}

QObject* TExtLoRaWANEndNode::OnCreateInstance(const TKeyValueList& deviceInfo)
{
    auto* node = new TExtLoRaWANEndNode;
    node->SetDeviceInfo(deviceInfo);
    return node;
}

bool TExtLoRaWANEndNode::Open(const QString& portName, const QString& baudrateText)
{
    const bool ok = TLoRaWANEndNode::Open(portName, baudrateText);
    if (!ok)
        return false;
    AddFeature(QStringLiteral("OspreyDeviceMgmt"));
    AddFeature(QStringLiteral("DualRadioStack"));
    if (!m_saps.contains(QStringLiteral("DataLink"))) {
        auto* dataLink = AddSAP<TDataLinkSAP>(QStringLiteral("DataLink"));
        connect(dataLink, &TDataLinkSAP::EvDataLink_MessageEvent, this, &TExtLoRaWANEndNode::OnDataLink_MessageEvent);
        connect(dataLink, &TDataLinkSAP::EvDataLink_ConfigChanged, this, &TExtLoRaWANEndNode::OnDataLink_ConfigChanged);
    }
    return ok;
}

bool TExtLoRaWANEndNode::ReadDeviceInfo()
{
    const bool ok = TRadioController::ReadDeviceInfo();
    if (!ok)
        return false;
    TKeyValueList result;
    if (Execute(QStringLiteral("DataLink/GetRadioConfig"), result))
        MergeDeviceInfo(result);
    return ok;
}

void TExtLoRaWANEndNode::OnDataLink_MessageEvent(const TKeyValueList& radioMsg)
{
    OnShowMessage(QStringLiteral("DataLink"), radioMsg);
    emit EvDataLink_MessageEvent(radioMsg);
}

void TExtLoRaWANEndNode::OnDataLink_ConfigChanged()
{
    OnDeviceMgmt_ConfigChanged();
}
