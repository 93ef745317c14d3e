"""What the calling thread of vexel-downsample does while no other thread runs, by perf where that is installed."""

import re
import shutil
import subprocess
import tempfile
from collections import Counter, defaultdict
from pathlib import Path

from measure import run

SAMPLES_PER_SECOND = 1999

# What the code of a library or the kernel does, by the beginnings of their names; the last one is for all others.
PARTS = {
    "libtiff": ("libtiff", "libz.", "libzstd", "libdeflate"),
    "GDAL": ("libgdal",),
    "vexel": ("libvexel", "vexel-"),
    "C library": ("libc.", "libc-"),
    "kernel": ("[kernel", "[unknown"),
    "others": ("",),
}

# As in "1234/1235 41104.782204: ffffffff816c1b64 ([kernel.kallsyms])".
LINE = re.compile(r"\s*(\d+)/(\d+)\s+(\d+\.\d+):\s+[0-9a-f]+ \((.*)\)")


def can_be_measured():
    """perf may be installed, and the system forbid it."""
    if not shutil.which("perf"):
        return False
    with tempfile.TemporaryDirectory() as folder:
        command = ["perf", "record", "-q", "-e", "cpu-clock", "-o", f"{folder}/samples", "true"]
        return subprocess.run(command, capture_output=True, check=False).returncode == 0


def part_of(library):
    name = Path(library).name
    return next(part for part, beginnings in PARTS.items() if name.startswith(beginnings))


def slices(lines):
    """(whether the thread is the calling one, part) of all samples, by the milliseconds that they fall into."""
    result = defaultdict(list)
    for process, thread, time, library in (match.groups() for match in map(LINE.match, lines) if match):
        result[int(1000 * float(time))].append((process == thread, part_of(library)))
    return result


def parts_alone(command, environment):
    """Shares of the time on the clock, by part."""
    environment = {**environment, "OMP_WAIT_POLICY": "passive"}
    with tempfile.TemporaryDirectory() as folder:
        samples = f"{folder}/samples"
        record = ["perf", "record", "-q", "-e", "cpu-clock", "-F", str(SAMPLES_PER_SECOND), "-o", samples, "--"]
        run([*record, *command], environment)
        script = ["perf", "script", "-i", samples, "-F", "pid,tid,time,ip,dso"]
        text = subprocess.run(script, capture_output=True, text=True, check=True).stdout
    by_time = slices(text.splitlines())
    counts = Counter()
    for threads in by_time.values():
        if all(is_calling for is_calling, _ in threads):
            counts.update(part for _, part in threads)
    # Without the time that perf itself takes before and after.
    span = (max(by_time) - min(by_time) + 1) / 1000
    return {part: counts[part] / SAMPLES_PER_SECOND / span for part in PARTS}
