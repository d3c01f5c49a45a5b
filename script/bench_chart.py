"""Charts of cost against size for bench_report.py: an SVG for each family, a panel for each work.

Both axes are logarithmic. Z is the thick line; peers are thin, and named at their ends. Of two
sizes with as many keys, the one of fewer stanzas stands beside the other, joined by dashes.
"""
import collections
import math
import re
from xml.sax.saxutils import escape

COLUMNS = 3
PANEL_WIDTH, PANEL_HEIGHT = 372, 246
LEFT, RIGHT, TOP, BOTTOM = 54, 100, 30, 36  # of the plot within its panel
BESIDE = 44  # between two sizes with as many keys
LABEL_HEIGHT = 11
LABEL_WIDTH = 52

STYLE = """
  text { font: 10px sans-serif; fill: #767676 }
  .work { font-weight: bold; font-size: 12px }
  .grid { stroke: #888; stroke-opacity: 0.3 }
  .peer { stroke: #999; fill: none; stroke-width: 1.2 }
  .z { stroke: #1f6fd8; fill: none; stroke-width: 2.8 }
  .beside { stroke-dasharray: 2 3 }
  circle.peer { fill: #999; stroke: none }
  circle.z { fill: #1f6fd8; stroke: none }
  text.z { fill: #1f6fd8; stroke: none; font-weight: bold }
  @media (prefers-color-scheme: dark) {
    text { fill: #aaa }
    .peer { stroke: #888 }
    .z { stroke: #62aeff }
    circle.z, text.z { fill: #62aeff }
  }
"""


def amount(size):
    """How much a size stands for: keys, bytes or objects. None when it is not a number."""
    if size == "60lines":
        return 30
    if match := re.fullmatch(r"(\d+)x(\d+)", size):
        return int(match[1]) * int(match[2])
    if match := re.fullmatch(r"(\d+)(B|KB)?", size):
        return int(match[1]) * (1024 if match[2] == "KB" else 1)
    return None


def places(sizes):
    """{size: x} across the plot, in the order of the line."""
    def order(size):
        return amount(size), -int(re.match(r"\d+", size)[0])

    sizes = sorted(sizes, key=order)
    least, most = amount(sizes[0]), amount(sizes[-1])
    twins = len(sizes) - len({amount(size) for size in sizes})
    width = PANEL_WIDTH - LEFT - RIGHT - BESIDE * twins
    found = {}
    shift = 0
    for before, size in zip([None] + sizes, sizes):
        if before is not None and amount(before) == amount(size):
            shift += BESIDE
        share = math.log(amount(size) / least) / math.log(most / least)
        found[size] = LEFT + share * width + shift
    return found


def value_shown(value, is_time):
    if not is_time:
        return f"{value:g}"
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if value >= scale:
            return f"{value / scale:g} {unit}"
    return f"{value:g} ns"


def spread(heights):
    """{name: y} moved apart, so that the names can be read."""
    moved = {}
    free = -math.inf
    for name, y in sorted(heights.items(), key=lambda item: item[1]):
        moved[name] = max(y, free)
        free = moved[name] + LABEL_HEIGHT
    excess = free - LABEL_HEIGHT - (PANEL_HEIGHT - BOTTOM)
    return {name: y - max(0, excess) for name, y in moved.items()}


def line(kind, x1, y1, x2, y2):
    return f'<line class="{kind}" x1="{x1:.0f}" y1="{y1:.1f}" x2="{x2:.0f}" y2="{y2:.1f}"/>'


def text(x, y, words, anchor="start", kind="size"):
    place = f'x="{x:.0f}" y="{y:.1f}" text-anchor="{anchor}"'
    return f'<text class="{kind}" {place}>{escape(words)}</text>'


def panel(work, rows):
    """`rows` is {size: {who: value}}."""
    values = [value for row in rows.values() for value in row.values()]
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
    high = max(high, low + 1)
    across = places(rows)

    def height(value):
        return PANEL_HEIGHT - BOTTOM - (math.log10(value) - low) / (high - low) * (
            PANEL_HEIGHT - TOP - BOTTOM)

    yield text(LEFT, TOP - 14, work, kind="work")
    is_time = ":" not in work
    for power in range(low, high + 1):
        y = height(10.0 ** power)
        yield line("grid", LEFT, y, PANEL_WIDTH - RIGHT, y)
        yield text(LEFT - 5, y + 3, value_shown(10.0 ** power, is_time), "end")
    last = -LABEL_WIDTH
    for size, x in across.items():
        row = 0 if x - last >= LABEL_WIDTH else LABEL_HEIGHT  # names that would meet take turns
        last = x if row == 0 else last
        yield text(x, PANEL_HEIGHT - BOTTOM + 14 + row, size, "middle")
    names = dict.fromkeys(who for row in rows.values() for who in row)
    ends = {}
    for who in sorted(names, key=lambda name: name == "Z"):  # Z above the others
        kind = "z" if who == "Z" else "peer"
        points = [(size, across[size], height(rows[size][who])) for size in across
                  if who in rows[size]]
        for (before, x1, y1), (size, x2, y2) in zip(points, points[1:]):
            beside = amount(before) == amount(size)
            yield line(kind + (" beside" if beside else ""), x1, y1, x2, y2)
        for _, x, y in points:
            yield f'<circle class="{kind}" cx="{x:.0f}" cy="{y:.1f}" r="{3 if who == "Z" else 2}"/>'
        ends[who] = points[-1][2]
    for who, y in spread(ends).items():
        yield text(PANEL_WIDTH - RIGHT + 8, y + 3, who, kind="z" if who == "Z" else "size")


def chart(family, works):
    columns = min(COLUMNS, len(works))
    width = columns * PANEL_WIDTH
    total = math.ceil(len(works) / columns) * PANEL_HEIGHT
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{total}" '
           f'viewBox="0 0 {width} {total}">')
    yield f"<title>{escape(family)}: cost against size</title>\n<style>{STYLE}</style>"
    for index, (work, rows) in enumerate(works.items()):
        x, y = index % columns * PANEL_WIDTH, index // columns * PANEL_HEIGHT
        yield f'<g transform="translate({x} {y})">'
        yield from panel(work, rows)
        yield "</g>"
    yield "</svg>"


def write_all(folder, times, counters):
    """Writes the charts; {family: file name}. Of the counters, those that count bytes are drawn."""
    families = collections.defaultdict(lambda: collections.defaultdict(dict))
    for (family, work, size), row in [*times.items(), *counters.items()]:
        row = {who: value for who, value in row.items() if value > 0}
        drawn = ":" not in work or ": bytes" in work
        if drawn and "Z" in row and amount(size) is not None:
            families[family][work][size] = row
    folder.mkdir(exist_ok=True)
    for old in folder.glob("*.svg"):
        old.unlink()
    written = {}
    for family, works in families.items():
        works = {work: rows for work, rows in works.items()
                 if len({amount(size) for size in rows}) > 1}
        if works:
            written[family] = f"{family}.svg"
            (folder / written[family]).write_text("\n".join(chart(family, works)) + "\n")
    return written
