"""The words of docs/quality.md, with places for figures."""

HEAD = """# Quality

This page helps you choose a strategy. It shows whether each one keeps content in its place, how it treats no-data and
transparent pixels, and which details it keeps, compared with GDAL's utilities. If you need a short answer, read *At a
glance* and the text below each table.

`scripts/quality --write` writes this page. It makes test rasters, runs the library's strategies and the utilities of
GDAL {version} on them, measures all results with the same program, and replaces the page and its pictures. You can
repeat that, because the same library and the same GDAL give the same bytes. `vexel-quality check` fails if one of
these promises is broken:

- Block strategies (`average`, `median`, `percentile75`, `min`, `max`) make up no values next to no-data, and a block
  without data never becomes data. `average` and `max` lose no data.
- The colours of block strategies do not depend on the colours stored under transparent pixels.
- `gauss --leave-holes-out` makes up no values either: none is outside the range of the data, and no colour comes from
  transparent pixels. A block without data never becomes data. The same results are no-data, and the same pixels are
  visible, as with `gauss` alone.
- A tile set gives the same bits as a single file if the size of its tiles is a multiple of the factor. `warp` reads no
  tile sets.
- The content of a single file stays in its place, except that `gauss` moves it by half an input pixel at even factors.
- `gaussalias`, another name of `gauss`, gives the same bits.

`gauss --leave-holes-out` is the option of `vexel-downsample`. In your program, call `leaveHolesOut(true)`. Lengths are
in input pixels, with x to the east and y to the south. Colours are from 0 to 255, and elevations are in m. A dash means
that there is no figure, for example because `warp` reads no tile sets."""

GLANCE = """## At a glance

This table sums up the sections below. Each figure is the worst of the factors {factors}, except the contrast, which is
the one at factor {shown}. The columns are:

- *Position*: how far content moves. Negative means to the west and north.
- *Level*: how much too high the result is on a slope of 1.
- *Made up*: the share of pixels that are neither no-data nor in the range of the data. They are next to no-data.
- *Lost*: the share of blocks with data whose result is no-data.
- *Halo*: the largest change of a visible colour that the colours stored under transparent pixels cause.
- *Wrong colour*: the share of visible pixels with another colour, where all visible pixels of the input have the same.
- *Seams*: the largest difference between tiles of 96 pixels and a single file, on land without / with no-data.
- *Contrast, true / false*: the contrast that is left of waves that the result can show / of finer waves, which become
  false patterns. The first should be high and the second low.

{table}"""

POSITION = """## Position

Does content stay in its place? You can see that from ramps of slope 1 to the east and to the south, rising and falling,
of {ramp} × {ramp} float pixels. A method that moves content makes one ramp too high and the other too low, but a method
that lifts values lifts both. Positive figures mean too far east and south. If x and y differ, the cell has both, as
x / y:

{shift}

`gauss` takes the blurred pixel at the middle of the block. At even factors the middle is between pixels. It takes the
pixel to the south-east, so content moves half a pixel to the north-west. That is deliberate, and you should expect it
when you compare the result with other data. `gdaladdo -r gauss` moves content in its own way.

The next table has the level, which is how much too high the result is on a slope of 1:

{lift}

If the number of pixels is even, `median` takes the upper one of the two middle values, and `gdalwarp -r med` takes the
lower one. If a quarter of the number is whole, `percentile75` takes the next higher rank, and `gdalwarp -r q3` takes
the rank of the quarter.

Errors can be larger within 24 pixels of the border of the raster. This table has the largest error of position or level
there, beyond the figures above:

{border}

Block strategies have no such error, because they use the pixels of one block only. `gauss` and cubic splines blur
across the border and find only the border's own pixels there, so a slope becomes flatter.

### Single pixels

Does a single pixel that is higher or lower than its ground survive? The raster of {points} × {points} floats has such points
at every position within a block, equally often. The table has the share that is left in the result, of points above /
below their ground:

{kept}

The next table has the mean position of the centroids of the points that are left, x / y. The root mean square of the
distance of single centroids from that mean follows in parentheses. A block strategy moves a point into the middle of
its block, wherever in the block it was.

{centroids}

The last table has the volume of a point, as a multiple of its volume in the input. Means keep it, while `min` and `max`
turn one pixel into a whole block:

{volume}

### Sizes that are not a multiple of the factor

Your raster need not be a multiple of the factor. This is a ramp of {odd_size} × {odd_size} pixels. Each cell has three
figures: the number of columns × their width, how far the last one ends beyond the border of the input (negative if a
rest of the input is not in the result), and the largest error of position inside:

{odd}

Block strategies cut the rest off. `warp` and most of GDAL's methods round the number of pixels, so they cut or add.
`gdaladdo` keeps the extent and stretches its pixels. `gauss` changes the factor so that the first tile spans a whole
number of its pixels. Its pixel size is rounded to 1/100000 of a map unit. If it is rounded up, the last column and row
no longer fit into the raster and are left out, as the figures show."""

