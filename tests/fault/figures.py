"""Prints what the tests of reliability have found; with --write, puts it between the two marks of docs/reliability.md.

    figures.py [--write] DOCUMENT FUZZ-FIGURES REPORT.xml...

The reports are those of `--gtest_output=xml`; the figures of the fuzz targets have one "target: text" a line."""

import re
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

START = "<!-- figures: written by scripts/reliability --write -->\n"
END = "<!-- end of figures -->\n"
NUMBER = re.compile(r"\d+")
FEW = 5
# Seconds that the long ones may take together; a fuzz target runs as long as it is told to.
BUDGETS = {"tests/fault/KillTest.cpp": 300, "tests/oddinput/MutatedFilesTest.cpp": 300}


def figures_of(case):
    """What a test tells, with the name of its row where there are several."""
    texts = [p.get("value") for p in case.iter("property") if p.get("name") == "figures"]
    row = case.get("name").split("/")[1:]
    return [f"{row[0]}: {text}" if row and not text.startswith(row[0]) else text for text in texts]


def summed(texts):
    """One line instead of many that differ in their numbers and in the name before the colon."""
    tails = [text.partition(": ")[2] for text in texts]
    if len(texts) <= FEW or len({NUMBER.sub("#", tail) for tail in tails}) != 1:
        return texts
    sums = [sum(numbers) for numbers in zip(*([int(n) for n in NUMBER.findall(tail)] for tail in tails))]
    sums = iter(sums)
    return [f"{len(texts)} operations: " + NUMBER.sub(lambda _: str(next(sums)), tails[0])]


def collect(reports):
    """By source file: number of tests, failed ones, seconds, texts."""
    files = {}
    for report in reports:
        for case in ElementTree.parse(report).getroot().iter("testcase"):
            if case.get("status") != "run":
                continue
            name = case.get("file").partition("/tests/")[2] or case.get("file")
            entry = files.setdefault("tests/" + name, {"tests": 0, "failed": 0, "seconds": 0.0, "texts": []})
            entry["tests"] += 1
            entry["failed"] += case.find("failure") is not None
            entry["seconds"] += float(case.get("time"))
            entry["texts"] += figures_of(case)
    return files


def table(files, fuzz_figures):
    lines = ["| Tests | Number | Failed | Seconds | Figures |", "|---|---|---|---|---|"]
    for name, entry in sorted(files.items()):
        texts = "<br>".join(summed(entry["texts"]))
        seconds = f"{entry['seconds']:.0f}" + (f" of {BUDGETS[name]}" if name in BUDGETS else "")
        lines.append(f"| `{name}` | {entry['tests']} | {entry['failed']} | {seconds} | {texts} |")
    for line in fuzz_figures:
        target, _, text = line.partition(": ")
        seconds = re.search(r"in (\d+) s", text).group(1)
        lines.append(f"| `fuzz/{target}.cpp` | 1 | 0 | {seconds} of {seconds} | {text} |")
    return "\n".join(lines) + "\n"


def main():
    arguments = [argument for argument in sys.argv[1:] if argument != "--write"]
    document, fuzz_figures, *reports = map(Path, arguments)
    text = document.read_text(encoding="utf-8")
    before, start, rest = text.partition(START)
    after = rest.partition(END)[2]
    if not start or not rest.count(END):
        sys.exit(f"{document} has no place for the figures")
    files = collect(reports)
    found = table(files, fuzz_figures.read_text(encoding="utf-8").splitlines())
    if "--write" in sys.argv:
        document.write_text(before + START + "\n" + found + "\n" + END + after, encoding="utf-8")
    print(found, end="")
    late = [name for name, seconds in BUDGETS.items() if files[name]["seconds"] > seconds]
    if late:
        sys.exit("over the time budget: " + ", ".join(late))


main()
