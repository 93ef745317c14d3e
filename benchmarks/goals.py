"""What is wanted of the library, and whether a measurement meets it."""

from dataclasses import dataclass

# How many times as fast as the peer on one tiled file, at factors 2, 4 and 8, for RGBA and for elevation.
TILED = {
    ("average", "gdaladdo"): {"rgba": (1.05, 1.2, 1.4), "elevation": (0.95, 1.1, 1.35)},
    ("median", "gdalwarp"): {"rgba": (3.0, 3.5, 4.0), "elevation": (1.7, 1.8, 1.8)},
    ("percentile75", "gdalwarp"): {"rgba": (3.0, 3.5, 4.0), "elevation": (1.7, 1.8, 1.8)},
    ("min", "gdalwarp"): {"rgba": (2.0, 2.1, 2.2), "elevation": (1.3, 1.3, 1.3)},
    ("max", "gdalwarp"): {"rgba": (2.0, 2.1, 2.2), "elevation": (1.3, 1.3, 1.3)},
    ("gauss", "gdaladdo"): {"rgba": (1.0, 1.2, 1.4), "elevation": (0.95, 1.1, 1.2)},
    ("gauss", "vips"): {"rgba": (1.1, 1.5, 1.8), "elevation": (1.5, 2.0, 2.3)},
    ("warp", "gdalwarp"): {"rgba": (0.97, 0.97, 0.97), "elevation": (0.97, 0.97, 0.97)},
}
FACTORS = (2, 4, 8)

# The same at factors beyond these, which only the median is measured at.
LARGE_BLOCKS = {"rgba": 3.0, "elevation": 1.8}

# On striped files and on grids of tile files, at every factor.
OTHER_LAYOUTS = {
    ("average", "gdaladdo"): {"rgba": 1.2, "elevation": 1.2},
    ("median", "gdalwarp"): {"rgba": 3.0, "elevation": 1.8},
    ("percentile75", "gdalwarp"): {"rgba": 3.0, "elevation": 1.8},
    ("min", "gdalwarp"): {"rgba": 2.0, "elevation": 1.3},
    ("max", "gdalwarp"): {"rgba": 2.0, "elevation": 1.3},
    ("gauss", "gdaladdo"): {"rgba": 1.0, "elevation": 1.0},
    ("gauss", "vips"): {"rgba": 1.3, "elevation": 1.3},
    ("warp", "gdalwarp"): {"rgba": 0.97, "elevation": 0.97},
}

# Decoding the input once and encoding the output once is what nobody can do without. Whoever takes little longer is as
# fast as it gets, whatever the peer takes.
NEAR_FLOOR = 1.1

# Peak memory in MB: of rasters up to 60,000 pixels wide, and of the largest one.
MEMORY = 250
MEMORY_OF_LARGEST = 400

# Seconds: for the lock around GDAL while a raster is completed, and until what was asked to stop has ended.
LONGEST_WAIT = 0.1
LONGEST_STOP = 1.0
# How many times as fast two processors are as one.
TWO_PROCESSORS = 1.8


@dataclass(frozen=True)
class Verdict:
    """`text` is what is wanted, whether it is met, and by how much."""

    met: bool
    text: str


NOTHING_WANTED = Verdict(True, "")


def wanted_ratio(case, peer):
    """None of a peer that is measured too, but without a goal."""
    kind = case.raster.kind
    pair = (case.strategy, peer)
    if pair not in TILED:
        return None
    if case.raster.layout != "tiled":
        return OTHER_LAYOUTS[pair][kind]
    if case.factor not in FACTORS:
        return LARGE_BLOCKS[kind]
    return TILED[pair][kind][FACTORS.index(case.factor)]


def over_floor(comparison):
    """Our time as a multiple of the floor's; none where there is no floor."""
    return comparison.ours.wall / comparison.floor.wall if comparison.floor else None


def distance(value, wanted):
    margin = (value / wanted - 1.0) * 100.0
    return f"{abs(margin):.0f} % {'above' if margin >= 0 else 'below'}"


def met_or_not(met):
    return "met" if met else "**not met**"


def judge_ratio(comparison, peer):
    wanted = wanted_ratio(comparison.case, peer)
    if wanted is None:
        return NOTHING_WANTED
    value = comparison.ratio(peer)
    over = over_floor(comparison)
    if value < wanted and over is not None and over <= NEAR_FLOOR:
        return Verdict(True, f"{wanted:g}×: met, {over:.2f} of the floor")
    met = value >= wanted
    return Verdict(met, f"{wanted:g}×: {met_or_not(met)}, {distance(value, wanted)}")


def judge_memory(memory):
    peak = memory.usage.peak_mb
    met = peak <= memory.limit_mb
    return Verdict(met, f"{memory.limit_mb}: {met_or_not(met)}, {distance(peak, memory.limit_mb)}")


def judge_speedup(scaling):
    """Nothing is wanted of other numbers of processors, and of the warp."""
    if scaling.processors != 2 or scaling.case.strategy == "warp":
        return NOTHING_WANTED
    met = scaling.speedup >= TWO_PROCESSORS
    return Verdict(met, f"{TWO_PROCESSORS}×: {met_or_not(met)}, {distance(scaling.speedup, TWO_PROCESSORS)}")


def all_verdicts(results):
    """Lists of what is wanted of speed, memory, and the gain of more processors."""
    speed = [judge_ratio(c, peer) for c in results.comparisons.values() for peer in c.peers]
    memory = [judge_memory(m) for m in results.all_memory()]
    gain = [judge_speedup(s) for s in results.scaling.values()]
    return [[verdict for verdict in verdicts if verdict != NOTHING_WANTED] for verdicts in (speed, memory, gain)]


def count_met(verdicts):
    return f"{sum(verdict.met for verdict in verdicts)} of {len(verdicts)}"
