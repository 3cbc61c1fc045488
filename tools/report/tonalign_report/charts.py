# SPDX-License-Identifier: BSD-3-Clause
"""Histograms and cumulative curves, drawn by matplotlib, as SVG that takes its colours from the page."""

import io
import re
from xml.etree import ElementTree

import matplotlib
import numpy
from matplotlib.backends.backend_svg import FigureCanvasSVG
from matplotlib.figure import Figure
from matplotlib.ticker import MaxNLocator

from .texts import clean

WIDTH, HEIGHT = 480, 210
NARROW = 200  # in a column of pictures
LEFT, RIGHT, TOP, BOTTOM = 52, 10, 12, 34
POINTS_AT_MOST = 512
PEAK_SHOWN = 2.5  # times the peak of target and output; a comb of few grey levels would press them flat
# Name on the page, colour here, width; in the order of drawing: the wide line first, the result on top.
CURVES = {"target": ("#8fc7ee", 5.5), "input": ("#c25700", 1.3), "output": ("#0a2a52", 1.5)}
SOFT, LINE = "#555d66", "#cfd4da"
# Colours that a page replaces by its own, for light, dark and paper.
PAGE_COLOURS = {SOFT: "--soft", LINE: "--line"} | {colour: f"--{what}" for what, (colour, _) in CURVES.items()}
SVG = "{http://www.w3.org/2000/svg}"

# Whatever style a user has set up for plots of their own, the page looks the same.
matplotlib.rcdefaults()
matplotlib.rcParams.update(
    {"svg.fonttype": "none", "font.size": 11, "lines.solid_capstyle": "butt", "lines.solid_joinstyle": "round"}
)


def thin(values, cumulative):
    """At most POINTS_AT_MOST pairs of bin and value; of a histogram the highest of each group of bins."""
    bins = numpy.arange(1, len(values) + 1)
    if len(values) <= POINTS_AT_MOST:
        return bins, values
    edges = numpy.linspace(0, len(values), POINTS_AT_MOST + 1).astype(int)
    if cumulative:
        return bins[edges[1:] - 1], values[edges[1:] - 1]
    return bins[edges[:-1]], numpy.maximum.reduceat(values, edges[:-1])


def new_axes(width=WIDTH):
    """Those of a new figure, whose units are the page's."""
    figure = Figure(figsize=(width / 72, HEIGHT / 72), dpi=72)
    return figure.add_axes(
        (LEFT / width, BOTTOM / HEIGHT, (width - LEFT - RIGHT) / width, (HEIGHT - TOP - BOTTOM) / HEIGHT)
    )


def empty_axes(bins, top, width=WIDTH):
    """Axes from bin 2 on, the first that is no background, and from 0 to top."""
    axes = new_axes(width)
    first, last = min(2, bins), max(bins, 3)
    axes.set(xlim=(first, last), ylim=(0, top), frame_on=False, axisbelow=True)
    round_bins = MaxNLocator(6 if width == WIDTH else 2, steps=(1, 2, 5, 10), integer=True).tick_values(first, last)
    apart = 0.4 * (round_bins[1] - round_bins[0])
    axes.set_xticks([first, *(n for n in round_bins if first + apart < n <= last)])
    axes.xaxis.set_major_formatter("{x:.0f}")
    axes.yaxis.set_major_locator(MaxNLocator(4, steps=(1, 2, 5, 10)))
    axes.yaxis.set_major_formatter("{x:.3g}")
    axes.tick_params(length=0, pad=6, labelcolor=SOFT)
    axes.grid(axis="y", color=LINE, linewidth=1, clip_on=False)
    axes.tick_params(axis="x", pad=8)
    axes.set_xlabel("bin", color=SOFT, labelpad=3)
    return axes


def draw(curves, top, cumulative):
    """A figure of the three curves; what is higher than the top runs along just above it."""
    axes = empty_axes(len(curves["output"]), top)
    for what, (colour, width) in CURVES.items():
        bins, values = thin(curves[what], cumulative)
        shown = bins >= axes.get_xlim()[0]
        inside = numpy.minimum(values, top * 1.02)
        axes.plot(bins[shown], inside[shown], color=colour, linewidth=width, label=what, clip_on=False)
    return axes.figure


