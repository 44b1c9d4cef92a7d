#pragma once
#include <QMap>
#include <QPointer>
#include <QString>

#include "base/TKeyValueList.h"

class TRadioController;

/// Picks the controller class for a probed module by its firmware name: the prototype registered
/// under the name of the firmware versions entry that matches, else a plain TRadioController.
class TControllerFactory
{
public:
    static TControllerFactory& Instance();

    void RegisterPrototype(const QString& firmwareName, QObject* prototype);
    /// A new controller (owned by the caller) for the device information of a probed module.
    TRadioController* CreateController(const TKeyValueList& deviceInfo) const;

private:
    TControllerFactory() = default;
    QMap<QString, QPointer<QObject>> m_prototypes;
};
