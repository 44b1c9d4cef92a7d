#include "firmware/TFtdiPins.h"

#include <ftdi.h>

#include <vector>

namespace {
constexpr int kFtdiVendorId = 0x0403;
// FT232R/FT245R, FT2232, FT4232, FT232H, FT-X
constexpr int kFtdiProductIds[] = {0x6001, 0x6010, 0x6011, 0x6014, 0x6015};
// ftdi_usb_open_dev results that a missing permission produces: libusb_open, configuring the
// device, detaching the kernel driver.
constexpr int kOpenPermissionErrors[] = {-3, -4, -11};

const char* const kUdevHint =
    "give your user access to the FTDI device with a udev rule, e.g. the line "
    "SUBSYSTEM==\"usb\", ATTRS{idVendor}==\"0403\", MODE=\"0660\", GROUP=\"plugdev\" "
    "in /etc/udev/rules.d/99-ftdi.rules (then run \"udevadm control --reload\", replug the device "
    "and make sure you are in the plugdev group)";

/// The libftdi context and the device lists, released on every path.
class FtdiSession
{
public:
    FtdiSession()
        : m_ctx(ftdi_new())
    {
    }
    ~FtdiSession()
    {
        if (m_opened)
            ftdi_usb_close(m_ctx);   // re-attaches ftdi_sio, so the serial port comes back
        for (ftdi_device_list*& list : m_lists)
            ftdi_list_free(&list);
        if (m_ctx)
            ftdi_free(m_ctx);
    }
    FtdiSession(const FtdiSession&) = delete;
    FtdiSession& operator=(const FtdiSession&) = delete;

    ftdi_context* Context() const { return m_ctx; }
    QString LastError() const { return QString::fromLocal8Bit(ftdi_get_error_string(m_ctx)); }

    /// Number of attached devices of the usual FTDI ids; -1 when listing fails.
    int Count()
    {
        int count = 0;
        for (int productId : kFtdiProductIds) {
            ftdi_device_list* list = nullptr;
            const int found = ftdi_usb_find_all(m_ctx, &list, kFtdiVendorId, productId);
            if (found < 0)
                return -1;
            m_lists.push_back(list);
            for (ftdi_device_list* node = list; node; node = node->next) {
                if (!m_first)
                    m_first = node->dev;
            }
            count += found;
        }
        return count;
    }

    int OpenFirst()
    {
        if (!m_first)
            return -1;
        // Detaches ftdi_sio for the time the device is open and attaches it again on close.
        m_ctx->module_detach_mode = AUTO_DETACH_REATACH_SIO_MODULE;
        const int status = ftdi_usb_open_dev(m_ctx, m_first);
        m_opened = status == 0;
        return status;
    }

private:
    ftdi_context* m_ctx;
    std::vector<ftdi_device_list*> m_lists;
    libusb_device* m_first = nullptr;
    bool m_opened = false;
};

QString ListError(const FtdiSession& session)
{
    if (!session.Context())
        return QStringLiteral("error - couldn't list FTDI devices: libftdi could not be initialised (is USB available?)");
    return QStringLiteral("error - couldn't list FTDI devices (%1): check that USB devices are accessible; %2")
        .arg(session.LastError(), QLatin1String(kUdevHint));
}
}

int TFtdiPins::CountDevices()
{
    m_errorText.clear();
    FtdiSession session;
    const int count = session.Context() ? session.Count() : -1;
    if (count < 0)
        m_errorText = ListError(session);
    return count;
}

int TFtdiPins::SetPins(quint8 pattern)
{
    m_errorText.clear();
    FtdiSession session;
    const int count = session.Context() ? session.Count() : -1;
    if (count < 0) {
        m_errorText = ListError(session);
        return ListFailed;
    }
    if (count >= 2) {
        m_errorText = QStringLiteral("error - %1 FTDI devices attached: attach only the one whose pins should be set").arg(count);
        return TooManyDevices;
    }
    if (count == 0) {
        m_errorText = QStringLiteral("error - no FTDI device attached: connect the board's USB cable (FTDI 0403:6001/6010/6011/6014/6015)");
        return OpenFailed;
    }
    const int opened = session.OpenFirst();
    if (opened != 0) {
        const QString reason = session.LastError();
        // libftdi folds libusb's "access denied" (-3) into its own codes; all need the same fix.
        bool permission = reason.contains(QLatin1String("ccess"));
        for (int code : kOpenPermissionErrors)
            permission = permission || opened == code;
        m_errorText = QStringLiteral("error - couldn't open the FTDI device (%1)").arg(reason);
        if (permission)
            m_errorText += QStringLiteral(": ") + QLatin1String(kUdevHint);
        return OpenFailed;
    }
    const int status = ftdi_set_bitmode(session.Context(), pattern, BITMODE_CBUS);
    if (status != 0) {
        m_errorText = QStringLiteral("error - couldn't set the FTDI CBUS pins to 0x%1 (%2): is CBUS bit-bang enabled in the device's EEPROM?")
                          .arg(pattern, 2, 16, QLatin1Char('0'))
                          .arg(session.LastError());
        return status;
    }
    return Ok;
}
