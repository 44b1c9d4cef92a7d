#include "firmware/TBootloaderIF.h"

TBootloaderIF::TBootloaderIF(QObject* parent)
    : QObject(parent)
{
}
