"""Writes what was measured: docs/quality.md, and the chart among its pictures."""

import math
import textwrap

import profile_chart
import texts
from figures import GAUSSIANS, LEFT_OUT, STRATEGIES, code, count, fixed, percent, signed, table
from peers import all_peers


def worst(figures, method, factors, name):
    """The figure that is farthest from 0."""
    values = [figures.get(method, factor, name) for factor in factors]
    return max((value for value in values if value is not None), key=abs, default=None)


def peers_among(methods):
    return [method for method in methods if method not in STRATEGIES]


def label(methods, most):
    """Names of methods whose figures are alike; the largest group of GDAL's becomes "the other GDAL methods"."""
    words = [code(method) for method in methods if method in STRATEGIES]
    theirs = peers_among(methods)
    if theirs == most and len(theirs) > 3:
        every = len(theirs) == len(all_peers())
        return ", ".join([*words, "all GDAL methods" if every else "the other GDAL methods"])
    return ", ".join([*words, *map(code, theirs)])


class Tables:
    """Tables with a row for each method, those alike in one, and a column for each factor."""

    def __init__(self, figures, factors):
        self._figures = figures
        self._factors = factors

    def by(self, cell):
        """`cell` makes a text of a function that gives a figure by its name. What was not measured is a dash."""
        names = {}
        for method in [*STRATEGIES, *(peer.name for peer in all_peers())]:
            cells = tuple(self._cell(cell, method, factor) for factor in self._factors)
            names.setdefault(cells, []).append(method)
        most = max((peers_among(alike) for alike in names.values()), key=len)
        rows = [[label(alike, most), *cells] for cells, alike in names.items()]
        return table(["Method", *(f"Factor {factor}" for factor in self._factors)], rows)

    def size(self, scene):
        return count(self._figures.get("scene", 1, scene))

    def _cell(self, cell, method, factor):
        try:
            return cell(lambda name: self._needed(method, factor, name))
        except KeyError:
            return "–"

    def _needed(self, method, factor, name):
        value = self._figures.get(method, factor, name)
        if value is None:
            raise KeyError(name)
        return value


def pair(x, y, digits):
    """Both, or one for both if they read alike."""
    x_text, y_text = signed(x, digits), signed(y, digits)
    return x_text if x_text == y_text else f"{x_text} / {y_text}"


def amount(pixels, largest, digits):
    return "0" if pixels == 0 else f"{count(pixels)} ({fixed(largest, digits)})"


def seam_cell(name):
    def cell(get):
        width, single = get(f"seams.{name}.width"), get(f"seams.{name}.single")
        if width != single:
            return f"{count(width)} columns, not {count(single)}"
        return amount(get(f"seams.{name}.differ"), get(f"seams.{name}.difference"), 4)

    return cell


def odd_cell(get):
    rest = signed(get("odd.rest"), 2)
    return f"{count(get('odd.width'))} × {get('odd.pixel'):g}; {rest}; {fixed(get('odd.shift'), 2)}"


def outside_cell(get):
    return amount(get("holes.outside"), get("holes.lowest"), 0)


def share(value):
    return percent(value, 1) if value > 0 else "0"


def lost_cell(get):
    return f"{share(get('holes.lost') / get('holes.blocks'))} / {count(get('holes.filled'))}"


def differ_cell(get):
    if get("halo.differ") == 0:
        return f"0 of {count(get('halo.visible'))}"
    return f"{count(get('halo.differ'))} of {count(get('halo.visible'))} ({fixed(get('halo.difference'), 0)})"


def glance_row(figures, factors, strategy, shown):
    def of(name):
        return worst(figures, strategy, factors, name)

    def largest_share(part, whole):
        return share(max(figures.get(strategy, f, part) / figures.get(strategy, f, whole) for f in factors))

    seams = [of("seams.land-96.difference"), of("seams.holes-96.difference")]
    return [
        code(strategy),
        pair(of("ramp.x"), of("ramp.y"), 2),
        signed(of("ramp.lift"), 1),
        largest_share("holes.outside", "holes.pixels"),
        largest_share("holes.lost", "holes.blocks"),
        fixed(of("halo.difference"), 0),
        largest_share("halo.foreign", "halo.visible"),
        "–" if None in seams else " / ".join("0" if seam == 0 else fixed(seam, 3) for seam in seams),
        contrast(lambda name: figures.get(strategy, shown, name)),
    ]


def glance(figures, factors):
    shown = 4
    header = ["Strategy", "Position", "Level", "Made up", "Lost", "Halo", "Wrong colour", "Seams",
              "Contrast, true / false"]  # fmt: skip
    rows = [glance_row(figures, factors, strategy, shown) for strategy in STRATEGIES]
    return texts.GLANCE.format(factors=in_words(factors), shown=shown, table=table(header, rows))


def in_words(numbers):
    texts = [str(number) for number in numbers]
    return ", ".join(texts[:-1]) + " and " + texts[-1]


