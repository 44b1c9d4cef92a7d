#include "devices/TPortMonitor.h"

namespace {
/// Reports nothing: the manager reads the port list on every tick.
class TSilentPortMonitor : public TPortMonitor
{
public:
    bool Watching() const override { return false; }
};
}

std::unique_ptr<TPortMonitor> TPortMonitor::CreateSystemMonitor()
{
    return std::make_unique<TSilentPortMonitor>();
}
