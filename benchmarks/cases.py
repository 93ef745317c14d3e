"""What is compared with what: rasters, strategies, and the command lines of the library's program and its peers."""

import itertools
import math
import os
import re
from dataclasses import dataclass
from pathlib import Path

from measure import Contestant, Floor, environment_with, run, warm

PIXEL_SIZE = 0.1
KINDS = {"rgba": "RGBA", "elevation": "elevation"}
LAYOUTS = {
    "tiled": "one file in blocks of 512 × 512",
    "striped": "one file in strips",
    "grid": "a grid of tile files",
}
STRATEGIES = ("average", "median", "percentile75", "min", "max", "gauss", "warp")
IN_STRIPS = ("average", "median", "percentile75", "min", "max", "gauss")
WARP_METHODS = {"median": "med", "percentile75": "q3", "min": "min", "max": "max"}


@dataclass(frozen=True)
class Raster:
    """A raster on disk. `path` is what the library opens: one file, or what a grid's files are named from."""

    kind: str
    layout: str
    path: Path
    width: int
    height: int

    def files(self):
        if self.layout != "grid":
            return [self.path]
        return list(self.path.parent.glob(f"{self.path.stem}_*_*.tif"))


class Rasters:
    """Makes rasters below a folder as they are asked for, and keeps them."""

    def __init__(self, folder, programs):
        self._folder = folder
        self._program = programs / "benchmarks/vexel-bench-data"

    def get(self, kind, layout, width, height, tile=0, block=512):
        """`tile` is the edge of a grid's files, `block` that of the blocks in a tiled file."""
        name = f"{kind}-{layout}-{width}x{height}" + (f"-{tile}" if layout == "grid" else f"-{block}")
        path = self._folder / name / "raster.tif"
        raster = Raster(kind, layout, path, width, height)
        finished = path.parent / "finished"
        if not finished.exists():
            path.parent.mkdir(parents=True, exist_ok=True)
            command = [str(self._program), str(path), "--kind", kind, "--layout", layout]
            command += ["--size", str(width), str(height), "--block", str(block)]
            command += ["--tile", str(tile)] if layout == "grid" else []
            run(command, environment_with("5%"))
            finished.touch()
        warm(raster.files())
        return raster


def case_name(strategy, factor, kind, layout, width):
    return f"{strategy}-{factor}-{kind}-{layout}-{width}"


@dataclass(frozen=True)
class Case:
    strategy: str
    factor: int
    raster: Raster

    @property
    def name(self):
        return case_name(self.strategy, self.factor, self.raster.kind, self.raster.layout, self.raster.width)


def resolution(factor):
    return f"{PIXEL_SIZE * factor:.1f}"


def sigma(factor):
    """Width of the library's blur in input pixels."""
    return math.sqrt(3.37 * max(1, math.floor((factor + 0.5) / 2)))


def ours(case, programs, work):
    command = [
        str(programs / "examples/vexel-downsample"), str(case.raster.path), str(work / "ours/out.tif"),
        "--resolution", resolution(case.factor), "--strategy", case.strategy,
    ]  # fmt: skip
    if case.raster.kind == "rgba" and case.strategy != "warp":
        command.append("--alpha")
    if case.raster.layout == "grid":
        command.append("--tiles")
    return Contestant("vexel", command, work / "ours", "out*.tif")


def floor(case, programs, contestant):
    return Floor(programs / "benchmarks/vexel-bench-floor", case.raster.files(), contestant)


def creation_options(kind):
    options = ["-co", "COMPRESS=LZW", "-co", "BIGTIFF=IF_SAFER", "-co", "PREDICTOR=" + predictor(kind)]
    return options + (["-co", "PHOTOMETRIC=RGB", "-co", "ALPHA=YES"] if kind == "rgba" else [])


def predictor(kind):
    return "3" if kind == "elevation" else "2"


