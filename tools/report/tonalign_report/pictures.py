# SPDX-License-Identifier: BSD-3-Clause
"""Middle slices as small greyscale PNG files inside the page."""

import base64
import io

import numpy
from PIL import Image

from .texts import clean

PIXELS_AT_MOST = 150  # along either axis: three volumes of three planes stay below 150 KB
SMOOTH_FROM = 60  # pictures of fewer pixels show their voxels as squares
PLANES = {"xy": ("x", "y", "z"), "xz": ("x", "z", "y"), "yz": ("y", "z", "x")}
AXES = "xyz"
ABSENT = {"input": "overwritten by the output", "target": "a histogram file"}
COMMON_SCALE_WITHIN = 3  # volumes of more different extents are each drawn as large as they fit


def png(grey):
    """A PNG file of an array [row][column] of bytes, top row first."""
    # Pillow rather than matplotlib's imsave, which stands on it: that writes four channels, twice the bytes.
    file = io.BytesIO()
    Image.fromarray(grey).save(file, "png", optimize=True)
    return file.getvalue()


def shrink(values, axis):
    """Means over neighbours along an axis that has more voxels than a picture has pixels."""
    count = values.shape[axis]
    if count <= PIXELS_AT_MOST:
        return values
    edges = numpy.linspace(0, count, PIXELS_AT_MOST + 1).astype(int)
    shape = [1, 1]
    shape[axis] = -1
    return numpy.add.reduceat(values, edges[:-1], axis=axis) / numpy.diff(edges).reshape(shape)


def to_grey(values, window):
    low, high = window
    scale = 255 / (high - low) if high > low else 0
    return numpy.clip((values - low) * scale + 0.5, 0, 255).astype(numpy.uint8)


def extents(volume):
    """Millimetres along x, y and z."""
    return dict(zip(AXES, (n * size for n, size in zip(volume.header.sizes(), volume.header.voxel_sizes()))))


def picture(volume, plane, what, window, full_width):
    """One slice as HTML; the millimetres of full_width are as wide as the place it is put in."""
    across, upward, through = PLANES[plane]
    values = shrink(shrink(volume.slices[plane], 0), 1)[::-1]
    sizes, length = dict(zip(AXES, volume.header.sizes())), extents(volume)
    index, count = sizes[through] // 2, sizes[through]
    content = base64.b64encode(png(to_grey(values, window))).decode()
    kind = "" if max(values.shape) >= SMOOTH_FROM else ' class="squares"'
    text = clean(f"{what}: {across}-{upward} plane, slice {through} = {index} of {count}, {upward} upward")
    share = max(1.0, 100 * length[across] / full_width)
    ratio = min(max(length[across] / length[upward], 0.02), 50)
    return (
        f'<img{kind} alt="{text}" src="data:image/png;base64,{content}" width="{values.shape[1]}" '
        f'height="{values.shape[0]}" style="width:{share:.4g}%;aspect-ratio:{ratio:.5g}" decoding="async">'
    )


def windows(volumes):
    """Black and white of each volume. Output and target share theirs: they are on one scale."""
    after = [volumes[what] for what in ("output", "target") if volumes[what]]
    shared = (min(v.minimum for v in after), max(v.bright for v in after))
    result = {"output": shared, "target": shared}
    if volumes["input"]:
        result["input"] = (volumes["input"].minimum, volumes["input"].bright)
    return result


def picture_grid(volumes, name, target=None):
    """The slices of all volumes of a scan: a column for each, a row for each plane. `target` stands in for those of the
    target."""
    shown = {what: volume for what, volume in volumes.items() if volume}
    widest = {what: max(extents(volume).values()) for what, volume in shown.items()}
    if max(widest.values()) <= COMMON_SCALE_WITHIN * min(widest.values()):
        widest = dict.fromkeys(widest, max(widest.values()))
    window = windows(volumes)
    heads, rows = [], []
    for what in volumes:
        limits = "black {:.4g}, white {:.4g}".format(*window[what]) if what in shown else ABSENT[what]
        heads.append(f'<th scope="col">{what}<small>{limits}</small></th>')
    for plane, (across, upward, through) in PLANES.items():
        cells = "".join(
            f"<td>{picture(v, plane, f'{name}, {what}', window[what], widest[what]) if v else ''}</td>"
            for what, v in volumes.items()
            if v or what != "target"
        )
        if not volumes["target"] and not rows:
            cells += f'<td rowspan="{len(PLANES)}">{target}</td>'
        label = f"{across} \N{RIGHTWARDS ARROW}<br>{upward} \N{UPWARDS ARROW}<br><small>mid {through}</small>"
        rows.append(f'<tr><th scope="row">{label}</th>{cells}</tr>')
    head = f'<tr><td></td>{"".join(heads)}</tr>'
    return f'<table class="slices"><thead>{head}</thead><tbody>{"".join(rows)}</tbody></table>'
