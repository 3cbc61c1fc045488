# SPDX-License-Identifier: BSD-3-Clause
from collections.abc import Sequence
from typing import Any

import numpy
from numpy.typing import NDArray

Histogram = tuple[NDArray[numpy.float64], NDArray[numpy.float64]]
Scan = tuple[NDArray[Any], NDArray[numpy.uint8] | None]

def match(
    names: tuple[str, str],
    scan: Scan,
    target_scan: Scan | None,
    target: Histogram | None,
    bins: int,
    sigma: float,
    endpoints: bool,
    clip: float,
    threads: int,
    result: NDArray[numpy.float32],
) -> dict[str, Any]: ...
def normalise(
    names: tuple[str, str],
    volume: NDArray[Any],
    target_volume: NDArray[Any] | None,
    target: Histogram | None,
    bins: int,
    sigma: float,
    endpoints: bool,
    matches: bool,
    threads: int,
    result: NDArray[numpy.float32],
    target_result: NDArray[numpy.float32] | None,
) -> dict[str, Any]: ...
def histogram(
    scan: Scan, name: str, bins: int, clip: float, threads: int
) -> tuple[NDArray[numpy.float64], NDArray[numpy.float64], float]: ...
def mean(
    histograms: Sequence[tuple[NDArray[numpy.float64], NDArray[numpy.float64], float]],
    names: Sequence[str],
    bins: int,
    sigma: float,
    left_out: Sequence[bool],
    limit: float | None,
) -> tuple[Histogram, list[float], list[bool]]: ...
def save(centres: NDArray[numpy.float64], frequencies: NDArray[numpy.float64], file: str) -> None: ...
def load(file: str, bins: int) -> Histogram: ...