def short_path(path):
    """A tenth of a unit is less than a screen shows, and thousands of points make up most of a chart."""
    rounded = re.sub(r"\d+\.\d+", lambda number: f"{float(number[0]):.1f}", path)
    return re.sub(r"\s*([MLz])\s*", r"\1", rounded).strip()


def for_page(figure, label):
    """A figure as an svg element of the page: without what a file of its own has, in the page's font and colours.

    No id is left, so that charts do not meet in one page; nothing refers to one, as nothing is clipped.
    """
    file = io.StringIO()
    figure.patch.set_visible(False)  # the page has its own paper
    FigureCanvasSVG(figure).print_svg(file)
    drawn = []
    for element in ElementTree.fromstring(file.getvalue()).iter():
        style = element.get("style", "")
        for colour, name in PAGE_COLOURS.items():
            style = style.replace(colour, f"var({name})")
        if element.tag == f"{SVG}path":
            drawn.append(f'<path d="{short_path(element.get("d"))}" style="{style}"/>')
        elif element.tag == f"{SVG}text":
            style = re.sub(r"font: [^;]*; ", "", style)
            x, y = (f"{float(element.get(axis)):.1f}" for axis in "xy")
            drawn.append(f'<text x="{x}" y="{y}" style="{style}">{clean(element.text)}</text>')
    text, width = clean(label), round(72 * figure.get_figwidth())
    return f'<svg viewBox="0 0 {width} {HEIGHT}" role="img" aria-label="{text}">{"".join(drawn)}</svg>'


def transfer_chart(curve, name):
    """What became of the input's grey values: the middle of the outputs, and where nine tenths of them are."""
    axes = new_axes()
    low, middle, high = curve.outputs
    axes.fill_between(curve.inputs, low, high, color=CURVES["target"][0], linewidth=0)
    axes.plot(curve.inputs, middle, color=CURVES["output"][0], linewidth=CURVES["output"][1])
    axes.set(frame_on=False, axisbelow=True)
    for axis in (axes.xaxis, axes.yaxis):
        axis.set_major_locator(MaxNLocator(5, steps=(1, 2, 5, 10)))
        axis.set_major_formatter("{x:g}")
    axes.tick_params(length=0, pad=6, labelcolor=SOFT)
    axes.grid(axis="y", color=LINE, linewidth=1, clip_on=False)
    axes.set_xlabel("input", color=SOFT, labelpad=1)
    said = f"slopes {curve.smallest_slope:.2g} to {curve.largest_slope:.2g} times the mean, correlation {curve.correlation:.3f}"
    return for_page(axes.figure, f"{name}: output by input grey value; {said}"), said


def target_chart(frequencies, name):
    """The histogram of a target that has no pictures."""
    top = float(frequencies.max()) or 1.0
    axes = empty_axes(len(frequencies), top * 1.04, NARROW)
    bins, values = thin(frequencies, False)
    axes.plot(bins, values, color=CURVES["target"][0], linewidth=2, clip_on=False)
    return for_page(axes.figure, f"{name}: frequencies of the target by bin")


def histogram_figure(histograms):
    """The figure, and a note about what is cut off at its top (empty if nothing is)."""
    peaks = {what: float(values.max()) for what, values in histograms.items()}
    top = min(max(peaks.values()), PEAK_SHOWN * max(peaks["output"], peaks["target"])) or 1.0
    note = f"The input's highest bins are cut off; they reach {peaks['input']:.3g}." if peaks["input"] > top else ""
    return draw(histograms, top * 1.04, cumulative=False), note


def cumulative_figure(histograms):
    return draw({what: numpy.cumsum(values) for what, values in histograms.items()}, 1.0, cumulative=True)


def histogram_chart(histograms, name):
    """The histograms for the page, and a note about what is cut off at their top."""
    figure, note = histogram_figure(histograms)
    said = ", ".join(
        f"{what} peaks at bin {int(values.argmax()) + 1} with {values.max():.3g}" for what, values in histograms.items()
    )
    return for_page(figure, f"{name}: frequencies by bin; {said}"), note


def cumulative_chart(histograms, name):
    sums = {what: numpy.cumsum(values) for what, values in histograms.items()}
    medians = ", ".join(f"{what} {int(numpy.searchsorted(s, 0.5 * s[-1])) + 1}" for what, s in sums.items())
    return for_page(cumulative_figure(histograms), f"{name}: cumulative frequencies by bin; medians in bins {medians}")
