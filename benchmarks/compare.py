#!/usr/bin/env python3
"""Compares whole runs of vexel-downsample with the strongest programs that do the same work, and writes the report.

Ours and theirs run in turn, under the same settings, on the same made-up rasters. scripts/bench builds and calls this.
"""

import argparse
import datetime
import itertools
import re
import signal
import sys
import tempfile
from pathlib import Path

import cases
import goals
import report
import threads
import waiting
from agreement import compare as agree
from agreement import facts
from measure import absolute, environment_with, in_turn, medians
from results import CacheSize, Comparison, FileCount, Memory, Results, Run, load

# Small, since hardly any block is asked for twice.
CACHE = "64"


class Benchmark:
    """Measures what the options ask for, and puts it into `results`."""

    def __init__(self, options, rasters, work, results):
        self.options = options
        self.programs = absolute(options.bin)
        self.rasters = rasters
        self.work = work
        self.results = results
        self.environment = environment_with(CACHE)

    def wants(self, name):
        return re.search(self.options.only, name) is not None

    def compare(self, case):
        own = cases.ours(case, self.programs, self.work)
        peers = cases.peers(case, self.work)
        # What warp writes is not compressed, by either: the floor is not its.
        floors = [] if case.strategy == "warp" else [cases.floor(case, self.programs, own)]
        usages = in_turn([own, *peers, *floors], self.options.runs, self.environment)
        theirs = {peer.name: usage for peer, usage in zip(peers, usages[1:])}
        floor = usages[-1] if floors else None
        comparison = Comparison(case, usages[0], floor, theirs, self.agreements(case, own, peers))
        for contestant in [own, *peers]:
            contestant.clear()
        self.results.comparisons[case.name] = comparison
        for name, usage in theirs.items():
            wanted = goals.wanted_ratio(case, name)
            text = f"  (wanted {wanted}×)" if wanted else ""
            print(f"{case.name:34} {comparison.ours.wall:7.2f} s  {name:14} {usage.wall:7.2f} s  "
                  f"{comparison.ratio(name):5.2f}×{text}", flush=True)  # fmt: skip

    def agreements(self, case, own, peers):
        ours = facts(own.outputs(), self.environment)
        return [agree(case, ours, facts(peer.outputs(), self.environment), peer.name) for peer in peers]

    def count_files(self):
        """Sets of ever more small files. The peer that is faster on the smallest set stands for both on the others."""
        fastest = None
        for columns, rows in ((10, 10), (40, 25), (100, 100)):
            count = columns * rows
            case = cases.Case("average", 4, self.rasters.get("rgba", "grid", columns * 64, rows * 64, 64))
            if count == 10000:
                self.measure_memory("10,000 files of 64 × 64 RGBA", case, goals.MEMORY)
                if self.options.quick:
                    return
            own = cases.ours(case, self.programs, self.work)
            peers = cases.peers(case, self.work, only=fastest)
            usages = in_turn([own, *peers], self.options.runs, self.environment)
            for contestant in [own, *peers]:
                contestant.clear()
            theirs, fastest = min(zip(usages[1:], (peer.name for peer in peers)), key=lambda pair: pair[0].wall)
            self.results.file_counts[count] = FileCount(count, usages[0], fastest, theirs)
            print(f"{count} files: {usages[0].wall:.2f} s, {fastest} {theirs.wall:.2f} s", flush=True)

    def vary_cache(self):
        size = self.options.size[-1]
        case = cases.Case("average", 4, self.rasters.get("rgba", "tiled", size, size))
        own = cases.ours(case, self.programs, self.work)
        caches = ("16", "64", "5%")
        turns = [in_turn([own], 1, environment_with(cache)) for _ in range(self.options.runs) for cache in caches]
        for i, cache in enumerate(caches):
            usages = [turn[0] for turn in turns[i :: len(caches)]]
            self.results.cache_sizes[cache] = CacheSize(cache, medians(usages))
        own.clear()

    def measure_memory(self, what, case, limit_mb):
        own = cases.ours(case, self.programs, self.work)
        usage = own.measure(self.environment)
        own.clear()
        memory = Memory(what, case.strategy, case.factor, usage, limit_mb)
        self.results.memory[memory.name] = memory
        print(f"{memory.name}: {usage.peak_mb:.0f} MB, {usage.wall:.1f} s", flush=True)

    def measure_huge(self):
        """Of rasters that are far larger than what the library may take."""
        for kind, block, factors in (("rgba", 512, (2, 4, 8)), ("elevation", 512, (2, 4, 8)), ("rgba", 1024, (4,))):
            wide = self.rasters.get(kind, "tiled", 60000, 4000, block=block)
            what = f"60,000 × 4,000, {cases.KINDS[kind]} in blocks of {block} × {block}"
            for strategy, factor in itertools.product(cases.IN_STRIPS, factors):
                self.measure_memory(what, cases.Case(strategy, factor, wide), goals.MEMORY)
        sparse = self.rasters.get("sparse", "tiled", 100000, 100000)
        for strategy in cases.IN_STRIPS:
            what = "100,000 × 100,000 bytes, nearly all of them missing in the file"
            self.measure_memory(what, cases.Case(strategy, 8, sparse), goals.MEMORY_OF_LARGEST)

    def measure_threads(self, kind):
        size = self.options.size[-1]
        names = {s: cases.case_name(s, threads.FACTOR, kind, "tiled", size) for s in cases.STRATEGIES}
        strategies = [strategy for strategy, name in names.items() if self.wants(f"threads-{name}")]
        if not strategies:
            return
        raster = self.rasters.get(kind, "tiled", size, size)
        for strategy in strategies:
            case = cases.Case(strategy, threads.FACTOR, raster)
            own = cases.ours(case, self.programs, self.work)
            scaling = threads.scale(case, own, self.environment, self.options.runs)
            self.results.scaling[case.name] = scaling
            print(f"{case.name:34} {scaling.one.wall:7.2f} s on one processor, {scaling.all.wall:.2f} s on "
                  f"{scaling.processors}: {scaling.speedup:.2f}×", flush=True)  # fmt: skip
        own = cases.ours(cases.Case("average", threads.FACTOR, raster), self.programs, self.work)
        self.results.limits[kind] = threads.limit_of_machine(own, self.environment, self.options.runs)
        print(f"{'at most, on ' + kind:34} {self.results.limits[kind]:.2f}×", flush=True)

    def measure_waiting(self):
        for size in self.options.waiting:
            found = waiting.measure(size, self.rasters, self.programs, self.work, self.environment)
            self.results.waiting[size] = found
            print(f"{size} x {size}: {1000 * found.lock:.0f} ms for the lock, {1000 * found.stop:.0f} ms until "
                  f"finishing stops, {1000 * found.interrupt:.0f} ms from Ctrl-C", flush=True)  # fmt: skip

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
        self.measure_waiting()
        if options.threads and not threads.can_be_measured():
            print("threads: left out, because there is one processor alone, or no taskset (util-linux)")
        elif options.threads:
            for kind in cases.KINDS:
                self.measure_threads(kind)


