#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""Draws the pictures of docs/TUTORIAL.md from demo-output/, as tonalign-report draws them.

    draw_tutorial.py [DEMO-OUTPUT [FOLDER]]

DEMO-OUTPUT is what scripts/demo and then the commands of the tutorial left; FOLDER takes the pictures, docs/images/
if not given. Needs what tonalign-report needs.
"""

import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "tools/report"))

from matplotlib.figure import Figure
from PIL import Image
from tonalign_report import charts, pictures
from tonalign_report.scan import open_log, read_files

DOTS_PER_INCH = 110


def read(demo, name):
    """A run with its volumes; its log names them from the folder in which the tutorial's commands were given."""
    scan = open_log(str(demo / f"{name}.log"))
    read_files(scan, demo.parent)
    if scan.failures:
        sys.exit(f"draw_tutorial.py: {name}: {'; '.join(scan.failures)}")
    return scan


def save(figure, file, colours):
    """On white, so that it can be read on a page of any colour; few colours make a small file."""
    figure.patch.set(visible=True, facecolor="white")
    figure.savefig(file, dpi=DOTS_PER_INCH, bbox_inches="tight", pad_inches=0.05)
    Image.open(file).convert("RGB").quantize(colours).save(file, optimize=True)


def draw_slices(file, shown):
    """The middle slice across z of each volume, all on one scale of millimetres; above it its black and white."""
    lengths = [pictures.extents(volume) for _, volume, _ in shown]
    height = max(length["y"] for length in lengths)
    width = sum(length["x"] for length in lengths)
    figure = Figure(figsize=(7.2, 7.2 * height / width + 0.6), layout="constrained")
    grid = figure.add_gridspec(1, len(shown), width_ratios=[length["x"] for length in lengths])
    for place, (title, volume, window), length in zip(grid, shown, lengths):
        values = pictures.shrink(pictures.shrink(volume.slices["xy"], 0), 1)
        axes = figure.add_subplot(place)
        grey = pictures.to_grey(values, window)
        axes.imshow(grey, cmap="gray", vmin=0, vmax=255, origin="lower", extent=(0, length["x"], 0, length["y"]))
        axes.set_title(f"{title}\nblack {window[0]:.4g}, white {window[1]:.4g}", fontsize=9)
        axes.set_axis_off()
    save(figure, file, 64)


def draw_chart(figure, file):
    figure.axes[0].legend(frameon=False, loc="upper left")
    save(figure, file, 32)


def main():
    arguments = sys.argv[1:]
    if len(arguments) > 2:
        sys.exit(__doc__)
    demo = pathlib.Path(arguments[0] if arguments else ROOT / "demo-output").resolve()
    folder = pathlib.Path(arguments[1] if len(arguments) == 2 else ROOT / "docs/images")

    run = read(demo, "usage1")
    windows = pictures.windows(run.volumes)
    draw_slices(folder / "tutorial-slices.png", [(what, run.volumes[what], windows[what]) for what in run.volumes])
    draw_chart(charts.histogram_figure(run.histograms)[0], folder / "tutorial-histograms.png")
    draw_chart(charts.cumulative_figure(run.histograms), folder / "tutorial-cumulative.png")

    shown = []
    for name in ("brain", "head"):
        volumes = read(demo, f"{name}-group").volumes
        windows = pictures.windows(volumes)
        shown += [(f"{name}, {what}", volumes[what], windows[what]) for what in ("input", "output")]
    draw_slices(folder / "tutorial-misfit.png", shown)


main()
