#pragma once

#include <juce_core/juce_core.h>

#include "identity/ORBIStesselTYPE.h"

/** What the unit is, settled at start-up. */
struct Device
{
    juce::String serial;
    ORBIStesselTYPE type;
    bool withGui;
    juce::String guiName; ///< process name; set also on products without GUI, for the GUI kill
};

/** True for the main product and for every product of generation 2. */
bool hasGui (ORBIStesselTYPE type);

/** "ORBISpad" for generation 2, "ORBIStesselGUI" for all others. */
juce::String guiProcessName (ORBIStesselTYPE type);

/** What the supervision loop remembers from pass to pass. */
struct SupervisionState
{
    int passCounter = 0;
    int restartCount = 0;        ///< application starts since a pass last saw exactly one instance
    int restartBackOffMs = 1000; ///< doubled by every start, never reset: see nextBackOff
};

/** The back-off after `backOffMs`: twice as much, wrapping as a 32-bit two's complement number. */
int nextBackOff (int backOffMs) noexcept;

/** Passes from one GUI check to the next: 2 on generation 2, 30 on all others (their passes take ten times longer). */
int guiCheckInterval (int generation) noexcept;

/** Whether this pass looks at the GUI, kills it, or leaves it alone. */
enum class GuiAction
{
    none,
    check,
    kill
};
GuiAction guiActionFor (const SupervisionState& state, bool withGui, int checkInterval) noexcept;

/** Waits at least `milliseconds`; zero or less ends at once, except for a negative wait that is larger than the
    millisecond counter of the moment, soon after boot or a wrap (see docs/supervision.md). Nothing else happens meanwhile, also no fan control.
*/
void waitMilliseconds (int milliseconds);

/** Judges one line of an instance count: starts or restarts the application and waits, or notes that all is well. */
void checkApplication (int instances, SupervisionState& state);

/** Judges one line of a GUI count: starts or restarts the X session and waits, or does nothing. */
void checkGui (int instances, const juce::String& guiName);

/** Kills the GUI, without counting first. */
void killGui (const juce::String& guiName);

/** Removes everything named "*_temp*" below the application's data tree. */
void deleteTemporaryFiles();

/** Runs the unit's filesystem recovery and appends to `logFile` that it ran, whatever its outcome. */
void recoverFilesystem (const juce::File& logFile);
