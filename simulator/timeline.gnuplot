# gnuplot timeline.gnuplot: draws the file "timeline" in the working folder as SVG on standard output.
set terminal svg size 960,720 font 'sans-serif,14' background 'white'
stats 'timeline' using 1 nooutput
end = STATS_max > 1000 ? STATS_max : 1000
unit = end > 2 * 3600000 ? 3600000 : end > 300000 ? 60000 : 1000
track(name) = sprintf("< grep ' %s ' timeline", name)
stats track('temperature') using 3 name 'degrees' nooutput

# Percent of full speed. Bits 31 and 30 of the register enable the fan, and the daemon first writes full speed.
full = 0
count(register) = int(register) & 0x3fffffff
percent(register) = register > 0x3fffffff ? \
    (full = full ? full : count(register), 100.0 * count(register) / (full ? full : 1)) : 0 * register # NaN remains NaN

set multiplot
set lmargin at screen 0.16
set rmargin at screen 0.97
set xrange [-0.01 * end / unit : 1.01 * end / unit]
set grid linecolor '#b0b0b0'
set tics nomirror
set format x ''
unset key

set tmargin at screen 0.97
set bmargin at screen 0.72
set label 1 "Temperature\n(°C)" at screen 0.03,0.845 rotate center
set yrange [(degrees_min < 23 ? degrees_min - 3 : 20) : (degrees_max > 97 ? degrees_max + 3 : 100)]
set ytics 20
plot track('temperature') using ($1 / unit):3 with lines linewidth 2 linecolor '#d55e00'

set tmargin at screen 0.68
set bmargin at screen 0.48
set label 1 "Fan\n(% of full speed)" at screen 0.03,0.58
set yrange [-5:105]
set ytics 50
plot track('fan') using ($1 / unit):(percent($3)) with lines linewidth 2 linecolor '#0072b2'

set tmargin at screen 0.44
set bmargin at screen 0.28
set label 1 "Running" at screen 0.03,0.36
set yrange [-0.4:5.4]
set ytics ('GUI 0' 0, '1' 1, '2' 2, 'application 0' 3, '1' 4, '2' 5)
plot track('application') using ($1 / unit):(3 + $3) with lines linewidth 3 linecolor '#009e73', \
     track('GUI') using ($1 / unit):3 with lines linewidth 3 linecolor '#aa4499'

set tmargin at screen 0.24
set bmargin at screen 0.10
set label 1 "Log lines" at screen 0.03,0.17
set yrange [-0.6:2.6]
set ytics ('other' 0, 'CRITICAL' 1, 'ERROR' 2)
set format x '%g'
set xlabel 'Time since start ('.(unit == 1000 ? 's' : unit == 60000 ? 'min' : 'h').')'
plot track('other') using ($1 / unit):(0 * $3) with points pointtype 7 pointsize 0.6 linecolor '#404040', \
     track('CRITICAL') using ($1 / unit):(1 + 0 * $3) with points pointtype 9 pointsize 1 linecolor '#e69f00', \
     track('ERROR') using ($1 / unit):(2 + 0 * $3) with points pointtype 7 pointsize 0.9 linecolor '#c00000'
unset multiplot
