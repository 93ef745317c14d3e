"""The prose of docs/performance.md. Figures are in the tables that the program makes, not here."""

INTRODUCTION = """\
How long does `vexel-downsample` take compared with GDAL's and libvips' own programs, how much memory does it need, and
how much faster does another processor make it? `scripts/bench` measures that and writes this page. You can run it to
see the figures of your machine."""

RATIO = """\
The times are of whole runs at factor {factor}, on {size} pixels in one tiled file, with {processors} processors. Each
run decodes the raster, reduces it, and writes a compressed GeoTIFF. The best peer is the fastest program that does the
same work. Ratios are its time divided by ours, so at 2 you wait half as long, and below 1 the peer is faster."""

MOST_MEMORY = """\
The peak is {wide} MB on rasters up to 60,000 pixels wide, and {largest} MB on 100,000 × 100,000 pixels, without
`warp`."""

GAIN = "{processors} processors make it {gains} times as fast as one, without `warp`."

CHART = """\
![Ratios by strategy, factor and data on tiled files]({chart})

The mark on a bar is the ratio that we want. Bars of the other colour fall short of it."""

SETTINGS = """\
Every time is the median of as many runs as the call above says, with the program and its peers in turn. The input is in
the page cache, and everything that the run before has written is on the disk (`sync`). All programs run with
`GDAL_NUM_THREADS=ALL_CPUS` and `GDAL_CACHEMAX=64`, and write GeoTIFF with LZW and a predictor (2 for bytes, 3 for
floats), RGBA as RGB with alpha. `vexel-downsample` lets the C library keep released memory (`mallopt`). You should do
the same in your application, because it saves 5 to 9 % of the time. CPU is the user and system time of the process and
of all processes that it starts. Peak memory is the largest of any run and process, in 10⁶ bytes.

The *floor* is the work that no program can avoid: it must decode every block of the input once, and encode the finished
output once. GDAL does both, with the same threads, in the same turns as the others. The floor counts from the first
block, while ours counts from the start of the process. A case within 1.1 times the floor counts as met, whatever its
peer takes, because there is hardly anything left to save.

The rasters are synthetic. RGBA is a picture with fields, edges, grain and a transparent border, and LZW packs it to about
six tenths. Elevation has one band of floats, with a twentieth of it declared as no-data -10000. Pixels are 0.1 m."""

AGREEMENT = """\
{alike} of {pairs} pairs of outputs have the same size and agree in their mean. The means of the first band differ by at
most {rgba:.2f} grey levels and {elevation:.2f} m. The means of the Gaussian on elevation are not compared, because it
blurs no-data like other values."""

PEERS = """\
### The peers

| Strategy | Peer | Difference |
|---|---|---|
| `average` | `gdaladdo -r average` (to a separate file); `gdal_translate -r average`, without a goal | only rounding |
| `median` | `gdalwarp -r med` | of two middle values it takes the lower one, we take the upper one |
| `percentile75` | `gdalwarp -r q3` | takes the next lower rank than we do where the quarter is a whole number |
| `min`, `max` | `gdalwarp -r min`, `gdalwarp -r max` | our `min` of a block whose first pixel is no-data is no-data |
| `gauss` | `gdaladdo -r gauss` | a kernel of 3 to 7 pixels, far smaller than ours, which leaves out no-data |
| `gauss` | `vips gaussblur` of the same sigma, then `vips subsample` | a kernel cut at a fifth of its height, with \
no-data as values like others; the blurred raster is stored once, uncompressed |
| `warp` | `gdalwarp -r cubicspline` with the library's arguments | none: neither output is compressed |

`gdalwarp` runs with `-multi -wo NUM_THREADS=ALL_CPUS -wm 500`. On a grid of tile files, a peer is one process per file,
as many at a time as there are processors, by `xargs -P`, because that is faster than one process over a virtual mosaic.
Ours is one process that reads the whole set and writes one set. `gaussalias` is the same as `gauss`, and `warp` works
on single files only."""

