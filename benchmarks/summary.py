"""The first part of docs/performance.md: results in short, and the bars of the chart."""

import os

import cases
import chart
import goals
import texts
from cells import ratio, seconds, size, span, table

# The table has the times at one factor, and ratios at several.
MAIN_FACTOR = 4
FACTORS = (2, 4, 8)


def tiled_by_name(results):
    """The comparisons on the largest tiled file: what the first table and the chart show."""
    tiled = [c for c in results.comparisons.values() if c.case.raster.layout == "tiled"]
    largest = max((c.case.raster.width for c in tiled), default=0)
    return {c.case.name: c for c in tiled if c.case.raster.width == largest}


def main_row(comparison, comparisons):
    def at(factor):
        case = cases.Case(comparison.case.strategy, factor, comparison.case.raster)
        other = comparisons.get(case.name)
        return ratio(other.ratio(other.fastest())) if other else "–"

    peer = comparison.fastest()
    return [
        f"`{comparison.case.strategy}`",
        cases.KINDS[comparison.case.raster.kind],
        f"{seconds(comparison.ours.wall)} s",
        f"`{peer}`, {seconds(comparison.peers[peer].wall)} s",
        *map(at, FACTORS),
    ]


def main_table(comparisons):
    """The strategies at one factor, against the fastest peer."""
    shown = [c for c in comparisons.values() if c.case.factor == MAIN_FACTOR]
    if not shown:
        return
    shown.sort(key=lambda c: cases.STRATEGIES.index(c.case.strategy))
    ratios = [f"Ratio at factor {factor}" for factor in FACTORS]
    header = ["Strategy", "Data", f"Ours, factor {MAIN_FACTOR}", "Best peer", *ratios]
    yield texts.RATIO.format(factor=MAIN_FACTOR, size=size(shown[0].case.raster), processors=os.cpu_count())
    yield table(header, [main_row(c, comparisons) for c in shown])


def memory_text(results):
    peaks = [
        max((m.usage.peak_mb for m in results.memory.values() if m.limit_mb == limit), default=0)
        for limit in (goals.MEMORY, goals.MEMORY_OF_LARGEST)
    ]
    if not all(peaks):
        return ""
    return texts.MOST_MEMORY.format(wide=f"{peaks[0]:.0f}", largest=f"{peaks[1]:.0f}")


def gain_text(results):
    gains = [s for s in results.scaling.values() if s.case.strategy != "warp"]
    if not gains:
        return ""
    return texts.GAIN.format(processors=gains[0].processors, gains=span([s.speedup for s in gains], "{:.1f}".format))


def in_short(results):
    """A sentence each on goals, memory, and processors."""
    speed, memory, gain = goals.all_verdicts(results)
    lines = []
    if speed:
        lines.append(f"- **Speed.** {goals.count_met(speed)} goals are met.")
    if memory:
        lines.append(f"- **Memory.** {goals.count_met(memory)} goals are met. {memory_text(results)}".rstrip())
    if gain:
        lines.append(f"- **Processors.** {goals.count_met(gain)} goals are met. {gain_text(results)}")
    if lines:
        yield "\n".join(lines)
    if not all(verdict.met for verdict in [*speed, *memory, *gain]):
        yield "The section *Where it falls short* lists the goals that are missed, and why."


def bars(results):
    comparisons = tiled_by_name(results).values()
    for c in sorted(comparisons, key=lambda c: cases.STRATEGIES.index(c.case.strategy)):
        wanted = {peer: goals.wanted_ratio(c.case, peer) for peer in c.peers if goals.wanted_ratio(c.case, peer)}
        for peer in wanted:
            name = f", {peer}" if len(wanted) > 1 else ""
            label = f"{c.case.strategy}, {cases.KINDS[c.case.raster.kind]}, factor {c.case.factor}{name}"
            yield chart.Bar(label, c.ratio(peer), wanted[peer], goals.judge_ratio(c, peer).met)


def sections(results, drawing):
    largest = tiled_by_name(results)
    yield "## Results"
    yield from main_table(largest)
    yield from in_short(results)
    if largest:
        yield texts.CHART.format(chart=drawing)
