# Draws the page of how costs grow, from the points that velt-growth prints; `data` names their file.
set terminal svg size 1200,1300 dynamic font "sans-serif,13" background "white"
set multiplot layout 4,2
set logscale xy
set format x "10^{%T}"
set key below
set grid
set style data linespoints

set title "A call that sends a string and gets it back"
set xlabel "bytes"
set ylabel "microseconds"
# There is no 0 where the axis is a logarithm: it stands at the left edge.
at_edge = 0.1
set xtics add ("0" at_edge)
set xrange [at_edge:*]
or_edge(x) = x > 0 ? x : at_edge
plot data index "call, ours" using (or_edge($1)):($2*1e6) title "ours", \
     data index "call, RPC library" using (or_edge($1)):($2*1e6) title "RPC library"

set title "Peak memory of the two processes of such calls"
set ylabel "MB"
plot data index "memory of a caller, ours" using (or_edge($1)):($2/1e6) title "caller, ours", \
     data index "memory of a caller, RPC library" using (or_edge($1)):($2/1e6) title "caller, RPC library", \
     data index "memory of a service, ours" using (or_edge($1)):($2/1e6) title "service, ours", \
     data index "memory of a service, RPC library" using (or_edge($1)):($2/1e6) title "service, RPC library"
set xrange [*:*]
set xtics autofreq

set title "Conversion from Shift-JIS to UTF-8"
set ylabel "MB/s"
plot data index "conversion, ours" using 1:($2/1e6) title "ours", \
     data index "conversion, iconv" using 1:($2/1e6) title "iconv", \
     data index "conversion, ICU" using 1:($2/1e6) title "ICU"

set title "One client of a host that has so many"
set xlabel "clients"
set ylabel "microseconds"
plot data index "start of a client among others" using 1:($2*1e6) title "start", \
     data index "end of a client among others" using 1:($2*1e6) title "end", \
     data index "command of one among others" using 1:($2*1e6) title "command with a call"

set title "One object of a book, or string of a list, that has so many"
set xlabel "objects, strings"
set ylabel "nanoseconds"
plot data index "object, create" using 1:($2*1e9) title "create", \
     data index "object, load" using 1:($2*1e9) title "load from a file", \
     data index "object, find by name" using 1:($2*1e9) title "find by name", \
     data index "object, get a property" using 1:($2*1e9) title "get a property", \
     data index "string of a list there and back" using 1:($2*1e9) title "string of a list, there and back"

set title "One paragraph of a document that has so many"
set xlabel "paragraphs"
plot data index "paragraph, add" using 1:($2*1e9) title "add", \
     data index "paragraph, find" using 1:($2*1e9) title "search through", \
     data index "paragraph, edit one" using 1:($2*1e9) title "edit one"

set title "Memory of the host"
set xlabel "how many there are"
set ylabel "bytes for each"
plot data index "memory of the host for a client" title "client", \
     data index "memory of an object" title "object", \
     data index "memory of a paragraph" title "paragraph of 67 characters"

set title "Peak memory of a client's process"
set xlabel "clients, strings or bytes"
set ylabel "MB"
plot data index "memory of a client among others" using 1:($2/1e6) title "among so many clients", \
     data index "memory of a client with a list" using 1:($2/1e6) title "with a list of so many strings", \
     data index "memory of a service with a list" using 1:($2/1e6) title "the service of that list", \
     data index "memory of a client that converts" using 1:($2/1e6) title "converts so many bytes"