def contrast(get):
    return f"{percent(get('alias.kept'))} / {percent(get('alias.false'))}"


def position(tables):
    def points_kept(get):
        return f"{percent(get('points.high'))} / {percent(get('points.low'))}"

    def centroid(get):
        return f"{pair(get('points.x'), get('points.y'), 2)} ({fixed(get('points.scatter'), 2)})"

    return texts.POSITION.format(
        ramp=tables.size("ramp"),
        points=tables.size("points"),
        odd_size=tables.size("ramp-250"),
        shift=tables.by(lambda get: pair(get("ramp.x"), get("ramp.y"), 2)),
        lift=tables.by(lambda get: signed(get("ramp.lift"), 2)),
        border=tables.by(lambda get: fixed(get("ramp.border"), 2)),
        kept=tables.by(points_kept),
        centroids=tables.by(centroid),
        volume=tables.by(lambda get: fixed(get("points.volume"), 2)),
        odd=tables.by(odd_cell),
    )


def sigma(factor):
    """Standard deviation of the library's blur."""
    return math.sqrt(3.37 * max(1, math.floor((factor + 0.5) / 2)))


def edge(figures, factors, folder):
    header = ["Factor", "Standard deviation", "Lowest value, m"]
    errors = ("1000", "100", "10", "1", "0.1", "0.01")
    header += [f"Wrong by {error} m up to" for error in errors]
    rows = []
    for factor in factors:
        reach = [figures.get("gauss", factor, f"edge.reach.{error}") for error in errors]
        rows.append([str(factor), fixed(sigma(factor), 2), fixed(figures.get("gauss", factor, "edge.lowest"), 0),
                     *(f"{fixed(px, 1)} px, {fixed(px / sigma(factor), 1)} σ" for px in reach)])  # fmt: skip
    names = [LEFT_OUT, *STRATEGIES[len(GAUSSIANS) :], *(peer.name for peer in all_peers())]
    largest = max(worst(figures, name, factors, "edge.reach.0.01") for name in names)
    others = "no pixel is wrong by 0.01 m"
    if largest > 0:
        others = f"pixels are wrong by 0.01 m up to {fixed(largest, 1)} px"
    metre = max(figures.get("gauss", factor, "edge.reach.1") / sigma(factor) for factor in factors)
    return texts.EDGE.format(folder=folder, table=table(header, rows), others=others, metre=fixed(metre, 1))


def edge_chart(figures, factors):
    curves = [(f"factor {factor}", figures.named("gauss", factor, "edge.error.")) for factor in factors]
    return profile_chart.draw(
        "gauss next to no-data of -10000: largest error in m", "distance from no-data in input pixels", curves, 30
    )


def seams(tables):
    return texts.SEAMS.format(
        land96=tables.by(seam_cell("land-96")),
        holes96=tables.by(seam_cell("holes-96")),
        land100=tables.by(seam_cell("land-100")),
        tiles=tables.by(lambda get: fixed(get("tiles.shift"), 2)),
    )


def commands():
    lines = []
    for peer in all_peers():
        words = peer.command("F", "INPUT.tif", "OUTPUT.tif")
        lines.append("    " + " ".join(words))
    return texts.COMMAND_LINES + "\n\n" + "\n".join(lines)


def wrapped(paragraph):
    """Text in lines of 120 columns; tables, lists, pictures and headings as they are."""
    if paragraph.startswith(("#", "|", "-", "!", " ")):
        return paragraph
    return textwrap.fill(paragraph, 120, break_long_words=False, break_on_hyphens=False)


def write(figures, factors, version, path):
    folder = path.stem
    tables = Tables(figures, factors)
    sections = [
        texts.HEAD.format(version=version),
        glance(figures, factors),
        position(tables),
        texts.HOLES.format(
            folder=folder,
            holes=tables.size("holes"),
            outside=tables.by(outside_cell),
            lost=tables.by(lost_cell),
        ),
        edge(figures, factors, folder),
        texts.HALO.format(
            folder=folder,
            disc=tables.size("on-black"),
            differ=tables.by(differ_cell),
            foreign=tables.by(lambda get: amount(get("halo.foreign"), get("halo.foreignness"), 0)),
        ),
        seams(tables),
        texts.ALIASING.format(
            folder=folder,
            contrast=tables.by(contrast),
            mean=fixed(figures.get("average", factors[0], "alias.input"), 1),
            means=tables.by(lambda get: fixed(get("alias.mean"), 1)),
        ),
        texts.COMMANDS.format(commands=commands()),
    ]
    path.parent.mkdir(parents=True, exist_ok=True)
    paragraphs = "\n\n".join(sections).split("\n\n")
    path.write_text("\n\n".join(map(wrapped, paragraphs)) + "\n", encoding="utf-8")
    path.with_suffix("").mkdir(exist_ok=True)
    (path.with_suffix("") / "edge.svg").write_text(edge_chart(figures, factors), encoding="utf-8")
