"""Writes what was measured: docs/performance.md and the chart next to it."""

import itertools
import os
import re
import shutil
import subprocess
from pathlib import Path

import cases
import chart
import fulltables
import goals
import scaling
import shortfalls
import summary
import texts
import waiting
from cells import table

def version(command):
    if not shutil.which(command[0]):
        return "not installed"
    text = subprocess.run(command, capture_output=True, text=True, check=False).stdout
    found = re.search(r"\d+\.\d+\.\d+", text)
    return found.group() if found else "unknown"


def machine_rows(runs):
    cpu = re.search(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text())
    memory = re.search(r"MemTotal:\s*(\d+)", Path("/proc/meminfo").read_text())
    distribution = re.search(r'PRETTY_NAME="(.*)"', Path("/etc/os-release").read_text())
    return [
        ["Processor", f"{cpu.group(1) if cpu else os.uname().machine}, {os.cpu_count()} processors"],
        ["Memory", f"{int(memory.group(1)) / 2**20:.0f} GiB" if memory else "unknown"],
        ["System", distribution.group(1) if distribution else os.uname().sysname],
        ["GDAL", version(["gdalinfo", "--version"])],
        ["libvips", version(["vips", "--version"])],
        *([run.date.isoformat(), "`scripts/bench " + run.options.replace("|", "\\|") + "`"] for run in runs),
    ]


def agreement_text(comparisons):
    agreements = [agreement for c in comparisons.values() for agreement in c.agreements]
    complaints = [agreement.complaint for agreement in agreements if agreement.complaint]
    largest = {
        kind: max([a.difference for a in agreements if a.kind == kind and a.difference is not None], default=0.0)
        for kind in cases.KINDS
    }
    text = texts.AGREEMENT.format(alike=len(agreements) - len(complaints), pairs=len(agreements), **largest)
    return "\n".join([text, *(["\nNot alike:\n"] if complaints else []), *(f"- {text}" for text in complaints)])


def method(results):
    yield "## How it was measured"
    yield table(["", ""], machine_rows(results.runs))
    yield texts.SETTINGS
    if results.comparisons:
        yield agreement_text(results.comparisons)
    yield texts.PEERS


def sections(results, drawing):
    yield "# Performance"
    yield texts.INTRODUCTION
    yield from summary.sections(results, drawing)
    yield from method(results)
    yield from shortfalls.sections(results)
    if results.scaling:
        yield from scaling.sections(results)
    if results.waiting:
        yield from waiting.sections(results)
    yield from fulltables.sections(results)


def write(results, path):
    drawing = path.with_suffix(".svg")
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text("\n\n".join(sections(results, drawing.name)) + "\n", encoding="utf-8")
    drawing.write_text(chart.draw("Times as fast as the peer", list(summary.bars(results))), encoding="utf-8")
    verdicts = itertools.chain.from_iterable(goals.all_verdicts(results))
    print(f"{goals.count_met(list(verdicts))} goals are met: {path}")
