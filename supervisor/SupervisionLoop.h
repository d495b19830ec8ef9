#pragma once

#include "identity/Device.h"
#include "supervisor/FanCurve.h"

/** Keeps the application and the GUI running and regulates the fan, pass after pass. Returns only if the pipe of a
    process count cannot be opened. The result is the daemon's exit status.
*/
int superviseForEver (const Device& device, FanCurve fanCurve);
