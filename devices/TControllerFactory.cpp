#include "devices/TControllerFactory.h"

#include <QJsonObject>

#include "devices/TRadioController.h"
#include "firmware/TFirmwareSupport.h"

TControllerFactory& TControllerFactory::Instance()
{
    static TControllerFactory factory;
    return factory;
}

void TControllerFactory::RegisterPrototype(const QString& firmwareName, QObject* prototype)
{
    m_prototypes.insert(firmwareName, prototype);
}

TRadioController* TControllerFactory::CreateController(const TKeyValueList& deviceInfo) const
{
    QJsonObject entry;
    if (TFirmwareSupport::Instance().FindEntry(deviceInfo.Value(QStringLiteral("FWName")), entry)) {
        const QPointer<QObject> prototype = m_prototypes.value(entry.value(QStringLiteral("FirmwareName")).toString());
        QObject* created = nullptr;
        if (prototype
            && QMetaObject::invokeMethod(prototype, "OnCreateInstance", Qt::DirectConnection, Q_RETURN_ARG(QObject*, created),
                                         Q_ARG(TKeyValueList, deviceInfo))) {
            if (auto* controller = qobject_cast<TRadioController*>(created))
                return controller;
            delete created;
        }
    }
    return new TRadioController;
}
