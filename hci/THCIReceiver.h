#pragma once
#include <QString>

#include "base/TKeyValueList.h"
#include "hci/HCIMessage.h"

/// Receiver of the unsolicited messages of one SapID: the link hands each queued message to the
/// receiver registered for it, as the framer hands frames to its client.
class THCIReceiver
{
public:
    virtual ~THCIReceiver() = default;
    /// Decodes `message` into `record` (which starts with "HostTime" and "Port"); false when the
    /// message is not one this receiver knows.
    virtual bool ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record) = 0;
    /// Name shown beside the SapID in the link's log records.
    virtual QString ReceiverName() const = 0;
};
