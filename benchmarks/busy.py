"""Which threads of vexel-downsample are busy, and in which phase, by asking the system every few milliseconds."""

import os
import subprocess
import time
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

from measure import fail

INTERVAL = 0.003

# Phases begin when the progress bar shows these words, in this order; nothing is shown before the second one.
PHASES = {"starting": "", "reducing": "%", "completing": "completing the output", "checking": "done"}

# What the threads of a program can be at. `single` is one thread other than the calling one.
STATES = ("alone", "single", "together", "nobody")


@dataclass(frozen=True)
class BusyShares:
    """Shares of the time on the clock, by phase and state."""

    shares: dict

    def of(self, state, phase=None):
        return sum(self.shares.get((p, state), 0.0) for p in PHASES if phase in (None, p))


def is_running(stat):
    """Whether a line of /proc/PID/task/TID/stat is of a thread that runs, or would if it had a processor."""
    return stat[stat.rindex(")") + 2] == "R"


def state_of(process):
    """One of STATES, right now."""
    calling, others = False, 0
    for task in os.listdir(f"/proc/{process}/task"):
        try:
            running = is_running(Path(f"/proc/{process}/task/{task}/stat").read_text())
        except (OSError, ValueError):
            continue  # the thread has ended
        if int(task) == process:
            calling = running
        else:
            others += running
    if calling:
        return "together" if others else "alone"
    return ("nobody", "single")[others] if others < 2 else "together"


class Phase:
    """Follows the progress bar."""

    def __init__(self, stream):
        os.set_blocking(stream.fileno(), False)
        self._stream = stream
        self._text = ""

    def now(self):
        self._text += (self._stream.read() or b"").decode(errors="replace")
        return [phase for phase, words in PHASES.items() if words in self._text][-1]


def watch(command, environment):
    """Counts of phases with states in one run of vexel-downsample."""
    # A thread of OpenMP's that has nothing to do would spin for some milliseconds, and look busy.
    environment = {**environment, "OMP_WAIT_POLICY": "passive"}
    counts = Counter()
    with subprocess.Popen([*command, "--progress"], env=environment, stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as process:  # fmt: skip
        phase = Phase(process.stderr)
        while process.poll() is None:
            try:
                counts[phase.now(), state_of(process.pid)] += 1
            except OSError:
                break  # it has just ended
            time.sleep(INTERVAL)
        process.wait()
    if process.returncode != 0:
        fail(f"exit code {process.returncode} of {' '.join(command)}")
    return counts


def busy_shares(command, environment, runs):
    counts = sum((watch(command, environment) for _ in range(runs)), Counter())
    return BusyShares({key: count / counts.total() for key, count in counts.items()})
