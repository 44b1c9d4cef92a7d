#pragma once
#include <QString>

class TRadioController;

/// How a module on a port becomes a working controller, for discovery and the command-line tool
/// alike: a probe reads its identity, the factory picks the controller class, the new controller
/// opens the port at the rate the probe found.
namespace TModuleOpener {
/// The controller for a probe that has just read a module (owned by the caller); null with `error`
/// set when the port does not open again.
TRadioController* Open(const TRadioController& probe, QString* error = nullptr);
}
