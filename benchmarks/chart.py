"""A bar chart of ratios as SVG, which follows the reader's choice of light or dark."""

import math
from dataclasses import dataclass
from html import escape

BAR = 14
STEP = 18
LEFT = 250
WIDTH = 520
RIGHT = 60
TOP = 56

STYLE = """
  text { font: 12px system-ui, sans-serif; fill: #24292f; }
  .title { font-size: 14px; font-weight: 600; }
  .value { font-size: 11px; }
  .met { fill: #2f7d4f; }
  .missed { fill: #b35900; }
  .grid { stroke: #8c959f; stroke-opacity: 0.35; }
  .even { stroke: #24292f; stroke-width: 1.5; }
  .wanted { stroke: #24292f; stroke-width: 2; }
  @media (prefers-color-scheme: dark) {
    text { fill: #d1d9e0; }
    .met { fill: #4aa871; }
    .missed { fill: #d98a3d; }
    .even, .wanted { stroke: #d1d9e0; }
  }
"""


@dataclass(frozen=True)
class Bar:
    label: str
    ratio: float
    wanted: float
    met: bool


def tick_step(largest):
    return 0.5 if largest <= 4 else 1.0 if largest <= 9 else math.ceil(largest / 8)


def bar_lines(index, bar, scale):
    y = TOP + index * STEP
    end = LEFT + bar.ratio * scale
    wanted = LEFT + bar.wanted * scale
    return [
        f'<text x="{LEFT - 8}" y="{y + 11}" text-anchor="end">{escape(bar.label)}</text>',
        f'<rect class="{"met" if bar.met else "missed"}" x="{LEFT}" y="{y}" width="{end - LEFT:.1f}" height="{BAR}"/>',
        f'<line class="wanted" x1="{wanted:.1f}" x2="{wanted:.1f}" y1="{y - 1}" y2="{y + BAR + 1}"/>',
        f'<text class="value" x="{max(end, wanted) + 5:.1f}" y="{y + 11}">{bar.ratio:.2f}×</text>',
    ]


def axis_lines(largest, scale, bottom):
    lines = []
    step = tick_step(largest)
    for i in range(int(largest / step) + 1):
        x = LEFT + i * step * scale
        lines.append(f'<line class="grid" x1="{x:.1f}" x2="{x:.1f}" y1="{TOP - 6}" y2="{bottom}"/>')
        lines.append(f'<text class="value" x="{x:.1f}" y="{TOP - 10}" text-anchor="middle">{i * step:g}</text>')
    even = LEFT + scale
    lines.append(f'<line class="even" x1="{even:.1f}" x2="{even:.1f}" y1="{TOP - 6}" y2="{bottom}"/>')
    return lines


def draw(title, bars):
    largest = max([1.0, *(max(bar.ratio, bar.wanted) for bar in bars)])
    scale = WIDTH / largest
    bottom = TOP + len(bars) * STEP
    size = f'width="{LEFT + WIDTH + RIGHT}" height="{bottom + 12}"'
    lines = [
        f'<svg xmlns="http://www.w3.org/2000/svg" {size} viewBox="0 0 {LEFT + WIDTH + RIGHT} {bottom + 12}">',
        f"<style>{STYLE}</style>",
        f'<text class="title" x="8" y="20">{escape(title)}</text>',
        *axis_lines(largest, scale, bottom),
    ]
    for index, bar in enumerate(bars):
        lines += bar_lines(index, bar, scale)
    return "\n".join([*lines, "</svg>", ""])
