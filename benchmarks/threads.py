"""What more processors gain: vexel-downsample on one of them and on all."""

import os
import shutil
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from statistics import mean, median

import busy
import callingthread
import cases
from measure import Contestant, Usage, in_turn, run

FACTOR = 4


def processors():
    return sorted(os.sched_getaffinity(0))


def can_be_measured():
    return len(processors()) > 1 and shutil.which("taskset") is not None


def speedup_on(count, parallel_share):
    """Amdahl's law: the speed-up on so many processors if that share of the work is spread over all of them."""
    return 1.0 / (1.0 - parallel_share + parallel_share / count)


@dataclass
class Scaling:
    """One case on one processor and on all of them. `parts` is what the calling thread does alone, empty where perf is
    not there."""

    case: cases.Case
    processors: int
    one: Usage
    all: Usage
    shares: busy.BusyShares
    parts: dict

    @property
    def speedup(self):
        return self.one.wall / self.all.wall

    @property
    def parallel_share(self):
        """By Amdahl's law. Between 0 and 1, though measurements may lie beyond either."""
        share = (1.0 - 1.0 / self.speedup) / (1.0 - 1.0 / self.processors)
        return min(1.0, max(0.0, share))


def pinned(contestant, processor):
    """The same, but on one processor, which GDAL and OpenMP take into account when they start threads."""
    folder = contestant.folder.with_name(f"{contestant.folder.name}-{processor}")
    command = [word.replace(str(contestant.folder), str(folder)) for word in contestant.command]
    return Contestant(contestant.name, ["taskset", "-c", str(processor), *command], folder, contestant.pattern)


def scale(case, own, environment, runs):
    one = pinned(own, processors()[0])
    usages = in_turn([one, own], runs, environment)
    own.prepare()
    shares = busy.busy_shares(own.command, environment, runs)
    parts = callingthread.parts_alone(own.command, environment) if callingthread.can_be_measured() else {}
    one.clear()
    own.clear()
    return Scaling(case, len(processors()), *usages, shares, parts)


def cpu_seconds(contestants, environment):
    """Mean CPU time of runs that start at once."""
    for contestant in contestants:
        contestant.prepare()
    with ThreadPoolExecutor(len(contestants)) as pool:
        return mean(usage.cpu for usage in pool.map(lambda c: run(c.command, environment), contestants))


def limit_of_machine(own, environment, runs):
    """How many times as much the processors do as one of them, by independent runs, one pinned to each.

    Processors share caches and memory, so that each run takes more of its own processor's time than a run alone does.
    No program can gain more than that."""
    each = [pinned(own, processor) for processor in processors()]
    turns = [(cpu_seconds(each[:1], environment), cpu_seconds(each, environment)) for _ in range(runs)]
    for contestant in each:
        contestant.clear()
    alone, all_at_once = (median(seconds) for seconds in zip(*turns))
    return min(len(each) * alone / all_at_once, len(each))
