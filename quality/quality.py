#!/usr/bin/env python3
"""Measures what the strategies make of test rasters, and what GDAL's utilities make of them, and writes the page.

The same input gives the same bytes: nothing here depends on time or machine, but on the version of GDAL it does.
scripts/quality builds and calls this.
"""

import argparse
import re
import tempfile
from pathlib import Path

import page
import peers
import sheets
from figures import Figures

FACTORS = (2, 3, 4, 8)


def parse():
    parser = argparse.ArgumentParser(prog="scripts/quality", description=__doc__)
    parser.add_argument("--out", default="docs/quality.md", help="the page; its pictures go into a folder beside it")
    parser.add_argument("--bin", default="build/release", help="build folder of the programs")
    parser.add_argument("--program", help="vexel-quality [that of the build folder]")
    return parser.parse_args()


def gdal_version():
    return re.search(r"\d+\.\d+\.\d+", peers.run(["gdalinfo", "--version"])).group()


def main():
    options = parse()
    out = Path(options.out)
    program = options.program or f"{options.bin}/quality/vexel-quality"
    with tempfile.TemporaryDirectory(prefix="vexel-quality-") as work:
        folder = Path(work).resolve()
        peers.run([program, "rasters", str(folder)])
        peers.run([program, "downsample", str(folder)])
        peers.downsample_all(folder / "scenes", folder / "results", FACTORS)
        figures = Figures(peers.run([program, "measure", str(folder)]))
        page.write(figures, FACTORS, gdal_version(), out)
        sheets.write(program, f"{options.bin}/examples/vexel-contactsheet", folder, out.with_suffix(""))
    print(f"Written: {out}")


if __name__ == "__main__":
    main()
