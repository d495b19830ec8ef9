#pragma once

#include <juce_core/juce_core.h>

#include "supervisor/CountPipe.h"

/** What the supervision loop remembers from pass to pass. */
struct SupervisionState
{
    int passCounter = 0;
    int restartCount = 0;        ///< application starts since a pass last saw exactly one instance
    int restartBackOffMs = 1000; ///< doubled by every start, never reset: see nextBackOff
};

/** The back-off after `backOffMs`: twice as much, wrapping as a 32-bit two's complement number. */
int nextBackOff (int backOffMs) noexcept;

/** Passes from one GUI check to the next: 2 on products with a fan, 30 on all others, because a pass of theirs takes ten
    times longer.
*/
int guiCheckInterval (bool withFan) noexcept;

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

/** Counts the running instances of the application. */
CountPipe countApplications();

/** Counts the running processes named `guiName`. */
CountPipe countGuis (const juce::String& guiName);

/** Judges one line of an instance count: starts or restarts the application and waits, or notes that all is well. */
void checkApplication (int instances, SupervisionState& state);

/** Judges one line of a GUI count: starts or restarts the X session and waits, or does nothing. */
void checkGui (int instances, const juce::String& guiName);

/** Kills the GUI, without counting first. */
void killGui (const juce::String& guiName);
