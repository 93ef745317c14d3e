"""What was measured. It can be kept in a file, so that several runs make one report."""

import datetime
import pickle
from dataclasses import dataclass, field

import cases
import goals
from agreement import Agreement
from measure import Usage


@dataclass
class Comparison:
    """One case: ours, the floor if there is one, and the peers by their names."""

    case: cases.Case
    ours: Usage
    floor: Usage | None
    peers: dict
    agreements: list[Agreement]

    def fastest(self):
        return min(self.peers, key=lambda name: self.peers[name].wall)

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
    """`what` is the raster; strategies and factors of one raster share a table."""

    what: str
    strategy: str
    factor: int
    usage: Usage
    limit_mb: int

    @property
    def name(self):
        return f"`{self.strategy}`, factor {self.factor}, {self.what}"


@dataclass(frozen=True)
class Run:
    """One call of the program."""

    date: datetime.date
    options: str


@dataclass
class Results:
    """Each table by what its rows are of, so that a later run replaces what an earlier one has measured."""

    comparisons: dict = field(default_factory=dict)
    file_counts: dict = field(default_factory=dict)
    cache_sizes: dict = field(default_factory=dict)
    memory: dict = field(default_factory=dict)
    scaling: dict = field(default_factory=dict)
    limits: dict = field(default_factory=dict)
    waiting: dict = field(default_factory=dict)
    runs: list = field(default_factory=list)

    def all_memory(self):
        """The largest peak among the comparisons, and what was measured of memory alone."""
        own = [c for c in self.comparisons.values() if c.case.strategy in cases.IN_STRIPS]
        if own:
            largest = max(own, key=lambda c: c.ours.peak_mb)
            what = f"the largest peak of all runs that are compared ({largest.case.raster.width:,} pixels wide)"
            yield Memory(what, largest.case.strategy, largest.case.factor, largest.ours, goals.MEMORY)
        yield from self.memory.values()

    def save(self, path):
        path.write_bytes(pickle.dumps(self))


def load(path):
    return pickle.loads(path.read_bytes()) if path.exists() else Results()
