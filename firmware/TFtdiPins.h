#pragma once
#include <QString>
#include <QtGlobal>

/// Drives the CBUS pins of the single attached FTDI bridge (CBUS bit-bang): the high nibble of the
/// pattern selects outputs, the low nibble sets their levels. One implementation per platform.
class TFtdiPins
{
public:
    enum Result : int {
        Ok = 0,
        TooManyDevices = 1,   ///< two or more FTDI devices attached: none is touched
        ListFailed = 2,       ///< the devices could not be listed (or no FTDI library)
        OpenFailed = 3,       ///< opening the first device failed; also when none is attached
        // Anything else: the failed status of setting the bit mode, as the library returned it.
    };
    static constexpr int kPortReturnTimeoutMs = 5000;
    static constexpr int kPortPollMs = 50;

    /// Sets the pins and closes the device again; 0 on success. ErrorText() says why not.
    int SetPins(quint8 pattern);
    QString ErrorText() const { return m_errorText; }

    /// Attached FTDI devices; -1 (and ErrorText()) when they cannot be listed.
    int CountDevices();

    /// After the pins were set the system may briefly remove the serial port: waits, re-entering the
    /// event loop, until the port (a name or a device path) exists again. False on time-out.
    static bool WaitForPort(const QString& portName, int timeoutMs = kPortReturnTimeoutMs);

private:
    QString m_errorText;
};
