"""Runs programs and tells what they cost."""

import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path


@dataclass(frozen=True)
class Usage:
    """What a run took. CPU is user and system time of the process and all that it started and waited for; peak memory
    is that of the largest single process."""

    wall: float
    cpu: float
    peak_mb: float


def fail(text):
    sys.exit(f"compare.py: {text}")


def run(command, environment, stdout=None):
    """Runs one command to its end."""
    with tempfile.TemporaryFile() as messages:
        start = time.monotonic()
        process = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL,
                                   stdout=stdout or subprocess.DEVNULL, stderr=messages)  # fmt: skip
        _, status, usage = os.wait4(process.pid, 0)
        wall = time.monotonic() - start
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            messages.seek(0)
            fail(f"exit code {process.returncode} of {' '.join(command)}\n{messages.read().decode(errors='replace')}")
    return Usage(wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024 / 1e6)


class Contestant:
    """A command whose output goes into a folder of its own, which is made anew before each run."""

    def __init__(self, name, command, folder, pattern, links=()):
        """`pattern` is that of the finished files below `folder`; `links` are files that are to be found there."""
        self.name = name
        self.command = command
        self.folder = folder
        self.pattern = pattern
        self._links = links

    def measure(self, environment):
        self.prepare()
        # Ours waits for the disk in the end, and would wait for what the others have left to be written.
        os.sync()
        return run(self.command, environment)

    def prepare(self):
        self.clear()
        self.folder.mkdir(parents=True)
        for file in self._links:
            (self.folder / file.name).symlink_to(file)

    def outputs(self):
        return sorted(self.folder.glob(self.pattern))

    def clear(self):
        shutil.rmtree(self.folder, ignore_errors=True)


class Floor:
    """What decoding the input once and encoding the output of `contestant` once costs."""

    name = "floor"

    def __init__(self, program, inputs, contestant):
        self._program = program
        self._inputs = inputs
        self._contestant = contestant

    def measure(self, environment):
        command = [str(self._program), *map(str, self._inputs), "--output", *map(str, self._contestant.outputs())]
        with tempfile.TemporaryFile() as output:
            usage = run(command, environment, stdout=output)
            output.seek(0)
            text = output.read().decode()
        wall = sum(map(float, re.findall(r"wall seconds: (\S+)", text)))
        cpu = sum(map(float, re.findall(r"CPU seconds: (\S+)", text)))
        return Usage(wall, cpu, usage.peak_mb)

    def clear(self):
        pass


def medians(usages):
    return Usage(
        statistics.median(u.wall for u in usages),
        statistics.median(u.cpu for u in usages),
        max(u.peak_mb for u in usages),
    )


def in_turn(contestants, runs, environment):
    """Runs each contestant once, then each again, and so on. Medians in the order of the contestants."""
    usages = [[] for _ in contestants]
    for _ in range(runs):
        for contestant, own in zip(contestants, usages):
            own.append(contestant.measure(environment))
    return [medians(own) for own in usages]


def warm(files):
    """Brings files into the page cache."""
    for file in files:
        with open(file, "rb") as stream:
            while stream.read(1 << 24):
                pass


def environment_with(cache):
    """That of all programs that are compared."""
    # Without a terminal or a locale of the user's in the way.
    environment = {k: v for k, v in os.environ.items() if not k.startswith(("GDAL_", "VIPS_", "OMP_", "LC_"))}
    environment.update(LC_ALL="C.UTF-8", GDAL_NUM_THREADS="ALL_CPUS", GDAL_CACHEMAX=cache)
    return environment


def absolute(path):
    return Path(path).resolve()
