#pragma once

#include <juce_core/juce_core.h>

#include "tests/Scenario.h"
#include "tests/Truth.h"

/** A member of a JSON object, and what it must be: a text, or a number and how far the report may be from it. */
struct Member
{
    const char* name;
    juce::var truth; ///< void: left out, or 0
    double tolerance = 0;
};

using Object = std::vector<Member>;

/** A member with a local time: a repetition tells its time to a second, a full line exactly. */
Member timeMember (const char* name, double wall);
Member between (const char* name, double least, double most);

void expect (const juce::var& told, const Object& truth);

double secondsIn (const juce::var& isoTime);

/** What log-report says of one scenario's log, beside the truth. */
struct Comparison
{
    const Scenario& scenario;
    const Truth& truth;
    const std::string& log; ///< the unit's
    const juce::var told;   ///< log-report's JSON of it
    const bool isCut = told["missing"]["front"];
    const double from = isCut ? secondsIn (told["from"]) : 0;

    void all() const;

private:
    void counts() const;
    bool jumps() const;
    void lives() const;
    void life (const Truth::Life& truly, const juce::var& said, bool isNewest) const;
    void maintenance (const Truth::Life& truly, const juce::var& said) const;

    void lengths() const;
    void verdict (bool hasStorm) const;
};
