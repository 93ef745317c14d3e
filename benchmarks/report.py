"""Writes what was measured: docs/performance.md and the chart beside it."""

import datetime
import os
import re
import shutil
import subprocess
from pathlib import Path

import cases
import chart

CPU_OVER_FLOOR = 1.3
WALL_OVER_FLOOR = 1.15

LAYOUTS = {
    "tiled": "one file in blocks of 512 × 512",
    "striped": "one file in strips",
    "grid": "a grid of tile files",
}
KINDS = {"rgba": "RGBA", "elevation": "Elevation"}

HEAD = """# Performance

Written by `scripts/bench{arguments}`, which makes the rasters, runs all programs, and replaces this file and its chart.
{goals}

![Ratios by strategy, factor and data on tiled files]({chart})

Bars are ratios: the peer's time divided by ours, on the clock and for the whole process. 1 is as fast as the peer,
2 is twice as fast. The mark on a bar is the ratio that is wanted, and a bar that does not reach it has another colour.

## How it was measured

| | |
|---|---|
{machine}

Every time is the median of {runs} runs, of the program and its peers in turn. The input lies in the page cache. All
programs run with `GDAL_NUM_THREADS=ALL_CPUS` and, where nothing else is said, `GDAL_CACHEMAX=5%`, which is GDAL's own
default, and write GeoTIFF with LZW and a predictor (2 for bytes, 3 for floats), RGBA as RGB with alpha. CPU is user and
system time of the process and all that it starts; peak memory is the largest of any run and process, in 10⁶ bytes.

*Floor* is what no program can do without: decoding every block of the input once, and encoding the finished output
once, both by GDAL with the same threads. It counts from the first block on, ours from the start of the process.

The rasters are made up: RGBA is a picture with fields, edges, grain and a transparent border, which LZW packs to about
six tenths; elevation has one band of floats with a twentieth missing, declared as no-data -10000. Pixels are 0.1 m.

{agreement}

## What the peers do

| Strategy | Peer | Difference |
|---|---|---|
| `average` | the faster of `gdaladdo -r average` (to a file of its own) and `gdal_translate -r average` | none but rounding |
| `median` | `gdalwarp -r med` | of two middle values it takes the lower, we the upper |
| `percentile75` | `gdalwarp -r q3` | takes the next lower rank than we where the quarter is a whole number |
| `min`, `max` | `gdalwarp -r min`, `gdalwarp -r max` | `min` of a block whose first pixel is a hole is a hole for us |
| `gauss` | `gdaladdo -r gauss` | a kernel of 3 to 7 pixels, far smaller than ours, which leaves out holes |
| `gauss` | `vips gaussblur` of the same sigma, then `vips subsample` | a kernel cut at a fifth of its height, holes are values like others; the blurred raster is stored once, uncompressed |
| `warp` | `gdalwarp -r cubicspline` with the library's arguments | none: neither output is compressed |

`gdalwarp` runs with `-multi -wo NUM_THREADS=ALL_CPUS -wm 500`. Over a grid of tile files, a peer is one process for each
file, as many at a time as there are processors, by `xargs -P`. That beats one process over a virtual mosaic; we run
one process over the whole set and write one set. `gaussalias` is `gauss`, and `warp` works on single files.
"""


OBSTACLES = """
### What stands in the way

- Decoding and encoding are most of the time, and the same for all. Where the peer takes little more than the floor, as
  on elevation, nobody can be much faster than it.
- Peers encode while they decode. Ours completes the output when the last strip is written, from an uncompressed working
  file, so that it is whole or absent whenever the process ends. At factor 2 writing and reading that file is a twentieth
  of the time; then comes the wait for the disk, which the peers leave to the system.
- The finished file has strips of one row, GDAL's default. GDAL hands them to its threads one by one, which keeps two
  processors busy for about three quarters of the time.
- The program starts later than GDAL's own and looks at its output in the end: some hundredths of a second, which weigh
  on small rasters.
- The Gaussian needs all rows of a tile before the first result is there, and room for it: the system clears these
  pages, which costs up to a fifth of the time at factor 2.
"""


def cell(seconds):
    return f"{seconds:.3g}" if seconds < 100 else f"{seconds:.0f}"


def times(usage):
    return f"{cell(usage.wall)} / {cell(usage.cpu)}"


def verdict(value, wanted, more):
    """Met or not, and by how much. `more` is whether more is better."""
    margin = (value / wanted - 1.0) * 100.0
    met = value >= wanted if more else value <= wanted
    sign = "above" if margin >= 0 else "below"
    return met, f"{'met' if met else '**not met**'}, {abs(margin):.0f} % {sign}"


