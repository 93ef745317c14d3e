"""Pictures of the results, side by side."""

from figures import LEFT_OUT, STRATEGIES
from peers import run


class Sheet:
    """Pictures of results, and the file that they are laid out in."""

    def __init__(self, programs, folder, options):
        self._painter, self._layouter = programs
        self._folder = folder
        self._options = options
        self._entries = []

    def add(self, label, scene, method, factor):
        folder = self._folder / "results" / method / str(factor)
        overview = folder / f"{scene}.tif.ovr"
        result = overview if overview.exists() else folder / f"{scene}.tif"
        picture = self._folder / f"picture-{len(self._entries)}.png"
        run([self._painter, "picture", scene, str(result), str(picture)])
        self._entries.append(f"{label}={picture}")

    def write(self, path):
        run([self._layouter, str(path), *self._options, *self._entries])


def short(peer):
    """A method of GDAL's in few letters."""
    return peer.replace(" -r ", " ")


def zone_plates(sheet):
    for strategy in STRATEGIES:
        if strategy != LEFT_OUT:
            sheet.add(strategy, "zone-plate", strategy, 4)
    for peer in ("gdal_translate -r nearest", "gdaladdo -r average", "gdaladdo -r gauss", "gdalwarp -r cubicspline",
                 "gdalwarp -r med", "gdalwarp -r q3", "gdalwarp -r min", "gdalwarp -r max"):  # fmt: skip
        sheet.add(short(peer), "zone-plate", peer, 4)


def holes(sheet):
    for strategy in STRATEGIES:
        if strategy != "gaussalias":
            sheet.add(strategy, "holes", strategy, 4)
    for peer in ("gdaladdo -r average", "gdaladdo -r gauss", "gdalwarp -r med", "gdalwarp -r cubicspline"):
        sheet.add(short(peer), "holes", peer, 4)


def halos(sheet):
    for method in ("gauss", LEFT_OUT, "average", "median", "percentile75", "warp", "gdaladdo -r gauss",
                   "gdal_translate -r cubicspline"):  # fmt: skip
        sheet.add(f"{short(method)} on black", "on-black", method, 2)
        sheet.add(f"{short(method)} on white", "on-white", method, 2)


def write(painter, layouter, folder, out):
    """Sheets are `zone-plates.png`, `holes.png` and `halos.png` in the folder `out`."""
    out.mkdir(parents=True, exist_ok=True)
    programs = (painter, layouter)
    sheet_list = {
        "zone-plates": (zone_plates, ["--columns", "4", "--cell", "120"]),
        "holes": (holes, ["--columns", "4", "--cell", "160", "--crop", "80"]),
        "halos": (halos, ["--columns", "4", "--cell", "160", "--crop", "80"]),
    }
    for name, (fill, options) in sheet_list.items():
        sheet = Sheet(programs, folder, options)
        fill(sheet)
        sheet.write(out / f"{name}.png")
