# Draws the pictures of how-it-works.md; variables `data` and `out` are folders.
grey = '#8a8a8a'; blue = '#1f5fbf'; orange = '#e08214'; red = '#c0272d'; green = '#1a8a3a'
set encoding utf8

# ---- the path before and after ----
set terminal pngcairo size 860,620 font 'sans-serif,10' background '#ffffff'
set output out.'/path.png'
set multiplot layout 3,1 margins 0.09,0.98,0.08,0.94 spacing 0.02,0.045
set grid lc rgb '#e4e4e4'
set border lc rgb '#606060'
set key top left horizontal samplen 2 width 2
set xrange [0:7]
set format x ''
set ylabel 'row, pixels' offset 1
set yrange [-25:38]
plot data.'/path.dat' using 1:2 with lines lw 1.2 lc rgb grey title 'camera', \
     '' using 1:5 with points pt 7 ps 0.35 lc rgb orange title 'measured', \
     '' using 1:8 with lines lw 2.2 lc rgb blue title 'output'
unset key
set ylabel 'column, pixels'
set autoscale y
plot data.'/path.dat' using 1:3 with lines lw 1.2 lc rgb grey, \
     '' using 1:6 with points pt 7 ps 0.35 lc rgb orange, \
     '' using 1:9 with lines lw 2.2 lc rgb blue
set ylabel 'rotation, mrad'
set format x '%g s'
plot data.'/path.dat' using 1:4 with lines lw 1.2 lc rgb grey, \
     '' using 1:7 with points pt 7 ps 0.35 lc rgb orange, \
     '' using 1:10 with lines lw 2.2 lc rgb blue
unset multiplot

# ---- the cost that the coarse shift descends on ----
reset
set terminal pngcairo size 700,400 font 'sans-serif,10' background '#ffffff'
set output out.'/shift.png'
set size ratio -1
set xrange [-160:160]; set yrange [80:-80]
set xlabel 'shift, columns'; set ylabel 'rows' offset 1
set cblabel 'mean difference of the samples, grey levels'
set palette maxcolors 24 defined (0 '#0b1d51', 0.25 '#2f6db3', 0.6 '#c9dbe8', 1 '#ffffff')
set key outside top center horizontal
plot data.'/shift.dat' using 1:2:3 with image notitle, \
     '+' using (0):(0) every ::0::0 with points pt 6 ps 1.4 lw 2 lc rgb '#303030' title 'start', \
     data.'/shift_found.dat' using 1:2 with points pt 2 ps 1.6 lw 2.5 lc rgb red title 'found'

# ---- block vectors on a frame ----
reset
unset border; unset tics
unset colorbox
set margins 0,0,0,2
set size ratio -1
set terminal pngcairo size 768,470 font 'sans-serif,10' background '#ffffff'
set output out.'/blocks.png'
set xrange [0:768]; set yrange [432:0]
set cbrange [0:255]
set palette gray maxcolors 64
set key at graph 0.46,1.0 center bottom maxrows 1 samplen 2 width -4
scale = 2.5
plot data.'/blocks.gray' binary array=(768,432) format='%uchar' with image notitle, \
     data.'/blocks_none.dat' using 1:2 with points pt 7 ps 0.4 lc rgb '#606060' title 'not searched, or no vector', \
     data.'/blocks_kept.dat' using 1:2:(scale*$3):(scale*$4) with vectors lw 1.6 lc rgb blue \
         filled head size 6,20 fixed title 'agrees with the frame''s motion', \
     data.'/blocks_dropped.dat' using 1:2:(scale*$3):(scale*$4) with vectors lw 1.6 lc rgb red \
         filled head size 6,20 fixed title 'dropped'

# ---- the crop window ----
set terminal pngcairo size 980,300 font 'sans-serif,10' background '#ffffff'
set output out.'/crop.png'
unset key
set palette rgb 3,3,3
set multiplot layout 1,2 margins 0.01,0.99,0.01,0.91 spacing 0.02,0
set xrange [0:480]; set yrange [272:0]
set title 'input, and the part that the output shows'
plot data.'/crop_in.rgb' binary array=(480,272) format='%uchar%uchar%uchar' using 1:2:3 with rgbimage, \
     data.'/crop_centred.dat' with lines lw 1.5 dt 3 lc rgb 'white', \
     data.'/crop_window.dat' with lines lw 2.5 lc rgb '#ffd21f'
set title 'output'
plot data.'/crop_out.rgb' binary array=(480,272) format='%uchar%uchar%uchar' using 1:2:3 with rgbimage
unset multiplot
