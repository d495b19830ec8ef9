#include "report/Picture.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace report
{
namespace
{
// The picture: gnuplot reads it after the data. Each panel is a part of the height.
constexpr auto script = R"PLOT(
set terminal svg size 960,720 font 'sans-serif,14' background 'white'
set xdata time
set timefmt '%s'
set xrange [begin - 0.01 * (end - begin) : end + 0.01 * (end - begin)]
set multiplot
set lmargin at screen 0.16
set rmargin at screen 0.97
set grid linecolor '#b0b0b0'
set tics nomirror
set format x ''
unset key

set label 3 title at screen 0.16,0.975
set tmargin at screen 0.95
set bmargin at screen 0.72
set label 1 "Temperature\nabove 85 °C" at screen 0.03,0.835 rotate center
set yrange [80:hottest]
set ytics 5
if (isCool) set label 2 'no reading above 85 °C' at screen 0.565,0.835 center
plot $heat using 1:2 with points pointtype 7 pointsize 0.5 linecolor '#d55e00'

unset label 3
set tmargin at screen 0.68
set bmargin at screen 0.48
set label 1 "Fan\n(% of full speed)" at screen 0.03,0.58
set yrange [-5:105]
set ytics 50
unset label 2
if (hasNoFan) set label 2 'no fan speed in the log (LogLevel below 4)' at screen 0.565,0.58 center
plot $fan using 1:2 with steps linewidth 2 linecolor '#0072b2'

unset label 2
set tmargin at screen 0.44
set bmargin at screen 0.24
set label 1 "Running" at screen 0.03,0.34
set yrange [-0.6:2.6]
set ytics ('GUI' 0, 'application' 1, 'daemon' 2)
plot $lives using 1:(2) with linespoints linewidth 6 pointtype 5 pointsize 0.4 linecolor '#404040', \
     $lives using 1:(1) with lines linewidth 6 linecolor '#a0dcc0', \
     $absences using 1:(1) with linespoints linewidth 6 pointtype 5 pointsize 0.4 linecolor '#c00000', \
     $doubles using 1:(1.3) with points pointtype 9 pointsize 0.9 linecolor '#aa4499', \
     $guiAbsent using 1:(0) with points pointtype 5 pointsize 0.7 linecolor '#c00000', \
     $guiOther using 1:(0.3) with points pointtype 9 pointsize 0.9 linecolor '#aa4499'

set tmargin at screen 0.20
set bmargin at screen 0.11
set label 1 "Other\nfindings" at screen 0.03,0.155
set yrange [-0.6:1.6]
set ytics ('look at it' 0, 'act' 1)
times = end - begin <= 600 ? '%H:%M:%S' : end - begin <= 10800 ? '%H:%M' : end - begin <= 259200 ? "%d %b\n%H:%M" : '%d %b'
set format x times
plot $look using 1:(0) with points pointtype 9 pointsize 0.9 linecolor '#e69f00', \
     $act using 1:(1) with points pointtype 7 pointsize 0.9 linecolor '#c00000'
unset multiplot
)PLOT";

std::string seconds (LogTime time)
{
    return std::to_string (time / oneSecond);
}

std::string point (LogTime time, const std::string& value = "0")
{
    return seconds (time) + " " + value + "\n";
}

std::string segment (LogTime begin, LogTime end)
{
    return point (begin) + point (end) + "\n";
}

std::string course (const Course& told, double factor)
{
    std::string points;

    for (const auto& [time, value] : told.points())
        points += point (time, std::to_string (factor * value));

    return points;
}

/** The block of data for the marks of a row; none if the picture shows the row in another way. */
std::string blockOf (Row row)
{
    switch (row)
    {
    case Row::applicationAbsent:
    case Row::hot:
    case Row::tooHot: return "";
    case Row::applicationDouble: return "doubles";
    case Row::guiAbsent: return "guiAbsent";
    case Row::guiDouble:
    case Row::guiKilled: return "guiOther";
    default: return std::string (nameOf (knowledgeOf (row).weight));
    }
}

std::string dataOf (const Report& report)
{
    constexpr double coldest = 100.0, above = 2.0; // degrees Celsius: the least upper end of the axis
    constexpr double percent = 100.0;
    const auto from = report.from.value_or (0);
    const auto to = report.to.value_or (0);
    std::map<std::string, std::string> data; // points, by block
    report.clockJumps.forEach ([&] (const ClockJump& jump) { data["look"] += point (jump.to); });
    report.storms.forEach ([&] (const Storm& storm) { data["act"] += point (storm.begin); });
    report.lives.forEach (
        [&] (const Life& life)
        {
            const auto end = life.endTime.value_or (life.last.value_or (from));

            if (! life.isMaintenance)
                data["lives"] += segment (life.begin.value_or (std::min (from, end)), end);

            if (life.end == End::silent && life.wasFollowedByBootUnit && life.endTime)
                data["look"] += point (*life.endTime);
        });
    report.absences.forEach ([&] (const Absence& absence)
                             { data["absences"] += segment (absence.begin, absence.end); });
    report.marks.forEach ([&] (const Mark& mark) { data[blockOf (mark.row)] += point (mark.time); });
    data["heat"] = course (report.temperature, 1.0);
    data["fan"] = course (report.fan, percent);

    const auto hottest = std::max (report.highest.value_or (coldest) + above, coldest);
    auto text = "begin = " + seconds (from) + ".0\nend = " + seconds (std::max (to, from + oneMinute)) +
                ".0\nisCool = " + (report.highest ? "0" : "1") +
                "\nhasNoFan = " + (report.counts[Row::fan] > 0 ? "0" : "1") +
                "\nhottest = " + std::to_string (std::min (hottest, 10 * coldest)) + "\ntitle = \"" +
                logTime (from) + " to " + logTime (to) + "\"\n";

    // gnuplot complains of a block without a point.
    for (const auto* name :
         { "lives", "absences", "doubles", "guiAbsent", "guiOther", "look", "act", "heat", "fan" })
        text += std::string ("$") + name + " << END\n" + (data[name].empty() ? "0 NaN\n" : data[name]) + "END\n";

    return text;
}
}

bool drawPicture (const Report& report, const std::string& file)
{
    std::string name;

    for (const auto character : file)
        name += character == '\'' ? "'\\''" : std::string (1, character);

    // The picture does not depend on gnuplot's version.
    const auto command = "gnuplot | grep -v '<desc>Produced by GNUPLOT' > '" + name + "'";
    auto* const gnuplot = ::popen (command.c_str(), "w");

    if (gnuplot == nullptr)
        return false;

    const auto text = dataOf (report) + script;
    std::fwrite (text.data(), 1, text.size(), gnuplot);
    return ::pclose (gnuplot) == 0;
}
}
