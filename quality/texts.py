"""The words of docs/quality.md, with places for figures."""

HEAD = """# Quality

Written by `scripts/quality --write`, which makes test rasters, runs the library's strategies and the utilities of GDAL
{version} on them, measures all results by the same program, and replaces this page and its pictures. The same library
and the same GDAL give the same bytes. `vexel-quality check` fails if one of these promises does not hold:

- Block strategies (`average`, `median`, `percentile75`, `min`, `max`) make up no values beside holes and fill no hole.
  `average` and `max` lose no data.
- Their colours do not depend on what lies below transparent pixels.
- `gauss` with holes left out (`vexel-downsample --leave-holes-out`) makes up no values either: none is outside of the
  range of the data, and no colour comes from below transparent pixels. It fills no hole, and the same results are
  no-data, and the same pixels visible, as with `gauss` alone.
- Tile sets, the size of whose tiles is a multiple of the factor, give the same bits as a single file. `warp` reads no
  tile sets.
- The content of a single file stays where it is; `gauss` moves it by half a pixel of the input at even factors.
- `gaussalias` is `gauss`, to the bit.

Lengths are in pixels of the input; x goes east and y south. Colours are from 0 to 255, elevations in m."""

GLANCE = """## At a glance

The worst of the factors {factors}, but for contrast, which is that at factor {shown}.

{table}

*Position* is where content lies against where it should. *Level* is how much too high a slope of 1 comes out. *Made
up* are pixels beside holes that are neither no-data nor in the range of the data, and *lost* those that are no-data
although their block has data. *Halo* is by how much colours beside transparent pixels depend on what is below these,
and *wrong colour* the share of visible pixels of another colour than all visible pixels of the input. *Seams* is by
how much tiles of 96 pixels differ from a single file, on land without and with holes. *Contrast* is what is left of
waves that the result can hold, and of those that it cannot, which become false patterns."""

POSITION = """## Position

Ramps of slope 1 to the east and to the south, rising and falling, {ramp} × {ramp} pixels of float. What displaces
content makes the one ramp too high and the other too low; what lifts values lifts both. Positive is too far east and
south. Two numbers, x / y, where they differ:

{shift}

`gauss` takes the blurred pixel at the middle of the block. At even factors the middle lies between pixels; it takes
the one to the south-east, so that content comes to lie half a pixel too far north-west. That is deliberate. `gdaladdo
-r gauss` has a shift of its own.

How much too high a slope of 1 comes out:

{lift}

`median` of an even number of pixels is the upper one of the two in the middle, that of `gdalwarp -r med` the lower
one. `percentile75` of a whole quarter takes the next higher rank, `gdalwarp -r q3` that of the quarter.

Near the border of the raster, within 24 pixels, the largest error of position or level beyond those above:

{border}

Block strategies know no border. `gauss` and cubic splines blur across it, and have nothing there but the border's own
pixels: a slope comes out flatter.

### Single pixels

Single pixels above their ground, and others below it, on {points} × {points} pixels of float, alike often in all
places that a pixel can have in its block. Share that is left in the result, above / below:

{kept}

Mean position of the centroids of those that are left, x / y, and behind it the root mean square of the single ones'
distance from that. A block strategy puts a point into the middle of its block, wherever in the block it was.

{centroids}

Volume, as a multiple of what it was. Means keep it; `min` and `max` make a block of a pixel:

{volume}

### Sizes that are no multiple of the factor

A ramp of {odd_size} × {odd_size} pixels. Columns × their width, how far the last one ends from the border of the
input (negative: a rest of the input is not in the result), and the largest error of position inside:

{odd}

The block strategies cut at the end; `warp` and most of GDAL's methods round the number of pixels, and cut or add;
`gdaladdo` keeps the extent and stretches its pixels. `gauss` changes the factor so that the first tile spans a whole
number of its pixels. Its pixel size is rounded to 1/100000 of a map unit: where it is rounded up, the last column and
row do not fit into the raster any more and are left out, as the figures show."""

HOLES = """## Holes

Hills with holes of many sizes: discs, a wedge, lines of a pixel's width, and single pixels; {holes} × {holes} pixels
of float, no-data -10000, which the file declares for GDAL's sake. Factor 4; holes are pale blue, and what is neither
no-data nor in the range of the data is red.

![The middle of the raster by the strategies and some of GDAL's methods]({folder}/holes.png)

Pixels of the result that are neither no-data nor in the range of the data, and the lowest of these:

{outside}

Pixels that are no-data although their block has data, as a share of those that have / pixels with data although their
block has none:

{lost}

A median or quartile takes two valid pixels at least, and `min` of a block whose first pixel is a hole is a hole.
`gauss`, with holes left out too, and `warp` decide by the pixel at the middle. `average` and `max` lose nothing.
`gdaladdo` fills some holes by splines and by its Gauss, `gdal_translate` by splines."""

