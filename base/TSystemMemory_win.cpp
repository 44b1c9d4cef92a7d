#include "base/TSystemMemory.h"

#include <windows.h>

namespace TSystemMemory {

qint64 FreeBytes()
{
    MEMORYSTATUSEX status;
    status.dwLength = sizeof status;
    if (!GlobalMemoryStatusEx(&status))
        return -1;
    return qint64(status.ullAvailPhys);
}

}