HOLES = """## No-data

How do the methods treat no-data? The raster has hills with no-data in many sizes: discs, a wedge, lines one pixel wide,
and single pixels. It has {holes} × {holes} float pixels. No-data is -10000, and the file declares that, because GDAL's
utilities need it. The picture is at factor 4. No-data is pale blue, and pixels that are neither no-data nor in the
range of the data are red.

![The middle of the raster by the strategies and some of GDAL's methods]({folder}/holes.png)

This table has the number of pixels that are neither no-data nor in the range of the data, and the lowest of them in
parentheses:

{outside}

The next table has the share of blocks with data whose result is no-data / the number of pixels with data whose block
has none:

{lost}

`median` and `percentile75` need at least two valid pixels, and `min` of a block whose first pixel is no-data is
no-data, so they lose some data. `gauss`, with and without `--leave-holes-out`, and `warp` decide by the pixel at the
middle. `average` and `max` lose nothing. `gdaladdo` fills some no-data with its splines and its Gauss, and
`gdal_translate` does with its splines."""

EDGE = """## The Gaussian next to no-data

`gauss` blurs the stored values, including no-data, so elevations next to -10000 sink. If your raster has no-data, you
should call `DownsamplerBase::leaveHolesOut(true)` or use `vexel-downsample --leave-holes-out`. Each result is then a
mean of the valid pixels only, with the same weights scaled up, so it is never beyond the lowest and the highest of
these pixels.

You can see here how far no-data reaches without that. The raster is a plain at 500 m with a straight area of no-data
across it, slightly slanted, so pixels of the result are at all distances from it. The distance counts from the border
of no-data to the middle of the pixel of the result. The last columns have the farthest pixel that is wrong by more than
so many metres, in pixels and in standard deviations (σ).

![Largest error by the distance from no-data]({folder}/edge.svg)

{table}

The error is below a metre beyond {metre} standard deviations, and ends at five, because the weights end there. With
`--leave-holes-out`, and with all other strategies and GDAL's methods, {others}."""

HALO = """## Transparent borders

Do you see colours that are stored under transparent pixels? Two rasters have the same discs, ring and lines of one
colour, once on transparent white and once on transparent black, and {disc} × {disc} RGBA pixels. Their results should
be the same. The picture is at factor 2, and transparent pixels are pale blue:

![The disc on black and on white by some strategies and methods]({folder}/halos.png)

This table has the number of visible pixels whose colour differs between white and black, of all visible pixels, and the
largest difference in parentheses:

{differ}

The next table has the number of visible pixels, on white or on black, whose colour is not the disc's colour, and the
largest difference in parentheses:

{foreign}

`gauss` mixes in the colours under transparent pixels. With `--leave-holes-out` it does not, because colours then come
from visible pixels only. With and without that, a pixel is black and visible if the pixel at the middle is transparent
but most of its surroundings are not, for example on a thin transparent line. `percentile75` at factor 2 has black
pixels at corners, because if one of four pixels is opaque, the quartile of alpha is opaque, but the quartile of the
colours is no-data, which as a byte is 0.

Which pixels are visible differs too. Block strategies reduce alpha like a colour and then make it 0 or 255, `gauss`
blurs it before that, and `warp` leaves it to GDAL. Any alpha above 0 counts as visible here."""

SEAMS = """## Seams

Can you see the seams of a tile set in its result? The raster of the section *No-data*, and the same land without
no-data, are compared as tiles of 96 × 96 and of 100 × 100 pixels with the single file. The tables have the number of
pixels that differ, and the largest difference in parentheses. 96 is a multiple of all factors, 100 of 2 and 4 only. The
library reads the set, and GDAL's utilities read a virtual mosaic by `gdalbuildvrt`.

Tiles of 96, land without no-data:

{land96}

Tiles of 96, with no-data:

{holes96}

Tiles of 100, land without no-data:

{land100}

`gauss` reads the pixels that it needs from the neighbours, up to five standard deviations beyond each tile, so you see
no seam if the tiles sample the same pixels as the single file. If the size of the tiles is not a multiple of the
factor, each tile begins with a new block, so a pixel of the result is off by up to the factor less one. You should
therefore choose tiles whose size is a multiple of the factor. This table has the largest error of position on the ramp
in tiles of 100:

{tiles}

`gauss` changes the factor to suit the first tile, so the size of its result can change. `warp` reads single files only.
`gdal_translate` passes a request to each file of a mosaic separately, while `gdaladdo` and `gdalwarp` see one
raster."""

ALIASING = """## Aliasing

Fine details that the result cannot show should disappear, but they can become false patterns. The picture has rings
whose frequency grows from the middle to half a cycle per pixel at the borders, at factor 4. A result can show a quarter
of that, so the rings in the middle are true, and everything beyond should be an even grey.

![Zone plates by every strategy and GDAL's methods]({folder}/zone-plates.png)

The figures are from a wave whose frequency grows along a line. They are the contrast that is left, as a share of the
input's contrast, of frequencies up to half the highest that the result can show / of frequencies beyond the highest,
which should be 0:

{contrast}

The next table has the mean value of the result. The input's mean value is {mean}:

{means}

`gauss` and `warp` leave the fewest false patterns, and take the most from true details. `warp` does so equally at
every factor. `gauss` does so most at factor 2, because its kernel has the same width there as at factor 3.
`average` keeps more of both. Ranks, such as `median`, are not filters, so they turn many details into false patterns."""

COMMAND_LINES = """\
You can repeat GDAL's part with these commands. F is the factor, and input pixels are one map unit wide."""

COMMANDS = """## Command lines

{commands}

`gdaladdo` writes `INPUT.tif.ovr`. The library's `warp` is `gdalwarp -r cubicspline` with `-multi -srcnodata -10000
-dstnodata -10000`. For bytes GDAL makes 0 of that value, and declares 0 as no-data in the result."""
