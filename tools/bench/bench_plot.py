"""Plots of what tools/bench/bench has measured, as SVG."""
import html
import statistics

WIDTH, HEIGHT = 720, 380
LEFT, RIGHT, TOP, BOTTOM = 70, 170, 40, 50
COLOURS = ["#444444", "#c0392b", "#2471a3", "#229954", "#b9770e", "#7d3c98"]


def colour(row):
    return COLOURS[row] if row < len(COLOURS) else f"hsl({row * 137 % 360}, 70%, 40%)"


class Plot:
    """One chart: its frame first, whatever is drawn in it after."""

    def __init__(self, title, across, up, x_range, y_range):
        self.x_range, self.y_range = x_range, y_range
        self.parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" '
                      f'font-size="12"><rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>']
        self.text(WIDTH / 2, 20, title, anchor="middle", size=15)
        self.text(LEFT + (WIDTH - LEFT - RIGHT) / 2, HEIGHT - 10, across, anchor="middle")
        self.parts.append(f'<text transform="translate(16 {HEIGHT / 2}) rotate(-90)" text-anchor="middle">'
                          f"{html.escape(up)}</text>")

    def x(self, value):
        low, high = self.x_range
        return LEFT + (value - low) / (high - low) * (WIDTH - LEFT - RIGHT)

    def y(self, value):
        low, high = self.y_range
        return HEIGHT - BOTTOM - (min(value, high) - low) / (high - low) * (HEIGHT - TOP - BOTTOM)

    def text(self, x, y, text, anchor="start", size=12, colour="black"):
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}" fill="{colour}">'
                          f"{html.escape(text)}</text>")

    def line(self, points, colour, width=2.0):
        path = " ".join(f"{self.x(x):.1f},{self.y(y):.1f}" for x, y in points)
        self.parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="{width}"/>')

    def box(self, x, y, width, height, colour):
        self.parts.append(f'<rect x="{x:.1f}" y="{y:.1f}" width="{width:.1f}" height="{max(height, 0.5):.1f}" fill="{colour}"/>')

    def grid(self, y_ticks, x_ticks=()):
        for value, label in y_ticks:
            self.line([(self.x_range[0], value), (self.x_range[1], value)], "#dddddd", 1)
            self.text(LEFT - 6, self.y(value) + 4, label, anchor="end")
        for value, label in x_ticks:
            self.text(self.x(value), HEIGHT - BOTTOM + 18, label, anchor="middle")

    def legend(self, names):
        for row, name in enumerate(names):
            self.box(WIDTH - RIGHT + 16, TOP + 20 * row, 12, 12, colour(row))
            self.text(WIDTH - RIGHT + 34, TOP + 20 * row + 11, name)

    def save(self, path):
        path.write_text("\n".join([*self.parts, "</svg>"]) + "\n")


def ticks(high, count=5):
    return [(high * i / count, f"{high * i / count:g}") for i in range(count + 1)]


def rounded_up(value):
    """The next of 1, 2, 5, 10, 20, 50 ... that is not below `value`."""
    step = 1.0
    while True:
        for factor in (1, 2, 5):
            if step * factor >= value:
                return step * factor
        step *= 10


def latency(name, contenders, to):
    high = rounded_up(max(one["percentiles"][90] for one in contenders) / 1000)
    line, unit = name.split()
    what = {"byte": "One byte", "packet": "One key", "key": "One key, same plug-in,"}[unit]
    plot = Plot(f"{what} on {line}: sent until heard", "percentile", "microseconds", (0, 99), (0, high))
    plot.grid(ticks(high), [(percent, str(percent)) for percent in (0, 25, 50, 75, 90, 99)])
    for row, who in enumerate(contenders):
        plot.line([(percent, ns / 1000) for percent, ns in enumerate(who["percentiles"])], colour(row))
    plot.legend([who["name"] for who in contenders])
    plot.save(to / f"latency-{line}-{unit}.svg")


def decode(runs, to):
    kinds = ["short_status", "long_status", "shuttle_status", "key", "version", "garbage"]
    ways = ["reference", "decoder", "reference_receive", "receive"]
    medians = {name: statistics.median(ns) for name, ns in runs.items()}
    high = rounded_up(max(medians[f"{way}/{kind}"] for way in ways for kind in kinds if (way, kind) != ("receive", "long_status")))
    plot = Plot("Decoding one packet", "", "nanoseconds", (0, len(kinds)), (0, high))
    plot.grid(ticks(high), [(i + 0.5, kind.replace("_", " ")) for i, kind in enumerate(kinds)])
    width = (WIDTH - LEFT - RIGHT) / len(kinds) / (len(ways) + 1)
    for i, kind in enumerate(kinds):
        for j, way in enumerate(ways):
            if kind == "long_status" and way.endswith("receive"):
                continue
            y = plot.y(medians[f"{way}/{kind}"])
            plot.box(plot.x(i) + (j + 0.5) * width, y, width, plot.y(0) - y, COLOURS[j])
    plot.legend(["plain loop", "decoder", "loop with framing", "receive callback"])
    plot.save(to / "decode.svg")


def flat(runs, to):
    costs = sorted((int(name.split("/")[1]), statistics.median(ns)) for name, ns in runs.items() if name.startswith("flat/"))
    high = rounded_up(max(ns for _, ns in costs))
    plot = Plot("One packet among many", "packets in a row", "nanoseconds a packet", (0, len(costs) - 1), (0, high))
    plot.grid(ticks(high), [(i, f"{count:,}") for i, (count, _) in enumerate(costs)])
    plot.line([(i, ns) for i, (_, ns) in enumerate(costs)], COLOURS[1])
    plot.save(to / "flat.svg")


def startup(due, models, to):
    rest = {f"real, {one['model']}": max(0.0, statistics.median(one["total_ms"]) - sum(due.values())) for one in models}
    bars = {"virtual": 0.0, **rest}
    highest = sum(due.values()) + max(bars.values())
    high = 350 if highest <= 350 else rounded_up(highest)
    plot = Plot("From init() to an active console", "", "milliseconds", (0, len(bars)), (0, high))
    plot.grid(ticks(high, 7), [(i + 0.5, name) for i, name in enumerate(bars)])
    for i, left in enumerate(bars.values()):
        base = 0.0
        for part, colour in zip([due["fixed_ms"], due["boot_ms"], due["wire_ms"], left], COLOURS):
            plot.box(plot.x(i + 0.3), plot.y(base + part), plot.x(0.4) - plot.x(0), plot.y(base) - plot.y(base + part), colour)
            base += part
    plot.legend(["RTS held low", "console boots", "bytes on the wire", "the rest"])
    plot.save(to / "startup.svg")


def flood(one, to):
    kilobytes = one["resident_kb"]
    high = rounded_up(max(kilobytes) / 1024)
    plot = Plot(f"Memory in a flood of {one['per_second']:,.0f} packets a second", "seconds", "MiB in RAM",
                (0, max(len(kilobytes) - 1, 1)), (0, high))
    plot.grid(ticks(high), [(i, str(i)) for i in range(0, len(kilobytes), 5)])
    plot.line([(i, kb / 1024) for i, kb in enumerate(kilobytes)], COLOURS[1])
    plot.save(to / "flood.svg")


def draw(results, to):
    """Everything that there is something for."""
    for name, contenders in results.get("latency", {}).items():
        latency(name, contenders, to)
    if "decode_ns" in results:
        decode(results["decode_ns"], to)
        flat(results["decode_ns"], to)
    if "startup" in results:
        startup(results["startup_due_ms"], results["startup"], to)
    if "flood" in results:
        flood(results["flood"], to)
