#include "report/Picture.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

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

/** A named block of data. gnuplot complains of one without a point. */
std::string block (const char* name, const std::string& lines)
{
    return std::string ("$") + name + " << END\n" + (lines.empty() ? "0 NaN\n" : lines) + "END\n";
}

std::string segment (LogTime begin, LogTime end)
{
    return seconds (begin) + " 0\n" + seconds (end) + " 0\n\n";
}

std::string course (const Course& told, double factor)
{
    std::string lines;

    for (const auto& point : told.points())
        lines += seconds (point.time) + " " + std::to_string (factor * point.value) + "\n";

    return lines;
}

template <typename Accept>
std::string marks (const Report& report, const Accept& accept)
{
    std::string lines;
    report.marks.forEach (
        [&] (const Mark& mark)
        {
            if (accept (mark.row))
                lines += seconds (mark.time) + " 0\n";
        });
    return lines;
}

constexpr Row ownTracks[] = { Row::applicationAbsent,
                              Row::applicationDouble,
                              Row::guiAbsent,
                              Row::guiDouble,
                              Row::guiKilled,
                              Row::hot,
                              Row::tooHot };

std::string dataOf (const Report& report)
{
    constexpr double coldest = 100.0, above = 2.0; // degrees Celsius: the least upper end of the axis
    constexpr double percent = 100.0;
    const auto from = report.from.value_or (0);
    std::string lives, absences;
    report.lives.forEach (
        [&] (const Life& life)
        {
            const auto end = life.endTime.value_or (life.last.value_or (from));

            if (! life.isMaintenance)
                lives += segment (life.begin.value_or (std::min (from, end)), end);
        });
    report.absences.forEach ([&] (const Absence& absence) { absences += segment (absence.begin, absence.end); });

    const auto is = [] (Row wanted) { return [wanted] (Row row) { return row == wanted; }; };
    const auto weighs = [] (Weight weight)
    {
        return [weight] (Row row)
        {
            const auto hasTrack =
                std::find (std::begin (ownTracks), std::end (ownTracks), row) != std::end (ownTracks);
            return ! hasTrack && knowledgeOf (row).weight == weight;
        };
    };
    std::string look, act;
    const auto mark = [] (LogTime time) { return seconds (time) + " 0\n"; };
    report.clockJumps.forEach ([&] (const ClockJump& jump) { look += mark (jump.to); });
    report.storms.forEach ([&] (const Storm& storm) { act += mark (storm.begin); });
    report.lives.forEach (
        [&] (const Life& life)
        {
            if (life.end == End::silent && life.wasFollowedByBootUnit && life.endTime)
                look += mark (*life.endTime);
        });

    const auto isOtherGui = [] (Row row) { return row == Row::guiDouble || row == Row::guiKilled; };
    const auto hottest = std::max (report.highest.value_or (coldest) + above, coldest);

    return "begin = " + seconds (from) +
           ".0\nend = " + seconds (std::max (report.to.value_or (0), from + oneMinute)) +
           ".0\nisCool = " + (report.highest ? "0" : "1") +
           "\nhasNoFan = " + (report.counts[Row::fan] > 0 ? "0" : "1") +
           "\nhottest = " + std::to_string (std::min (hottest, 10 * coldest)) + "\ntitle = \"" + logTime (from) +
           " to " + logTime (report.to.value_or (0)) + "\"\n" + block ("lives", lives) +
           block ("absences", absences) + block ("doubles", marks (report, is (Row::applicationDouble))) +
           block ("guiAbsent", marks (report, is (Row::guiAbsent))) +
           block ("guiOther", marks (report, isOtherGui)) +
           block ("look", look + marks (report, weighs (Weight::look))) +
           block ("act", act + marks (report, weighs (Weight::act))) +
           block ("heat", course (report.temperature, 1.0)) + block ("fan", course (report.fan, percent));
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
