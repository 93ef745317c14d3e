"""A chart of errors by the distance from a hole as SVG, which follows the reader's choice of light or dark."""

import math
from html import escape

LEFT = 70
TOP = 36
WIDTH = 560
HEIGHT = 300
RIGHT = 110
BOTTOM = 48
LOWEST = -3  # decimal logarithms of errors
HIGHEST = 4

COLOURS = ("#2f6fb3", "#2f7d4f", "#b35900", "#a03070")

STYLE = """
  text { font: 12px system-ui, sans-serif; fill: #24292f; }
  .title { font-size: 14px; font-weight: 600; }
  .grid { stroke: #8c959f; stroke-opacity: 0.35; }
  polyline { fill: none; stroke-width: 2; }
  @media (prefers-color-scheme: dark) { text { fill: #d1d9e0; } }
"""


def x_of(distance, farthest):
    return LEFT + distance / farthest * WIDTH


def y_of(error):
    exponent = max(LOWEST, math.log10(error)) if error > 0 else LOWEST
    return TOP + (HIGHEST - exponent) / (HIGHEST - LOWEST) * HEIGHT


def grid(farthest):
    for exponent in range(LOWEST, HIGHEST + 1):
        y = y_of(10.0**exponent)
        yield f'<line class="grid" x1="{LEFT}" x2="{LEFT + WIDTH}" y1="{y:.1f}" y2="{y:.1f}"/>'
        yield f'<text x="{LEFT - 6}" y="{y + 4:.1f}" text-anchor="end">{10.0**exponent:g}</text>'
    for distance in range(0, farthest + 1, 5):
        x = x_of(distance, farthest)
        yield f'<line class="grid" x1="{x:.1f}" x2="{x:.1f}" y1="{TOP}" y2="{TOP + HEIGHT}"/>'
        yield f'<text x="{x:.1f}" y="{TOP + HEIGHT + 16}" text-anchor="middle">{distance}</text>'


def curve(index, label, errors, farthest):
    points = [(distance, error) for distance, error in errors.items() if distance <= farthest]
    line = " ".join(f"{x_of(distance, farthest):.1f},{y_of(error):.1f}" for distance, error in points)
    y = TOP + 14 + index * 18
    x = LEFT + WIDTH + 12
    yield f'<polyline stroke="{COLOURS[index]}" points="{line}"/>'
    yield f'<line stroke="{COLOURS[index]}" stroke-width="2" x1="{x}" x2="{x + 20}" y1="{y - 4}" y2="{y - 4}"/>'
    yield f'<text x="{x + 26}" y="{y}">{escape(label)}</text>'


def draw(title, below, curves, farthest):
    """Curves are pairs of a label and errors by distance."""
    width = LEFT + WIDTH + RIGHT
    height = TOP + HEIGHT + BOTTOM
    lines = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" viewBox="0 0 {width} {height}">',
        f"<style>{STYLE}</style>",
        f'<text class="title" x="8" y="20">{escape(title)}</text>',
        *grid(farthest),
        f'<text x="{LEFT + WIDTH / 2:.0f}" y="{TOP + HEIGHT + 38}" text-anchor="middle">{escape(below)}</text>',
    ]
    for index, (label, errors) in enumerate(curves):
        lines += curve(index, label, errors, farthest)
    return "\n".join([*lines, "</svg>", ""])
