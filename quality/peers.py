"""GDAL's own utilities on the test rasters: their command lines, and how they are run."""

import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

METHODS = {
    "gdal_translate": ("nearest", "average", "cubicspline"),
    "gdaladdo": ("average", "gauss", "cubicspline"),
    "gdalwarp": ("average", "med", "q3", "min", "max", "cubicspline"),
}


def run(command):
    done = subprocess.run(command, capture_output=True, text=True, check=False, stdin=subprocess.DEVNULL)
    if done.returncode != 0:
        sys.exit(f"quality.py: exit code {done.returncode} of {' '.join(map(str, command))}\n{done.stderr}")
    return done.stdout


@dataclass(frozen=True)
class Peer:
    program: str
    method: str

    @property
    def name(self):
        return f"{self.program} -r {self.method}"

    def command(self, factor, source, target):
        """Command line for a factor. What gdaladdo makes comes to lie beside its source."""
        start = [self.program, "-q", "-r", self.method]
        if self.program == "gdaladdo":
            return [*start, "-ro", source, str(factor)]
        overwrite = ["-overwrite"] if self.program == "gdalwarp" else []
        return [*start, *overwrite, "-tr", str(factor), str(factor), source, target]


def all_peers():
    return [Peer(program, method) for program, methods in METHODS.items() for method in methods]


def build_mosaics(scenes):
    """Virtual mosaics of the sets of tile files, which is how GDAL takes them."""
    for first in sorted(scenes.glob("*_1_1.tif")):
        name = first.name.removesuffix("_1_1.tif")
        run(["gdalbuildvrt", "-q", str(scenes / f"{name}.vrt"), *map(str, sorted(scenes.glob(f"{name}_*.tif")))])


def sources(scenes):
    """Single files and mosaics, but no tile files."""
    files = [*scenes.glob("*.tif"), *scenes.glob("*.vrt")]
    return sorted(file for file in files if not re.search(r"_\d+_\d+\.tif$", file.name))


def downsample(peer, factor, source, folder):
    target = folder / f"{source.stem}.tif"
    if peer.program == "gdaladdo":
        source_link = folder / source.name
        source_link.symlink_to(source)
        source = source_link
    run(peer.command(factor, str(source), str(target)))


def downsample_all(scenes, results, factors):
    """Results go to RESULTS/PEER/FACTOR/SCENE, several at a time."""
    build_mosaics(scenes)
    jobs = []
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        for peer in all_peers():
            for factor in factors:
                folder = Path(results) / peer.name / str(factor)
                folder.mkdir(parents=True)
                jobs += [pool.submit(downsample, peer, factor, source, folder) for source in sources(scenes)]
        for job in jobs:
            job.result()
