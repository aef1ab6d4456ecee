# Plots ns per packet against the number of tags in the file: gnuplot -c growth.gnuplot DATA SVG
# DATA columns: tags, ns of the plug-in, ns of libavformat.
set terminal svg size 720,400 font 'sans-serif,13' background '#ffffff'
set output ARG2
set logscale x 10
set format x '%.0f'
set xrange [8000:1250000]
set yrange [0:*]
set xlabel 'tags in the file'
set ylabel 'ns per packet'
set grid ytics linecolor '#dddddd'
set key top left
plot ARG1 using 1:3 with linespoints linewidth 2 pointtype 7 linecolor '#c05a2e' title 'libavformat', \
     ARG1 using 1:2 with linespoints linewidth 2 pointtype 7 linecolor '#2e6fc0' title 'plug-in'
