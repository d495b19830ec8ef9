#pragma once

#include <juce_core/juce_core.h>

#include "supervisor/CountPipe.h"

/** The supervision loop's memory from pass to pass. */
struct SupervisionState
{
    int passCounter = 0;
    int restartCount = 0;        ///< application starts since a pass last saw exactly one instance
    int restartBackOffMs = 1000; ///< doubled by every start, never reset: see nextBackOff
};

/** The back-off after `backOffMs`: twice as much, in ms, wrapping as a 32-bit two's complement number. */
int nextBackOff (int backOffMs) noexcept;

/** Passes from one GUI check to the next: 2 of about 1 s on products with a fan, 30 of about 10 s on others. */
int guiCheckInterval (bool withFan) noexcept;

/** The GUI action of this pass. */
enum class GuiAction
{
    none,
    check,
    kill
};
GuiAction guiActionFor (const SupervisionState& state, bool withGui, int checkInterval) noexcept;

/** Blocks everything, fan control included. Zero or less returns at once, except for a negative wait soon after boot or
    after the counter wraps. A wait that would pass the wrap returns at once too (docs/supervision.md).
*/
void waitMilliseconds (int milliseconds);

/** Counts the running instances of the application. */
CountPipe countApplications();

/** Counts the running processes named `guiName`. */
CountPipe countGuis (const juce::String& guiName);

/** Acts on one line of an instance count: starts or restarts the application and waits, or resets the restart count. */
void checkApplication (int instances, SupervisionState& state);

/** Acts on one line of a GUI count: starts or restarts the X session and waits, or does nothing. */
void checkGui (int instances, const juce::String& guiName);

/** Kills the GUI without counting it first. */
void killGui (const juce::String& guiName);
