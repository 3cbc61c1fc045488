# SPDX-License-Identifier: BSD-3-Clause
import os
from collections.abc import Container, Iterable
from dataclasses import dataclass
from typing import Any, TypeAlias

import numpy
from numpy.typing import ArrayLike, NDArray

# An array of three axes, the name of a file, or a nibabel image, which has no type of its own.
VolumeLike: TypeAlias = ArrayLike | str | os.PathLike[str] | Any

@dataclass(frozen=True)
class Scan:
    name: str
    distance: float
    left_out: bool

class Target:
    centres: NDArray[numpy.float64]
    frequencies: NDArray[numpy.float64]
    scans: tuple[Scan, ...]
    def __init__(self, centres: ArrayLike, frequencies: ArrayLike) -> None: ...
    @classmethod
    def fit(
        cls,
        scans: Iterable[VolumeLike],
        *,
        masks: Iterable[VolumeLike | None] | None = None,
        bins: int = 256,
        clip: float = 99.9,
        smooth: float = 0.0,
        leave_out: Container[str | int] = (),
        leave_out_outliers: float | None = None,
        threads: int | None = None,
    ) -> Target: ...
    @classmethod
    def mean(cls, targets: Iterable[Target], *, smooth: float = 0.0) -> Target: ...
    @classmethod
    def load(cls, file: str | os.PathLike[str]) -> Target: ...
    def save(self, file: str | os.PathLike[str]) -> None: ...
    def distance(self, other: Target) -> float: ...
    def plot(self, ax: Any = None, **style: Any) -> Any: ...
    def __eq__(self, other: object) -> bool: ...