SLOW = """\
These cases are slower than we want. *Needed* is the time that would meet the goal. *Beyond the floor* is the part of
our time that could be saved, because it is neither decoding the input nor encoding the output. If the needed time is
below the floor, no program can reach it."""

REASONS = """\
Where does that time go?

- **Everybody decodes and encodes.** If the peer needs little more than the floor, for example often on elevation,
  nobody can be much faster than the peer.
- **Start and end.** A run on 64 × 64 pixels takes 65 ms. 40 ms of that load GDAL, as in every program. The rest opens
  the files and checks once more that the output is whole. The floor counts none of it. On 6,000 × 6,000 pixels this is
  a tenth of the time and more.
- **Peers encode while they decode.** Ours writes an uncompressed working file first and completes the output at the
  end, so that you have the whole output or none, however the process ends. Then it waits until the disk has the data,
  while the peers leave that to the system.
- **A TIFF strip of the final file is one row**, because that is GDAL's default. GDAL passes strips to its threads one at
  a time, so not all processors are busy while it encodes. With strips of 16 rows, completing would take a quarter less
  time."""

SERIAL = """\
These cases gain less from the second processor than we want. The last columns are shares of the time on the clock in
which at most one thread runs. The section *More processors* shows which phases they belong to, and how much the machine
itself allows."""

LARGE = """\
These runs need more memory than we want."""

SCALING = """\
How much faster does it get with more processors? Each strategy ran at factor {factor} on one processor (`taskset -c 0`,
so that GDAL and OpenMP use one thread) and on all {processors}, in turn. The serial share follows from the speed-up S
on N processors by Amdahl's law: it is 1 - p, with p = (1 - 1/S) / (1 - 1/N)."""

EXTRAPOLATION = """\
The columns for {more} processors are not measured. They assume that the serial share takes as long as it does here, and
that everything else spreads evenly over any number of processors. For that, memory, caches and the disk must keep up,
and each request must have enough blocks for all of GDAL's threads. You should expect less."""

LIMIT = """\
Processors share caches and memory, so even independent work is slower on all of them at once. To see how much, one run
of `average` was pinned to each of {processors} processors, and its CPU time was compared with a run alone. By that, all
processors together can gain at most {limits}. The serial share includes this loss."""

BUSY = """\
### Who is busy

Where does the serial share come from? In further runs on all processors, the states of all threads in `/proc` were
sampled every few milliseconds, with `OMP_WAIT_POLICY=passive` so that a thread without work does not look busy. The
calling thread transfers pixels between GDAL's cache and the strips, writes the working file and completes the output.
GDAL's threads decode and encode, and OpenMP's threads reduce. *Alone* is the share of the time on the clock in which
only the calling thread runs. *Others* is the share in which it waits for a single thread, or for the disk."""

PARTS = """\
If `perf` is installed, you can also see the work of the calling thread while it runs alone. These are shares of the
time on the clock, by the library whose code runs. Copying is in GDAL and the C library. Writing files and clearing new
memory are in the kernel. Loading the program is among the others."""

FULL = """\
Each row compares our run with one peer. Wall is the time on the clock. *Wanted* is the ratio that we want, and by how
much it is met or missed. The columns with the floor have our time as a multiple of it. The peak is our peak memory."""

MEMORY = "In 10⁶ bytes."

SMALL_FILES = """\
`average` at factor 4 of sets of tile files with 64 × 64 RGBA pixels each. The peer is one process per file, by
`xargs -P`."""

SMALL_CACHES = "`average` at factor 4 of the tiled RGBA file, with several sizes of GDAL's block cache."

WAITING = """\
How long must others wait for us? Another thread took the lock around GDAL every millisecond while
`GDALStreamer::finish` completed a raster of three bands of bytes. It should never wait longer than {lock:g} s.
Completing was stopped at three moments, and `vexel-downsample` by Ctrl-C at six moments of a run at factor 2. Neither
should take longer than {stop:g} s to end, and nothing should be left of the output."""
