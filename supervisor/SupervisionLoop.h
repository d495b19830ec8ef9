#pragma once

#include "identity/Device.h"
#include "supervisor/FanCurve.h"

/** Keeps the application and the GUI alive and the fan regulated, pass after pass. Returns only when a process count
    can no longer be asked for; the return value is the daemon's exit status.
*/
int superviseForEver (const Device& device, FanCurve fanCurve);
