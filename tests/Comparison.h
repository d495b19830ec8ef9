#pragma once

#include <juce_core/juce_core.h>

#include "tests/Scenario.h"
#include "tests/Truth.h"

/** What log-report says of one scenario's log, beside the truth. */
class Comparison
{
public:
    /** `log` is the unit's log, and `report` log-report's JSON of it. */
    Comparison (const Scenario& scenario, Truth& truth, const std::string& log, const juce::var& report);

    void all();

private:
    struct Starts;

    void missing() const;
    void counts() const;
    void jumps();
    void lives() const;
    void life (const Truth::Life& truly, const juce::var& said, bool isNewest) const;
    void maintenance (const Truth::Life& truly, const juce::var& said) const;
    void unit() const;

    void lengths() const;
    void heat() const;
    void starts (const Starts& truly) const;
    void verdict (bool hasStorm) const;

    static double number (const juce::var& value) { return static_cast<double> (value); }
    static int integer (const juce::var& value) { return static_cast<int> (value); }
    static double secondsIn (const juce::var& isoTime);
    static void expectTime (double truth, const juce::var& told, const std::string& what);

    /** Lines of a kind in the whole truth. */
    int countOf (const char* kind) const { return truth.countAfter (kind, -1e12); }

    const Scenario& scenario;
    Truth& truth;
    const std::string& log;
    const juce::var told;
    const bool isCut;
    const double from;
    bool areLengthsUncertain = false; ///< the report told a step forward, but not how long it was
};
