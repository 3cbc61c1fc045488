# SPDX-License-Identifier: BSD-3-Clause
"""What is measured of a scan that an exact match does not make trivially good."""

import dataclasses

import numpy

QUANTILES = numpy.linspace(0, 1, 401)
CROWDED = 1 / 50  # a grey value with a larger share of the foreground ties so many voxels
CURVE_POINTS = 64
CURVE_VOXELS = 1 << 20  # of a larger foreground, so many voxels make the curve


@dataclasses.dataclass(frozen=True)
class InputMeasures:
    """Of a scan before its match. Shares are between 0 and 1."""

    quantiles: list  # of the foreground's intensities, at QUANTILES
    background: float  # share of all voxels
    millilitres: float  # of the foreground
    saturated: float  # share of the foreground at its largest value
    tied: float  # share of the foreground whose value is crowded
    smoothness: float  # correlation of neighbouring voxels
    balance: float  # (right - left) / (right + left), of the halves' mean intensities along x, above the minimum

    def to_json(self):
        return dataclasses.asdict(self)

    @staticmethod
    def from_json(content):
        return InputMeasures(**content)


def correlation(a, b):
    """Pearson's; 0 where one of them is constant."""
    a, b = a - a.mean(), b - b.mean()
    scale = float(numpy.sqrt((a @ a) * (b @ b)))
    return float(a @ b) / scale if scale > 0 else 0.0


def foreground_of(values, mask, bins):
    """Where the mask is not 0 or, without one, above the lowest bin of the values' range."""
    if mask is not None:
        return mask != 0
    low, high = float(values.min()), float(values.max())
    return values > low + (high - low) / bins


def neighbour_correlation(values, foreground):
    """The mean, over the axes, of the correlation of voxels and the next, both inside."""
    found = []
    for axis in range(3):
        before = tuple(slice(None, -1) if k == axis else slice(None) for k in range(3))
        behind = tuple(slice(1, None) if k == axis else slice(None) for k in range(3))
        both = foreground[before] & foreground[behind]
        if both.any():
            found.append(correlation(*(values[part][both].astype("float64") for part in (before, behind))))
    return sum(found) / len(found) if found else 0.0


def left_right_balance(values, foreground):
    """Along x, split at the middle of the foreground."""
    occupied = numpy.flatnonzero(foreground.any(axis=(1, 2)))
    middle = (occupied[0] + occupied[-1] + 1) // 2
    lowest = float(values[foreground].min())
    left, right = (
        float(values[half][foreground[half]].mean(dtype="float64")) - lowest if foreground[half].any() else 0.0
        for half in (slice(None, middle), slice(middle, None))
    )
    return (right - left) / (right + left) if right + left > 0 else 0.0


def measure_input(values, foreground, voxel_ml):
    """Measures an array of three axes, x first; `foreground` is an array of bool of its shape, somewhere true."""
    inside = values[foreground].astype("float64")
    _, counts = numpy.unique(inside, return_counts=True)
    return InputMeasures(
        quantiles=numpy.quantile(inside, QUANTILES).tolist(),
        background=1 - inside.size / values.size,
        millilitres=inside.size * voxel_ml,
        saturated=int(counts[-1]) / inside.size,
        tied=int(counts[counts > CROWDED * inside.size].sum()) / inside.size,
        smoothness=neighbour_correlation(values, foreground),
        balance=left_right_balance(values, foreground),
    )


@dataclasses.dataclass(frozen=True)
class TransferCurve:
    """What a match made of intensities: by groups of equally many voxels in ascending order of the input, the middle of
    the inputs, and the 5th, 50th and 95th percentile of the outputs."""

    inputs: numpy.ndarray
    outputs: numpy.ndarray  # 3 rows
    smallest_slope: float  # between the 5th and the 95th percentile of the input, against the mean slope there
    largest_slope: float
    correlation: float  # of output and input


def measure_output(before, after):
    """The effective transfer curve of the foreground's voxels, two arrays of one axis in the same order."""
    step = -(-before.size // CURVE_VOXELS)
    before, after = before[::step], after[::step]
    order = numpy.argsort(before, kind="stable")
    x, y = before[order].astype("float64"), after[order].astype("float64")
    edges = numpy.linspace(0, x.size, min(CURVE_POINTS, x.size) + 1).astype(int)
    inputs = numpy.array([numpy.median(x[a:b]) for a, b in zip(edges, edges[1:])])
    outputs = numpy.array([numpy.quantile(y[a:b], (0.05, 0.5, 0.95)) for a, b in zip(edges, edges[1:])]).T
    low, high = numpy.quantile(x, (0.05, 0.95))
    middle = (inputs >= low) & (inputs <= high)
    across, up = inputs[middle], outputs[1][middle]
    # Over quarters of the range, since single steps of few grey levels say nothing.
    grid = numpy.linspace(low, high, 5)
    steps = numpy.diff(numpy.interp(grid, across, up)) if across.size > 1 else numpy.zeros(4)
    mean = steps.mean()
    slopes = steps / mean if mean != 0 else numpy.zeros(4)
    return TransferCurve(inputs, outputs, float(slopes.min()), float(slopes.max()), correlation(x, y))
