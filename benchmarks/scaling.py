"""The part of docs/performance.md about more processors."""

import callingthread
import cases
import texts
from cells import percent, ratio, seconds, table
from goals import judge_speedup
from threads import FACTOR, speedup_on

EXTRAPOLATED = (4, 8, 16)


def named(scaling):
    return [f"`{scaling.case.strategy}`", cases.KINDS[scaling.case.raster.kind]]


def speedup_row(scaling):
    return [
        *named(scaling),
        seconds(scaling.one.wall),
        seconds(scaling.all.wall),
        ratio(scaling.speedup),
        judge_speedup(scaling).text,
        percent(1.0 - scaling.parallel_share),
        *(ratio(speedup_on(count, scaling.parallel_share)) for count in EXTRAPOLATED),
    ]


def busy_row(scaling):
    def alone(*phases):
        return percent(sum(scaling.shares.of("alone", phase) for phase in phases))

    def others(*phases):
        return percent(sum(scaling.shares.of(state, phase) for state in ("single", "nobody") for phase in phases))

    ends = ("starting", "checking")
    return [
        *named(scaling),
        percent(scaling.shares.of("together")),
        *(form(phase) for phase in ("reducing", "completing") for form in (alone, others)),
        percent(sum(scaling.shares.of(state, phase) for state in ("alone", "single", "nobody") for phase in ends)),
    ]


def sections(results):
    all_of_them = list(results.scaling.values())
    count = all_of_them[0].processors
    yield "## More processors"
    yield texts.SCALING.format(factor=FACTOR, processors=count)
    header = ["Strategy", "Data", "One processor, s", f"All {count}, s", "Speed-up", "Wanted", "Serial share"]
    header += [f"On {more}" for more in EXTRAPOLATED]
    yield table(header, map(speedup_row, all_of_them))
    yield texts.EXTRAPOLATION.format(more=", ".join(map(str, EXTRAPOLATED[:-1])) + f" and {EXTRAPOLATED[-1]}")
    limits = " and ".join(f"{ratio(limit)} on {cases.KINDS[kind]}" for kind, limit in results.limits.items())
    yield texts.LIMIT.format(processors=count, limits=limits)
    yield from busy_sections(all_of_them)


def busy_sections(all_of_them):
    yield texts.BUSY
    phases = [f"{phase}: {who}" for phase in ("Reducing", "Completing") for who in ("alone", "others")]
    yield table(["Strategy", "Data", "Several threads", *phases, "Start and check"], [busy_row(s) for s in all_of_them])
    rows = [[*named(s), *map(percent, s.parts.values())] for s in all_of_them if s.parts]
    if rows:
        yield texts.PARTS
        yield table(["Strategy", "Data", *callingthread.PARTS], rows)
