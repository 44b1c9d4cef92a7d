#pragma once
#include <QString>

/// The radio fields of the node test page ("Radio/..." settings). The keys are the parameter names
/// of the production support commands, and the values are kept as those commands take them.
struct TRadioTestSettings
{
    int testMode = 0;          ///< "TestMode": 0 off, 1 unmodulated carrier, 2 test packets, 3 receive test
    int powerLevel = 0;        ///< "PowerLevel", dBm
    int modulation = 0;        ///< "Modulation": 0 LoRa, 1 FSK
    int frequency = 0;         ///< "Frequency": synthesiser word, steps of 32 MHz / 2^19
    int bandwidth = 0;         ///< "Bandwidth": 0/1/2 = 125/250/500 kHz
    int spreading = 0;         ///< "Spreading": 7..12
    int errorCoding = 0;       ///< "ErrorCoding": 1..4 = 4/5..4/8
    QString payload;           ///< "Payload": hex octets of a test message
    int repeatCount = 0;       ///< "RepeatCount": test messages of one test run
    int repeatIntervalMs = 0;  ///< "RepeatInterval": ms between them

    /// The numeric fields by their settings key (and command parameter name); "Payload" is the text one.
    struct IntField {
        const char* key;
        int TRadioTestSettings::*member;
    };
    static constexpr IntField kIntFields[] = {
        {"TestMode",       &TRadioTestSettings::testMode},
        {"PowerLevel",     &TRadioTestSettings::powerLevel},
        {"Modulation",     &TRadioTestSettings::modulation},
        {"Frequency",      &TRadioTestSettings::frequency},
        {"Bandwidth",      &TRadioTestSettings::bandwidth},
        {"Spreading",      &TRadioTestSettings::spreading},
        {"ErrorCoding",    &TRadioTestSettings::errorCoding},
        {"RepeatCount",    &TRadioTestSettings::repeatCount},
        {"RepeatInterval", &TRadioTestSettings::repeatIntervalMs},
    };
    static constexpr const char* kPayloadKey = "Payload";
};
