"""How long others wait: another thread for the lock around GDAL while a raster is completed, and a user for a program that
was asked to stop."""

import os
import re
import signal
import subprocess
import tempfile
import time
from dataclasses import dataclass

import cases
import goals
import texts
from cells import table
from measure import fail

# Shares of a run's time at which it is interrupted.
MOMENTS = (0.1, 0.3, 0.5, 0.7, 0.9, 0.97)


@dataclass
class Waiting:
    """For a raster of `size` × `size` pixels: the longest times, in seconds."""

    size: int
    finish: float
    lock: float
    stop: float
    interrupt: float


def finish_times(program, folder, size, environment):
    """Finishing alone, the longest wait for the lock meanwhile, and the longest stop."""
    done = subprocess.run([str(program), str(folder), "--size", str(size)], env=environment, capture_output=True,
                          text=True, check=False)  # fmt: skip
    if done.returncode != 0:
        fail(done.stderr)
    return [float(re.search(rf"^{name} seconds: (\S+)$", done.stdout, re.MULTILINE).group(1))
            for name in ("finish", "longest wait", "longest stop")]  # fmt: skip


def interrupted(own, environment, after):
    """From the signal to the end of the program; none if it was done before."""
    own.prepare()
    with tempfile.TemporaryFile() as messages:
        process = subprocess.Popen(own.command, env=environment, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL, stderr=messages)  # fmt: skip
        time.sleep(after)
        start = time.monotonic()
        process.send_signal(signal.SIGINT)
        process.wait()
        elapsed = time.monotonic() - start
    if process.returncode == 0:
        return None
    left = os.listdir(own.folder)
    if process.returncode != 130 or left:
        fail(f"exit code {process.returncode} after SIGINT, and there is {left}")
    return elapsed


def longest_interrupt(own, environment):
    whole = own.measure(environment).wall
    times = [interrupted(own, environment, share * whole) for share in MOMENTS]
    return max(time for time in times if time is not None)


def measure(size, rasters, programs, work, environment):
    """The program is interrupted while it makes a copy of half the size, which has the most to complete."""
    folder = work / "finish"
    folder.mkdir()
    times = finish_times(programs / "benchmarks/vexel-bench-finish", folder, size, environment)
    case = cases.Case("average", 2, rasters.get("rgba", "tiled", size, size))
    own = cases.ours(case, programs, work)
    longest = longest_interrupt(own, environment)
    own.clear()
    folder.rmdir()
    return Waiting(size, *times, longest)


def sections(results):
    yield "## Waiting"
    yield texts.WAITING.format(lock=goals.LONGEST_WAIT, stop=goals.LONGEST_STOP)
    header = ["Pixels", "Finishing", "Longest wait for the lock", "Longest stop of finishing", "Longest from Ctrl-C"]
    rows = [
        [f"{w.size:,} × {w.size:,}", f"{w.finish:.2f} s", f"{1000 * w.lock:.0f} ms",
         *(f"{1000 * t:.0f} ms" for t in (w.stop, w.interrupt))]
        for w in results.waiting.values()
    ]  # fmt: skip
    yield table(header, rows)