def sizes(text):
    return sorted(int(word) for word in text.split(","))


def parse():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__)
    parser.add_argument("--size", type=sizes, metavar="N[,N]...",
                        help="edges of the rasters in pixels; sets, cache and threads take the largest [10000, with "
                             "--quick 4000]")  # fmt: skip
    parser.add_argument("--quick", action="store_true", help="smaller rasters, and a third of the cases: ten minutes")
    parser.add_argument("--only", default="", metavar="REGEX",
                        help="cases like median-4-rgba-tiled-10000 or threads-median-4-rgba-tiled-10000 (or sets, "
                             "cache, memory) that match")  # fmt: skip
    parser.add_argument("--runs", type=int, default=3, help="runs of each program; medians count [3]")
    parser.add_argument("--memory", action="store_true", help="peak memory on huge rasters with --quick too")
    parser.add_argument("--threads", action="store_true", help="each strategy on one processor and on all, too")
    parser.add_argument("--waiting", type=sizes, default=[], metavar="N[,N]...",
                        help="how long others wait while rasters of these edges are completed, or stopped")  # fmt: skip
    parser.add_argument("--out", default="docs/performance.md", help="the report; its chart goes next to it")
    parser.add_argument("--add-to", metavar="FILE",
                        help="where to keep what is measured, so that several runs make one report; the newest run "
                             "of a case counts")  # fmt: skip
    parser.add_argument("--report-only", action="store_true", help="write the report from the file of --add-to alone")
    parser.add_argument("--keep", metavar="DIR", help="where to make the rasters, and to find them the next time")
    parser.add_argument("--bin", default="build/release", help="build folder of the programs")
    options = parser.parse_args()
    options.size = options.size or [4000 if options.quick else 10000]
    if options.report_only and not options.add_to:
        parser.error("--report-only needs --add-to")
    return options


def run_line(options):
    """The options that decide what is measured, for the report."""
    words = ["--size", ",".join(map(str, options.size))]
    words += ["--quick"] * options.quick + ["--memory"] * options.memory + ["--threads"] * options.threads
    words += ["--waiting", ",".join(map(str, options.waiting))] if options.waiting else []
    words += ["--only", f"'{options.only}'"] if options.only else []
    return " ".join([*words, "--runs", str(options.runs)])


def measure(options, results):
    results.runs.append(Run(datetime.date.today(), run_line(options)))
    if options.keep:
        Path(options.keep).mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="vexel-bench-", dir=options.keep) as work:
        rasters = cases.Rasters(absolute(options.keep or work), absolute(options.bin))
        try:
            Benchmark(options, rasters, absolute(work), results).run()
        finally:
            if options.add_to:
                results.save(Path(options.add_to))


def main():
    # What was measured is kept when the run is ended from outside, too.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    options = parse()
    results = load(Path(options.add_to)) if options.add_to else Results()
    if not options.report_only:
        measure(options, results)
    report.write(results, Path(options.out))
    for comparison in results.comparisons.values():
        for agreement in comparison.agreements:
            if agreement.complaint:
                print(f"not the same work: {agreement.complaint}")


if __name__ == "__main__":
    main()
