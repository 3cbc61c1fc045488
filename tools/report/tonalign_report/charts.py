"""Histograms and cumulative curves as SVG that takes its colours from the page."""

import html
import math

import numpy

WIDTH, HEIGHT = 480, 210
LEFT, RIGHT, TOP, BOTTOM = 52, 10, 12, 34
POINTS_AT_MOST = 512
ORDER = ("target", "input", "output")  # drawn one over another: the wide line first, the result on top
PEAK_SHOWN = 2.5  # times the peak of target and output; a comb of few grey levels would press them flat


def thin(values, cumulative):
    """At most POINTS_AT_MOST pairs of bin and value; of a histogram the highest of each group of bins."""
    bins = numpy.arange(1, len(values) + 1)
    if len(values) <= POINTS_AT_MOST:
        return bins, values
    edges = numpy.linspace(0, len(values), POINTS_AT_MOST + 1).astype(int)
    if cumulative:
        return bins[edges[1:] - 1], values[edges[1:] - 1]
    return bins[edges[:-1]], numpy.maximum.reduceat(values, edges[:-1])


def nice_step(span, parts):
    """A step of 1, 2 or 5 times a power of ten that divides a span into at most so many parts."""
    raw = span / parts
    power = 10.0 ** math.floor(math.log10(raw))
    return next(step * power for step in (1, 2, 5, 10) if step * power >= raw * (1 - 1e-9))


class Frame:
    """Axes of one chart, and the way from bins and values to its places."""

    def __init__(self, bins, top):
        self.first, self.last, self.top = min(2, bins), max(bins, 3), top

    def x(self, bin_number):
        return LEFT + (bin_number - self.first) / (self.last - self.first) * (WIDTH - LEFT - RIGHT)

    def y(self, value):
        return HEIGHT - BOTTOM - value / self.top * (HEIGHT - TOP - BOTTOM)

    def grid(self):
        parts = []
        step = nice_step(self.top, 4)
        for k in range(int(self.top / step * (1 + 1e-9)) + 1):
            y = self.y(k * step)
            parts.append(f'<path class="grid" d="M{LEFT} {y:.1f}H{WIDTH - RIGHT}"/>')
            parts.append(f'<text x="{LEFT - 6}" y="{y + 4:.1f}" text-anchor="end">{k * step:.3g}</text>')
        step = max(1, int(nice_step(self.last - self.first, 6)))
        ticks = [self.first] + [n for n in range(step, self.last + 1, step) if n - self.first > 0.4 * step]
        for n in ticks:
            parts.append(f'<text x="{self.x(n):.1f}" y="{HEIGHT - BOTTOM + 16}" text-anchor="middle">{n}</text>')
        middle = (LEFT + WIDTH - RIGHT) / 2
        parts.append(f'<text class="name" x="{middle}" y="{HEIGHT - 4}" text-anchor="middle">bin</text>')
        return "".join(parts)

    def curve(self, values, style, cumulative):
        bins, values = thin(values, cumulative)
        inside = numpy.minimum(values, self.top * 1.02)
        points = [f"{self.x(b):.1f} {self.y(v):.1f}" for b, v in zip(bins, inside) if b >= self.first]
        return f'<path class="curve {style}" d="M{"L".join(points)}"/>'


def chart(curves, top, label, cumulative):
    frame = Frame(len(curves["output"]), top)
    drawn = "".join(frame.curve(curves[what], what, cumulative) for what in ORDER)
    text = html.escape(label)
    return f'<svg viewBox="0 0 {WIDTH} {HEIGHT}" role="img" aria-label="{text}">{frame.grid()}{drawn}</svg>'


def histogram_chart(histograms, name):
    """The chart, and a note about what is cut off at its top (empty if nothing is)."""
    peaks = {what: float(values.max()) for what, values in histograms.items()}
    top = min(max(peaks.values()), PEAK_SHOWN * max(peaks["output"], peaks["target"])) or 1.0
    said = ", ".join(
        f"{what} peaks at bin {int(values.argmax()) + 1} with {values.max():.3g}" for what, values in histograms.items()
    )
    note = f"The input's highest bins are cut off; they reach {peaks['input']:.3g}." if peaks["input"] > top else ""
    return chart(histograms, top * 1.04, f"{name}: frequencies by bin; {said}", False), note


def cumulative_chart(histograms, name):
    sums = {what: numpy.cumsum(values) for what, values in histograms.items()}
    medians = ", ".join(f"{what} {int(numpy.searchsorted(s, 0.5 * s[-1])) + 1}" for what, s in sums.items())
    return chart(sums, 1.0, f"{name}: cumulative frequencies by bin; medians in bins {medians}", True)