def wall_verdict(comparison, peer):
    case = comparison.case
    wanted = cases.bar(case, peer)
    met, text = verdict(comparison.ratio(peer), wanted, more=True)
    if not met and case.strategy == "average" and case.factor == 2:
        over = comparison.ours.wall / comparison.floor.wall
        if over <= WALL_OVER_FLOOR:
            return True, f"{wanted}×: met, {over:.2f} of the floor"
    return met, f"{wanted}×: {text}"


def cpu_verdict(comparison):
    if comparison.case.strategy not in cases.BLOCK_STRATEGIES:
        return True, ""
    over = comparison.ours.cpu / comparison.floor.cpu
    met, text = verdict(over, CPU_OVER_FLOOR, more=False)
    return met, text


def over_floor(comparison):
    if not comparison.floor:
        return ["–", "–"]
    return [
        f"{comparison.ours.wall / comparison.floor.wall:.2f}",
        f"{comparison.ours.cpu / comparison.floor.cpu:.2f}",
    ]


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def comparison_rows(comparisons):
    for comparison in comparisons:
        for peer in comparison.against():
            yield [
                f"`{comparison.case.strategy}`",
                str(comparison.case.factor),
                times(comparison.ours),
                f"`{peer}`",
                times(comparison.peers[peer]),
                f"{comparison.ratio(peer):.2f}×",
                wall_verdict(comparison, peer)[1],
                *over_floor(comparison),
                cpu_verdict(comparison)[1],
                f"{comparison.ours.peak_mb:.0f}",
            ]


def comparison_sections(comparisons):
    header = ["Strategy", "Factor", "Ours, wall / CPU s", "Peer", "Its wall / CPU s", "Ratio", "Wanted",
              "Wall / floor", "CPU / floor", f"At most {CPU_OVER_FLOOR}", "Peak MB"]  # fmt: skip
    for kind, kind_text in KINDS.items():
        for layout, layout_text in LAYOUTS.items():
            own = [c for c in comparisons if (c.case.raster.kind, c.case.raster.layout) == (kind, layout)]
            if own:
                raster = own[0].case.raster
                yield f"## {kind_text}, {raster.width} × {raster.height}, {layout_text}"
                yield table(header, comparison_rows(own))


def file_count_section(counts):
    yield "## Many small files"
    yield ("`average` at factor 4 of sets of tile files, 64 × 64 RGBA each, with `GDAL_CACHEMAX=64`. "
           "The peer is one process a file, by `xargs -P`.")  # fmt: skip
    rows = []
    for c in counts:
        peer = [f"`{c.peer_name}`", times(c.peer), f"{c.peer.wall / c.ours.wall:.1f}×"]
        rows.append([f"{c.count:,}", times(c.ours), f"{c.ours.peak_mb:.0f}", *peer])
    yield table(["Files", "Ours, wall / CPU s", "Peak MB", "Peer", "Its wall / CPU s", "Ratio"], rows)


def memory_section(memory):
    yield "## Peak memory"
    yield "With `GDAL_CACHEMAX=64`."
    rows = []
    for m in memory:
        _, text = verdict(m.ours.peak_mb, m.limit_mb, more=False)
        rows.append([m.what, f"{m.ours.wall:.1f}", f"{m.ours.peak_mb:.0f}", f"{m.limit_mb:.0f}", text])
    yield table(["What", "Seconds", "Peak MB", "At most", ""], rows)


def cache_section(sizes):
    yield "## Small caches"
    yield "`average` at factor 4 of the tiled RGBA file, with GDAL's block cache at several sizes."
    usual = sizes[-1].ours
    header = ["`GDAL_CACHEMAX`", "Ours, wall / CPU s", f"Wall, multiple of that at {sizes[-1].cache}", "Peak MB"]
    rows = [[f"`{s.cache}`", times(s.ours), f"{s.ours.wall / usual.wall:.2f}", f"{s.ours.peak_mb:.0f}"] for s in sizes]
    yield table(header, rows)


def version(command):
    if not shutil.which(command[0]):
        return "not installed"
    text = subprocess.run(command, capture_output=True, text=True, check=False).stdout
    found = re.search(r"\d+\.\d+\.\d+", text)
    return found.group() if found else "unknown"


