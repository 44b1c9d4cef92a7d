#pragma once
// The studio's LoRaWAN service over a pseudo-terminal to the virtual module's end node.
#include <memory>

#include "ServiceFixture.h"
#include "sap/TVeltoLRLoRaWAN.h"
#include "tools/sim/TSimLoRaWAN.h"
#include "tools/sim/TSimModule.h"

/// Session keys of ActivateAbp.
inline constexpr const char* kAbpKey = "000102030405060708090A0B0C0D0E0F";

class LoRaWANOverPty
{
protected:
    std::unique_ptr<TSimModule> m_sim;
    std::unique_ptr<TVeltoLRHCI> m_link;
    std::unique_ptr<TVeltoLRLoRaWAN> m_lw;

    TSimLoRaWAN& SimLw() { return *dynamic_cast<TSimLoRaWAN*>(m_sim->Service(TSimLoRaWAN::kSapId)); }
    /// Activation by personalisation with device address 0x26011F3A.
    bool ActivateAbp()
    {
        return m_lw->ActivateDevice(Params({{"DeviceAddress", "0x26011F3A"}, {"NwkSessionKey", kAbpKey}, {"AppSessionKey", kAbpKey}}));
    }
};
