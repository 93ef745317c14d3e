#!/usr/bin/env python3
"""Compares whole runs of vexel-downsample with the strongest programs that do the same work, and writes the report.

Ours and theirs run in turn, under the same settings, on the same made-up rasters. scripts/bench builds and calls this.
"""

import argparse
import re
import tempfile
from dataclasses import dataclass, field
from pathlib import Path

import cases
import report
from agreement import Agreement, facts
from measure import Usage, absolute, environment_with, in_turn, medians

CACHE = "5%"
SMALL_CACHE = "64"


@dataclass
class Comparison:
    """One case: ours, the floor if there is one, and the peers by their names."""

    case: cases.Case
    ours: Usage
    floor: Usage | None
    peers: dict

    def against(self):
        """Names of the peers that count: both of the Gaussian's, the faster one otherwise."""
        if self.case.strategy == "gauss":
            return list(self.peers)
        return [min(self.peers, key=lambda name: self.peers[name].wall)]

    def ratio(self, peer):
        return self.peers[peer].wall / self.ours.wall


@dataclass
class FileCount:
    """Ours and the strongest peer on a set of that many files."""

    count: int
    ours: Usage
    peer_name: str
    peer: Usage


@dataclass
class CacheSize:
    cache: str
    ours: Usage


@dataclass
class Memory:
    what: str
    ours: Usage
    limit_mb: float


@dataclass
class Results:
    options: argparse.Namespace
    agreement: Agreement = field(default_factory=Agreement)
    comparisons: list = field(default_factory=list)
    file_counts: list = field(default_factory=list)
    cache_sizes: list = field(default_factory=list)
    memory: list = field(default_factory=list)


class Benchmark:
    def __init__(self, options, rasters, work):
        self.options = options
        self.programs = absolute(options.bin)
        self.rasters = rasters
        self.work = work
        self.results = Results(options)

    def wants(self, name):
        return re.search(self.options.only, name) is not None

    def compare(self, case):
        own = cases.ours(case, self.programs, self.work)
        peers = cases.peers(case, self.work)
        # What warp writes is not compressed, by either: the floor is not its.
        floors = [] if case.strategy == "warp" else [cases.floor(case, self.programs, own)]
        environment = environment_with(CACHE)
        usages = in_turn([own, *peers, *floors], self.options.runs, environment)
        theirs = {peer.name: usage for peer, usage in zip(peers, usages[1:])}
        comparison = Comparison(case, usages[0], usages[-1] if floors else None, theirs)
        self.check(case, own, peers, environment)
        for contestant in [own, *peers]:
            contestant.clear()
        self.results.comparisons.append(comparison)
        for name in comparison.against():
            print(f"{case.name:32} {usages[0].wall:7.2f} s  {name:14} {theirs[name].wall:7.2f} s  "
                  f"{comparison.ratio(name):5.2f}×  (wanted {cases.bar(case, name)}×)", flush=True)  # fmt: skip

    def check(self, case, own, peers, environment):
        ours = facts(own.outputs(), environment)
        for peer in peers:
            self.results.agreement.compare(case, ours, facts(peer.outputs(), environment), peer.name)

    def count_files(self):
        """Sets of ever more small files. The peer that is faster on the smallest set stands for both on the others."""
        fastest = None
        for columns, rows in ((10, 10), (40, 25), (100, 100)):
            count = columns * rows
            case = cases.Case("average", 4, self.rasters.get("rgba", "grid", columns * 64, rows * 64, 64))
            if count == 10000:
                self.measure_memory("average, factor 4, 10,000 files of 64 × 64 RGBA", case, 250)
                if self.options.quick:
                    return
            own = cases.ours(case, self.programs, self.work)
            peers = cases.peers(case, self.work, only=fastest)
            usages = in_turn([own, *peers], self.options.runs, environment_with(SMALL_CACHE))
            for contestant in [own, *peers]:
                contestant.clear()
            theirs, fastest = min(zip(usages[1:], (peer.name for peer in peers)), key=lambda pair: pair[0].wall)
            self.results.file_counts.append(FileCount(count, usages[0], fastest, theirs))
            print(f"{count} files: {usages[0].wall:.2f} s, {fastest} {theirs.wall:.2f} s", flush=True)

    def vary_cache(self):
        size = self.options.size
        case = cases.Case("average", 4, self.rasters.get("rgba", "tiled", size, size))
        own = cases.ours(case, self.programs, self.work)
        caches = ("16", "64", "5%")
        turns = [in_turn([own], 1, environment_with(cache)) for _ in range(self.options.runs) for cache in caches]
        for i, cache in enumerate(caches):
            usages = [turn[0] for turn in turns[i :: len(caches)]]
            self.results.cache_sizes.append(CacheSize(cache, medians(usages)))
        own.clear()

    def measure_memory(self, what, case, limit_mb):
        own = cases.ours(case, self.programs, self.work)
        usage = in_turn([own], 1, environment_with(SMALL_CACHE))[0]
        own.clear()
        self.results.memory.append(Memory(what, usage, limit_mb))
        print(f"{what}: {usage.peak_mb:.0f} MB, {usage.wall:.1f} s", flush=True)

    def measure_huge(self):
        wide = self.rasters.get("rgba", "tiled", 60000, 4000)
        for strategy in cases.BLOCK_STRATEGIES:
            self.measure_memory(f"{strategy}, factor 4, 60,000 × 4,000 RGBA", cases.Case(strategy, 4, wide), 250)
        sparse = self.rasters.get("sparse", "tiled", 100000, 100000)
        for strategy, limit_mb in (("average", 400), ("gauss", 1500)):
            what = f"{strategy}, factor 8, 100,000 × 100,000 sparse bytes"
            self.measure_memory(what, cases.Case(strategy, 8, sparse), limit_mb)

    def run(self):
        options = self.options
        for case in cases.all_cases(self.rasters, options.size, options.quick, options.only):
            self.compare(case)
        if self.wants("sets"):
            self.count_files()
        if self.wants("cache"):
            self.vary_cache()
        if self.wants("memory") and (options.memory or not options.quick):
            self.measure_huge()
        return self.results


def parse():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__)
    parser.add_argument("--size", type=int, help="edge of the rasters in pixels [10000, with --quick 4000]")
    parser.add_argument("--quick", action="store_true", help="smaller rasters, and a third of the cases: ten minutes")
    parser.add_argument("--only", default="", metavar="REGEX",
                        help="cases like median-4-rgba-tiled (or sets, cache, memory) that match")  # fmt: skip
    parser.add_argument("--runs", type=int, default=3, help="runs of each program; medians count [3]")
    parser.add_argument("--memory", action="store_true", help="peak memory on huge rasters with --quick too")
    parser.add_argument("--out", default="docs/performance.md", help="the report; its chart goes beside it")
    parser.add_argument("--keep", metavar="DIR", help="where to make the rasters, and to find them the next time")
    parser.add_argument("--bin", default="build/release", help="build folder of the programs")
    options = parser.parse_args()
    options.size = options.size or (4000 if options.quick else 10000)
    return options


def main():
    options = parse()
    if options.keep:
        Path(options.keep).mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="vexel-bench-", dir=options.keep) as work:
        data = Path(options.keep or work)
        results = Benchmark(options, cases.Rasters(absolute(data), absolute(options.bin)), absolute(work)).run()
    report.write(results, Path(options.out))
    for complaint in results.agreement.complaints:
        print(f"not the same work: {complaint}")


if __name__ == "__main__":
    main()
