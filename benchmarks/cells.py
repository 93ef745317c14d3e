"""Numbers and tables as they appear on the page."""


def seconds(value):
    return f"{value:.3g}" if value < 100 else f"{value:.0f}"


def wall_and_cpu(usage):
    return f"{seconds(usage.wall)} / {seconds(usage.cpu)}"


def ratio(value):
    return f"{value:.2f}×"


def percent(share):
    return f"{100 * share:.0f} %"


def size(raster):
    return f"{raster.width:,} × {raster.height:,}"


def span(values, form):
    """From the least to the largest, or the one that both are."""
    least, largest = form(min(values)), form(max(values))
    return least if least == largest else f"{least} to {largest}"


def capital(text):
    return text[0].upper() + text[1:]


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])
