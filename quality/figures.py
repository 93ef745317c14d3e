"""Figures as vexel-quality prints them, and how they are written."""

LEFT_OUT = "gauss, holes left out"  # as vexel-quality calls it
GAUSSIANS = ("gauss", "gaussalias", LEFT_OUT)
STRATEGIES = (*GAUSSIANS, "average", "median", "percentile75", "min", "max", "warp")


class Figures:
    """What was measured, by method, factor and name."""

    def __init__(self, text):
        self._values = {}
        for line in text.splitlines():
            method, factor, name, value = line.split("\t")
            self._values[method, int(factor), name] = float(value)

    def get(self, method, factor, name):
        return self._values.get((method, factor, name))

    def named(self, method, factor, start):
        """Figures whose names begin so, by the number that follows."""
        found = {}
        for (its_method, its_factor, name), value in self._values.items():
            if (its_method, its_factor) == (method, factor) and name.startswith(start):
                found[float(name[len(start) :])] = value
        return dict(sorted(found.items()))


def fixed(value, digits):
    """With that many digits behind the point; zero has no sign."""
    return f"{round(value, digits) + 0.0:.{digits}f}"


def signed(value, digits):
    text = fixed(value, digits)
    return text if float(text) <= 0 else f"+{text}"


def percent(share, digits=0):
    return f"{fixed(100.0 * share, digits)} %"


def count(value):
    return f"{value:,.0f}"


def code(method):
    """A method's name in the text. A comma ends the name there, so it cannot contain one."""
    return "`gauss --leave-holes-out`" if method == LEFT_OUT else f"`{method}`"


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])
