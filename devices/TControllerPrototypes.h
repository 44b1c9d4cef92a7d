#pragma once

/// Registers one prototype of each controller class by firmware name with the controller factory
/// and loads the firmware versions file; the studio and the command-line tool both start with it.
namespace TControllerPrototypes {
void RegisterAll();
}
