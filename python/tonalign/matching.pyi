# SPDX-License-Identifier: BSD-3-Clause
from dataclasses import dataclass
from typing import Any, Literal


from tonalign.target import Target, VolumeLike

def match(
    volume: VolumeLike,
    target: Target | VolumeLike,
    *,
    mask: VolumeLike | None = None,
    target_mask: VolumeLike | None = None,
    bins: int = 256,
    sigma: float = 0.0,
    endpoints: bool = False,
    outside: float | Literal["keep"] | None = None,
    clip: float | None = None,
    threads: int | None = None,
) -> Any: ...
@dataclass(frozen=True)
class Normalised:
    volume: Any
    target: Any
    before: Target
    after: Target
    target_before: Target
    target_after: Target
    distances: tuple[float, float, float]
    foreground: int

def normalise(
    volume: VolumeLike,
    target: Target | VolumeLike,
    *,
    bins: int = 256,
    sigma: float = 0.0,
    endpoints: bool = False,
    matching: bool = True,
    threads: int | None = None,
) -> Normalised: ...
