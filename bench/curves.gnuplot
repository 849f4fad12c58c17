# Draws the curves of one run. Each file in the folder `data` is a curve. Each of its lines is the place on
# the x axis, the nanoseconds of the floor, those of the subject, and their ratio.

set terminal svg size 1050,380 font 'sans-serif,13' background 'white'
set output 'docs/performance.svg'
set multiplot layout 1,3
set grid ytics lc rgb '#dddddd'
set key bottom right
set border 3
set tics nomirror
set ylabel 'µs per call'
set style line 1 lc rgb '#888888' lw 2 pt 7 ps 0.5
set style line 2 lc rgb '#0060c0' lw 2 pt 7 ps 0.5

set logscale x 2
set yrange [0:*]
set xlabel 'threads that use one client at once'
plot data.'/threads' using 1:($2/1000) with linespoints ls 1 title 'floor', \
     '' using 1:($3/1000) with linespoints ls 2 title 'request'

set xlabel 'instances used in turn'
plot data.'/instances' using 1:($2/1000) with linespoints ls 1 title 'floor', \
     '' using 1:($3/1000) with linespoints ls 2 title 'sendKeyEvent'

set logscale xy
set yrange [*:*]
set xtics ('40' 40, '1 Ki' 1024, '32 Ki' 32768, '1 Mi' 1048576)
set xlabel 'bytes of request and of reply'
plot data.'/bytes' using 1:($2/1000) with linespoints ls 1 title 'floor', \
     '' using 1:($3/1000) with linespoints ls 2 title 'request'