def gdaladdo(case, method, source, target):
    """The source is a link in the folder of the target: the overview comes to lie beside it."""
    del source
    configuration = {
        "COMPRESS_OVERVIEW": "LZW",
        "PREDICTOR_OVERVIEW": predictor(case.raster.kind),
        "INTERLEAVE_OVERVIEW": "PIXEL",
        "BIGTIFF_OVERVIEW": "IF_SAFER",
    }
    options = [word for name, value in configuration.items() for word in ("--config", name, value)]
    return ["gdaladdo", "-q", "-ro", "-r", method, *options, target, str(case.factor)]


def gdal_translate(case, method, source, target):
    size = [resolution(case.factor)] * 2
    return ["gdal_translate", "-q", "-r", method, "-tr", *size, *creation_options(case.raster.kind), source, target]


def gdalwarp(case, method, source, target):
    size = [resolution(case.factor)] * 2
    # With more memory than by default it is a little faster; beyond that nothing is gained.
    resources = ["-multi", "-wo", "NUM_THREADS=ALL_CPUS", "-wm", "500"]
    options = creation_options(case.raster.kind)
    return ["gdalwarp", "-q", "-overwrite", "-r", method, *resources, "-tr", *size, *options, source, target]


def gdalwarp_alike(case, method, source, target):
    """The arguments that the library gives to GDAL's warp: no compression, GDAL's own number of threads."""
    size = [resolution(case.factor)] * 2
    return ["gdalwarp", "-q", "-multi", "-overwrite", "-r", method, "-tr", *size, "-srcnodata", "-10000", "-dstnodata",
            "-10000", source, target]  # fmt: skip


def vips(case, method, source, target):
    """Blurs into an uncompressed file and takes the middle pixels of that."""
    del method
    kind = "float" if case.raster.kind == "elevation" else "horizontal"
    f = case.factor
    script = (
        f'vips gaussblur "$1" "$2.v" {sigma(f):.6f} && '
        f'vips subsample "$2.v" "$2[compression=lzw,predictor={kind}]" {f} {f} && rm "$2.v"'
    )
    return ["sh", "-c", script, "sh", source, target]


def methods(strategy):
    """Names of peers with how they are run."""
    if strategy == "average":
        return {"gdaladdo": (gdaladdo, "average"), "gdal_translate": (gdal_translate, "average")}
    if strategy == "gauss":
        return {"gdaladdo": (gdaladdo, "gauss"), "vips": (vips, "")}
    if strategy == "warp":
        return {"gdalwarp": (gdalwarp_alike, "cubicspline")}
    return {"gdalwarp": (gdalwarp, WARP_METHODS[strategy])}


def peers(case, work, only=None):
    """Programs that do the same work: on a grid, one process a file, as many at once as there are processors."""
    return [peer(case, name, *how, work) for name, how in methods(case.strategy).items() if only in (None, name)]


def peer(case, name, how, method, work):
    folder = work / name
    files = case.raster.files()
    links = files if how is gdaladdo else ()
    pattern = "*.ovr" if how is gdaladdo else "*.tif"
    if case.raster.layout != "grid":
        command = how(case, method, str(files[0]), str(folder / files[0].name))
    else:
        names = work / "names.txt"
        names.write_text("".join(file.name + "\n" for file in files))
        each = how(case, method, str(files[0].parent / "{}"), str(folder / "{}"))
        command = ["xargs", "-a", str(names), "-P", str(os.cpu_count()), "-I", "{}", *each]
    return Contestant(name, command, folder, pattern, links)


def factors_of(strategy, layout, quick):
    """Under `quick` one factor alone of strips and grids."""
    if quick and layout != "tiled":
        return (4,)
    return (2, 4, 8, 16, 32) if strategy == "median" and layout == "tiled" else (2, 4, 8)


def all_cases(rasters, sizes, quick, only):
    """Every size, kind of pixels, layout, strategy and factor."""
    wanted = re.compile(only)
    for size, kind, layout, strategy in itertools.product(sizes, KINDS, LAYOUTS, STRATEGIES):
        if strategy == "warp" and layout == "grid":
            continue
        for factor in factors_of(strategy, layout, quick):
            if wanted.search(case_name(strategy, factor, kind, layout, size)):
                yield Case(strategy, factor, rasters.get(kind, layout, size, size, tile=max(8, size // 5 // 8 * 8)))
