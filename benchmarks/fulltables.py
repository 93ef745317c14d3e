"""The tables of everything that was measured, at the end of docs/performance.md."""

import itertools

import cases
import goals
import texts
from cells import capital, ratio, size, table, wall_and_cpu


def over_floor(comparison):
    if not comparison.floor:
        return ["–", "–"]
    return [f"{goals.over_floor(comparison):.2f}", f"{comparison.ours.cpu / comparison.floor.cpu:.2f}"]


def comparison_rows(comparisons):
    for c, peer in ((c, peer) for c in comparisons for peer in c.peers):
        yield [
            f"`{c.case.strategy}`",
            str(c.case.factor),
            wall_and_cpu(c.ours),
            f"`{peer}`",
            wall_and_cpu(c.peers[peer]),
            ratio(c.ratio(peer)),
            goals.judge_ratio(c, peer).text,
            *over_floor(c),
            f"{c.ours.peak_mb:.0f}",
        ]


def comparison_sections(comparisons):
    header = ["Strategy", "Factor", "Ours, wall / CPU s", "Peer", "Its wall / CPU s", "Ratio", "Wanted", "Wall / floor",
              "CPU / floor", "Peak MB"]  # fmt: skip
    widths = sorted({c.case.raster.width for c in comparisons}, reverse=True)
    for width, kind, layout in itertools.product(widths, cases.KINDS, cases.LAYOUTS):
        raster_of = (width, kind, layout)
        own = [c for c in comparisons if (c.case.raster.width, c.case.raster.kind, c.case.raster.layout) == raster_of]
        if own:
            own.sort(key=lambda c: (cases.STRATEGIES.index(c.case.strategy), c.case.factor))
            yield f"### {capital(cases.KINDS[kind])}, {size(own[0].case.raster)}, {cases.LAYOUTS[layout]}"
            yield table(header, comparison_rows(own))


def memory_section(memory):
    """A row for each raster and factor, a column for each strategy."""
    yield "### Peak memory"
    yield texts.MEMORY
    rows = []
    for (what, factor), alike in itertools.groupby(sorted_memory(memory), key=lambda m: (m.what, m.factor)):
        alike = {m.strategy: m for m in alike}
        peaks = [f"{alike[s].usage.peak_mb:.0f}" if s in alike else "–" for s in cases.IN_STRIPS]
        worst = max(alike.values(), key=lambda m: m.usage.peak_mb)
        rows.append([what, str(factor), *peaks, goals.judge_memory(worst).text])
    yield table(["Raster", "Factor", *(f"`{s}`" for s in cases.IN_STRIPS), "At most"], rows)


def sorted_memory(memory):
    """By raster, in the order in which they were measured, and by factor."""
    rasters = list(dict.fromkeys(m.what for m in memory))
    return sorted(memory, key=lambda m: (rasters.index(m.what), m.factor))


def file_count_section(counts):
    yield "### Many small files"
    yield texts.SMALL_FILES
    rows = []
    for c in counts:
        peer = [f"`{c.peer_name}`", wall_and_cpu(c.peer), f"{c.peer.wall / c.ours.wall:.1f}×"]
        rows.append([f"{c.count:,}", wall_and_cpu(c.ours), f"{c.ours.peak_mb:.0f}", *peer])
    yield table(["Files", "Ours, wall / CPU s", "Peak MB", "Peer", "Its wall / CPU s", "Ratio"], rows)


def cache_section(sizes):
    yield "### Small caches"
    yield texts.SMALL_CACHES
    usual = sizes[-1].ours
    header = ["`GDAL_CACHEMAX`", "Ours, wall / CPU s", f"Wall, multiple of that at {sizes[-1].cache}", "Peak MB"]
    rows = []
    for s in sizes:
        over_usual = f"{s.ours.wall / usual.wall:.2f}"
        rows.append([f"`{s.cache}`", wall_and_cpu(s.ours), over_usual, f"{s.ours.peak_mb:.0f}"])
    yield table(header, rows)


def sections(results):
    yield "## Full tables"
    if results.comparisons:
        yield texts.FULL
    yield from comparison_sections(list(results.comparisons.values()))
    memory = list(results.all_memory())
    if memory:
        yield from memory_section(memory)
    if results.file_counts:
        yield from file_count_section(results.file_counts.values())
    if results.cache_sizes:
        yield from cache_section(list(results.cache_sizes.values()))
