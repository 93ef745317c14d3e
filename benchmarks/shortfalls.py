"""The part of docs/performance.md about the goals that are not met, with what was measured of the reason."""

import goals
import texts
from cells import percent, ratio, seconds, table


def slow_rows(comparisons):
    for c, peer in ((c, peer) for c in comparisons for peer in c.peers):
        if goals.judge_ratio(c, peer).met:
            continue
        wanted = goals.wanted_ratio(c.case, peer)
        allowed = c.peers[peer].wall / wanted
        floor = [seconds(c.floor.wall), seconds(c.ours.wall - c.floor.wall)] if c.floor else ["–", "–"]
        below = " (below the floor)" if c.floor and allowed < c.floor.wall else ""
        yield [
            f"`{c.case.name}`",
            f"`{peer}`",
            ratio(c.ratio(peer)),
            f"{wanted:g}×",
            seconds(c.ours.wall),
            seconds(allowed) + below,
            *floor,
        ]


def serial_rows(results):
    for s in results.scaling.values():
        if goals.judge_speedup(s).met:
            continue
        yield [
            f"`{s.case.name}`",
            ratio(s.speedup),
            f"{goals.TWO_PROCESSORS}×",
            ratio(results.limits[s.case.raster.kind]),
            *(percent(s.shares.of(state)) for state in ("alone", "single", "nobody")),
        ]


def large_rows(memory):
    for m in memory:
        if not goals.judge_memory(m).met:
            yield [m.name, f"{m.usage.peak_mb:.0f}", str(m.limit_mb)]


def tables(results):
    slow = list(slow_rows(results.comparisons.values()))
    if slow:
        yield texts.SLOW
        header = ["Case", "Peer", "Ratio", "Wanted", "Ours, s", "Needed, s", "Floor, s", "Ours beyond the floor, s"]
        yield table(header, slow)
        yield texts.REASONS
    serial = list(serial_rows(results))
    if serial:
        yield texts.SERIAL
        header = ["Case", "Speed-up", "Wanted", "Processors can gain", "Calling thread alone", "Another alone", "None"]
        yield table(header, serial)
    large = list(large_rows(results.all_memory()))
    if large:
        yield texts.LARGE
        yield table(["Run", "Peak MB", "At most"], large)


def sections(results):
    found = list(tables(results))
    if found:
        yield "## Where it falls short"
        yield from found
