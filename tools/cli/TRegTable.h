#pragma once
// The register-table generator lives in the core (devices/), where the studio uses it too.
#include "devices/TRegTable.h"
