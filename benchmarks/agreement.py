"""Whether two programs did the same work, by GDAL's own account of what they wrote."""

import json
import math
import os
import subprocess
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass

# Reading each of very many files would take longer than writing them: of those, the first ones speak for the others.
MOST_FILES = 100

# In gray levels or metres. Ranks that are rounded in different ways are one value of a block apart, which is most in
# blocks of four.
TOLERANCE = 2.0
RANK_TOLERANCE = 6.0


@dataclass(frozen=True)
class Facts:
    files: int
    pixels: int
    mean: float


def information(file, environment):
    """What gdalinfo tells about a file; an empty table if it cannot be read, which then has no pixels."""
    # Statistics are not to be left beside the file.
    command = ["gdalinfo", "-json", "-stats", "--config", "GDAL_PAM_ENABLED", "NO", str(file)]
    result = subprocess.run(command, env=environment, capture_output=True, check=False)
    try:
        return json.loads(result.stdout)
    except json.JSONDecodeError:
        return {}


def facts(files, environment):
    """Number of files, and of the first of them all pixels and the mean of those of the first band that are valid."""
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        tables = list(pool.map(lambda file: information(file, environment), files[:MOST_FILES]))
    pixels = valid = total = 0
    for table in tables:
        count = math.prod(table.get("size", [0]))
        pixels += count
        statistics = table["bands"][0].get("metadata", {}).get("", {}) if count else {}
        if "STATISTICS_MEAN" in statistics:
            weight = count * float(statistics.get("STATISTICS_VALID_PERCENT", 100)) / 100
            valid += weight
            total += weight * float(statistics["STATISTICS_MEAN"])
    return Facts(len(files), pixels, total / valid if valid else 0.0)


@dataclass(frozen=True)
class Agreement:
    """`difference` is that of the means, if they can be compared; `complaint` is empty if the outputs agree."""

    kind: str
    difference: float | None
    complaint: str


def compare(case, ours, theirs, peer):
    """Sizes have to agree, and means where both programs know no-data."""
    kind = case.raster.kind
    # A set of the library's has other tiles than the peer's, but as many pixels.
    if ours.pixels != theirs.pixels:
        return Agreement(kind, None, f"{case.name}: {ours.pixels} pixels, {theirs.pixels} of {peer}")
    # libvips knows no no-data, and the library's Gaussian blurs it into what lies beside it.
    if case.strategy == "gauss" and kind == "elevation":
        return Agreement(kind, None, "")
    tolerance = RANK_TOLERANCE if case.strategy in ("median", "percentile75") else TOLERANCE
    difference = abs(ours.mean - theirs.mean)
    alike = difference <= tolerance
    complaint = "" if alike else f"{case.name}: mean {ours.mean:.3f}, {theirs.mean:.3f} of {peer}"
    return Agreement(kind, difference, complaint)
