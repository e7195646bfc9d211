# gnuplot -c chart.gnuplot PREFIX OUTPUT.svg: the 1080p frame by stages and instruction sets, and all sizes by pixel.
prefix = ARG1
set terminal svg size 1000,420 font "sans,12" background "white"
set output ARG2
set multiplot layout 1,2
set style fill solid 0.9 border -1
set grid ytics
set yrange [0:*]

set title "CPU time of a 1080p frame by instruction set"
set ylabel "units of a bilinear scaler on the same frame"
set style data histograms
set style histogram rowstacked
set boxwidth 0.7
set key outside below maxrows 4
plot for [i=2:7] prefix."-stages.dat" using i:xtic(1) title columnheader(i)

set title "CPU time of a pixel by frame size"
set ylabel "ns"
set style histogram clustered gap 1
set boxwidth 0.9
plot prefix."-sizes.dat" using 2:xtic(1) title "stabilizer", \
     '' using 3 title "bilinear scaler", '' using 4 title "copy"
unset multiplot
