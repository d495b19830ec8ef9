#include "tests/Truth.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <sstream>

namespace
{
constexpr double secondsPerDay = 86400;
constexpr int hookedSignals[] = { 2, 4, 6, 8, 11, 15 };
constexpr auto application = "ORBIStessel";
constexpr int stepsPerPass = 10;
constexpr double pauseMs = 1000, longPauseMs = 10000;

// A repetition tells its time to a second. A smaller jump back is not owed.
constexpr double smallestJump = 2.2;
}

Truth::Truth (const UnitRun& run, std::int64_t start, const std::string& zone, bool fan)
    : switchedOn (start)
    , hasFan (fan)
{
    ::setenv ("TZ", (":/usr/share/zoneinfo/" + zone).c_str(), 1);
    ::tzset();

    for (const auto& event : run.events)
    {
        takePassesUntil (static_cast<double> (event.milliseconds));
        now = static_cast<double> (event.milliseconds);
        take (event);
        last = event.text;
    }

    ::unsetenv ("TZ");
    ::tzset();

    double jumped = 0;

    for (std::size_t i = 0; i < lines.size(); ++i)
    {
        if (i > 0 && lines[i].wall < lines[i - 1].wall - smallestJump)
        {
            jumps.push_back ({ lines[i - 1].wall, lines[i].wall, i });
            jumped += jumps.back().size();
        }

        lines[i].steady = lines[i].wall - jumped;
    }
}

double Truth::wallOf (double milliseconds)
{
    const auto exact = static_cast<double> (switchedOn) + steps + milliseconds / 1000;
    const auto seconds = static_cast<std::time_t> (std::floor (exact));
    std::tm local {};
    ::localtime_r (&seconds, &local);
    isZoneChanged = isZoneChanged || local.tm_gmtoff != offset.value_or (local.tm_gmtoff);
    offset = local.tm_gmtoff;
    return static_cast<double> (::timegm (&local)) + exact - std::floor (exact);
}

void Truth::add (const std::string& kind)
{
    auto& life = lives.back();

    if ((kind == "fan" && life.level < 4) || (kind == "hot" && life.level < 2))
        return;

    ++life.counts[kind];
    life.lastLine = lines.size();
    lines.push_back ({ wallOf (now), 0, kind });
}

void Truth::stampDay()
{
    const auto wall = static_cast<double> (switchedOn) + steps + now / 1000;

    if (wall > lastDay + secondsPerDay)
    {
        lastDay = wall;
        add ("day");
    }
}

void Truth::takePassesUntil (double milliseconds)
{
    if (lives.empty() || lives.back().kind != "canned" || lives.back().endedBy != "open" || isEnding || isRefused)
        return;

    while (nextPass <= milliseconds)
    {
        now = nextPass;
        nextPass += hasFan ? pauseMs : longPauseMs;
        stampDay();

        if (++passes % 30 == 0 && passes > 60 && lives.back().arguments == "without-gui")
            add ("gui-killed");

        for (int step = 0; hasFan && step < stepsPerPass; ++step)
            takeWrite (true);
    }
}

void Truth::takeWrite (bool worked)
{
    const auto isFirst = ! hasCounted && lives.back().kind != "canned" && ! isEnding;

    if (! worked)
        add ("fan-failed");
    else if (! isFirst)
        add ("fan"); // the first one comes before the level is known

    if (! isFirst && ! isEnding && degrees > 85)
        add (degrees > 90 ? "too-hot" : "hot");
}

void Truth::takeCount (const std::string& program, int instances)
{
    hasCounted = true;
    const auto isApplication = program == application;

    if (isApplication)
        stampDay();

    auto& misses = lives.back().misses;
    const auto isMiss = instances != 1;

    if (isApplication && isMiss)
        misses.push_back ({ lines.size(), now, false });
    else if (isApplication && ! misses.empty())
        misses.back().isSeen = true;

    if (isMiss)
        add (std::string (isApplication ? "application-" : "gui-") + (instances == 0 ? "absent" : "double"));
}

void Truth::take (const UnitRun::Event& event)
{
    std::istringstream words (event.text);
    std::string word, name;
    words >> word >> name;

    if (word == "life")
    {
        auto& life = lives.emplace_back();
        life.kind = name;
        life.begin = wallOf (now);
        words >> life.level >> std::ws;
        std::getline (words, life.arguments);
        life.firstLine = lines.size();
        add ("started");
        lastDay = static_cast<double> (switchedOn) + steps + now / 1000;
        nextPass = now;
        passes = 0;
        isEnding = isRefused = hasCounted = false;

        if (name == "boot-unit")
            lives[lives.size() - 2].bootUnitFollowed = true;
    }
    else if (word == "ended")
    {
        auto& life = lives.back();
        life.endMs = now;
        life.end = wallOf (now);

        if (life.kind == "maintenance" || life.kind == "boot-unit")
            life.endedBy = "itself";
        else if (life.endedBy == "open")
            life.endedBy = name == "1" ? "no-process" : "nothing";

        if (life.endedBy == "no-process")
            add ("no-process");
    }
    else if (word == "signal")
    {
        isEnding = true;
        lives.back().signal = std::stoi (name);

        if (std::count (std::begin (hookedSignals), std::end (hookedSignals), lives.back().signal) > 0)
        {
            lives.back().endedBy = "signal";
            add ("signal");
        }
    }
    else if (word == "refused")
        isRefused = true;
    else if (word == "refused-writes")
    {
        now -= pauseMs; // the pass before the refused count

        for (auto count = std::stoi (name); count > 0; --count)
            takeWrite (false);

        now += pauseMs;
    }
    else if (word == "write")
        takeWrite (name == "worked");
    else if (word == "count" && ! isEnding)
        takeCount (name, std::stoi (event.text.substr (event.text.rfind (' '))));
    else if (word == "killall" && name != application &&
             (last.rfind ("count " + name, 0) != 0 || last.back() == '1'))
        add ("gui-killed");
    else if (word == "temperature")
        degrees = std::stod (name);
    else if (word == "clock")
    {
        steps += std::stod (name);
        isForwardStep = isForwardStep || std::stod (name) > 0;
    }
    else if (event.text == "disk full" && ! fullFrom)
        fullFrom = wallOf (now);
}

int Truth::countOf (const std::string& kind, double after) const
{
    return static_cast<int> (std::count_if (
        lines.begin(), lines.end(), [&] (const Line& line) { return line.kind == kind && line.wall > after; }));
}