EDGE = """## The Gaussian beside holes

`gauss` blurs the values as they stand in the raster, no-data among them: beside a hole of -10000 elevations sink. If
your raster has holes, ask for them to be left out (`DownsamplerBase::leaveHolesOut`, `vexel-downsample
--leave-holes-out`): each result is then a mean of the valid pixels alone, with the same weights scaled up, and never
beyond the lowest and the highest of these pixels. Without that, on a plain at 500 m with a straight, slightly slanted
hole, so that pixels of the result lie at all distances from it:

![Largest error by the distance from a hole]({folder}/edge.svg)

{table}

The distance counts from the border of the hole to the middle of the pixel of the result. The error is below a metre
beyond {metre} standard deviations, and ends with the weights at five. With holes left out, and by all other strategies
and GDAL's methods, {others}."""

HALO = """## Transparent borders

Discs, a ring and lines of one colour on transparent white and on transparent black, {disc} × {disc} pixels of RGBA.
Factor 2, what is transparent is pale blue:

![The disc on black and on white by some strategies and methods]({folder}/halos.png)

Visible pixels whose colour on white is not that on black, of how many, and the largest difference:

{differ}

Visible pixels, on white or on black, whose colour is not that of the disc, and the largest difference:

{foreign}

`gauss` mixes in what is below transparent pixels. With holes left out it does not: colours come from visible pixels
alone. With and without, a pixel is black and visible where the one at the middle is transparent but most of its
surroundings are not, such as on a thin transparent line. `percentile75` at factor 2 has black pixels at corners: of four
pixels with one opaque, the quartile of alpha is opaque, but the quartile of the colours is no-data, which as a byte
is 0.

What is visible differs: the block strategies reduce alpha like a colour and then make it 0 or 255, `gauss` blurs it
before that, `warp` leaves it to GDAL. Any alpha above 0 counts as visible here."""

SEAMS = """## Seams

The raster of the holes, and the same land without holes, as tiles of 96 × 96 and of 100 × 100 pixels against the
single file: pixels that differ, and the largest difference. 96 is a multiple of all factors, 100 of 2 and 4 only. The
library reads the set; GDAL's utilities read a virtual mosaic by `gdalbuildvrt`.

Tiles of 96, land without holes:

{land96}

Tiles of 96, with holes:

{holes96}

Tiles of 100, land without holes:

{land100}

`gauss` reads what it needs of the neighbours, five standard deviations beyond each tile, so tiles show no seam where
they sample the same pixels as the single file. Where the size of the tiles is no multiple of the factor, each tile
begins with a block of its own: a pixel of the result then stands for a place that is off by up to a factor less one.
The largest error of position on the ramp in tiles of 100:

{tiles}

`gauss` changes the factor to suit the first tile, and so makes a result of another size. `warp` reads single files
only. `gdal_translate` hands a request to each file of a mosaic on its own; `gdaladdo` and `gdalwarp` see one raster."""

ALIASING = """## Aliasing

Rings whose frequency grows from the middle to half a cycle a pixel at the borders, at factor 4. A result can hold a
quarter of that: true are the rings in the middle, and everything beyond should be an even gray.

![Zone plates by every strategy and GDAL's methods]({folder}/zone-plates.png)

In figures, by a wave whose frequency grows along a line: contrast that is left, as a share of the input's, of
frequencies up to half the highest that the result can hold / of those beyond the highest, which should be none:

{contrast}

Mean value where the input's is {mean}:

{means}

`gauss` and `warp` leave the least that is false, and take the most from what is true: `warp` at each factor alike,
`gauss` most at factor 2, where it is as wide as at factor 3. `average` keeps more of both. Ranks, like `median`, are
no filters: they turn much into false patterns."""

COMMANDS = """## Command lines

{commands}

`gdaladdo` writes `INPUT.tif.ovr`. The library's `warp` is `gdalwarp -r cubicspline` with `-multi -srcnodata -10000
-dstnodata -10000`. For bytes GDAL makes 0 of that value, and declares 0 no-data in the result."""