def machine_rows(options):
    cpu = re.search(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text())
    memory = re.search(r"MemTotal:\s*(\d+)", Path("/proc/meminfo").read_text())
    distribution = re.search(r'PRETTY_NAME="(.*)"', Path("/etc/os-release").read_text())
    said = [f"--size {options.size}"] + ["--quick"] * options.quick + ["--memory"] * options.memory
    if options.only:
        within_a_table = options.only.replace("|", "\\|")
        said.append(f"--only '{within_a_table}'")
    return [
        ["Date", datetime.date.today().isoformat()],
        ["Processor", f"{cpu.group(1) if cpu else os.uname().machine}, {os.cpu_count()} processors"],
        ["Memory", f"{int(memory.group(1)) / 2**20:.0f} GiB" if memory else "unknown"],
        ["System", distribution.group(1) if distribution else os.uname().sysname],
        ["GDAL", version(["gdalinfo", "--version"])],
        ["libvips", version(["vips", "--version"])],
        ["Options", f"`{' '.join([*said, '--runs', str(options.runs)])}`"],
    ]


def agreement_text(agreement):
    if not agreement.compared:
        return ""
    alike = agreement.compared - len(agreement.complaints)
    text = (f"{alike} of {agreement.compared} pairs of outputs are of the same size and agree in their mean. The means "
            f"of the first band differ by at most {agreement.largest['rgba']:.2f} gray levels "
            f"and {agreement.largest['elevation']:.2f} m; those of the Gaussian on elevation are not compared, "
            "since it takes holes as values.")  # fmt: skip
    lines = [text, *(["\nNot alike:\n"] if agreement.complaints else [])]
    return "\n".join(lines + [f"- {complaint}" for complaint in agreement.complaints])


def verdicts(results):
    """Everything that is wanted: whether it is met, and what it is."""
    for comparison in results.comparisons:
        name = comparison.case.name
        for peer in comparison.against():
            met, text = wall_verdict(comparison, peer)
            limit = "; that would be less than the floor" if not met and below_floor(comparison, peer) else ""
            yield met, f"`{name}` against `{peer}`: {comparison.ratio(peer):.2f}×, wanted {text}{limit}"
        if comparison.case.strategy in cases.BLOCK_STRATEGIES:
            met, text = cpu_verdict(comparison)
            over = comparison.ours.cpu / comparison.floor.cpu
            yield met, f"`{name}`, CPU: {over:.2f} of the floor, at most {CPU_OVER_FLOOR}: {text}"
    for m in results.memory:
        met, text = verdict(m.ours.peak_mb, m.limit_mb, more=False)
        yield met, f"{m.what}: {m.ours.peak_mb:.0f} MB, at most {m.limit_mb:.0f}: {text}"


def below_floor(comparison, peer):
    """Whether the goal asks for less time than decoding and encoding take by themselves."""
    wanted = comparison.peers[peer].wall / cases.bar(comparison.case, peer)
    return comparison.floor is not None and wanted < comparison.floor.wall


def missed_section(all_verdicts):
    missed = [text for met, text in all_verdicts if not met]
    if missed:
        yield "## What is not met"
        yield "\n".join(f"- {text}" for text in missed)
        yield OBSTACLES.strip()


def chart_bars(comparisons):
    order = {strategy: i for i, strategy in enumerate(cases.STRATEGIES)}
    shown = [c for c in comparisons if c.case.raster.layout == "tiled"] or comparisons
    for c in sorted(shown, key=lambda c: order[c.case.strategy]):
        for peer in c.against():
            beside = f", {peer}" if c.case.strategy == "gauss" else ""
            label = f"{c.case.strategy}, {KINDS[c.case.raster.kind]}, factor {c.case.factor}{beside}"
            yield chart.Bar(label, c.ratio(peer), cases.bar(c.case, peer), wall_verdict(c, peer)[0])


def write(results, path):
    options = results.options
    all_verdicts = list(verdicts(results))
    met = sum(met for met, _ in all_verdicts)
    drawing = path.with_suffix(".svg")
    head = HEAD.format(
        arguments=" --quick" if options.quick else "",
        goals=f"{met} of the {len(all_verdicts)} goals below are met." if all_verdicts else "",
        chart=drawing.name,
        machine="\n".join(f"| {name} | {value} |" for name, value in machine_rows(options)),
        runs=options.runs,
        agreement=agreement_text(results.agreement),
    )
    sections = [head.strip(), *missed_section(all_verdicts), *comparison_sections(results.comparisons)]
    if results.file_counts:
        sections += file_count_section(results.file_counts)
    if results.memory:
        sections += memory_section(results.memory)
    if results.cache_sizes:
        sections += cache_section(results.cache_sizes)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text("\n\n".join(sections) + "\n", encoding="utf-8")
    bars = list(chart_bars(results.comparisons))
    drawing.write_text(chart.draw("Times as fast as the strongest peer", bars), encoding="utf-8")
    print(f"{met} of {len(all_verdicts)} goals are met: {path}")
