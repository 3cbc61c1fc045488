# SPDX-License-Identifier: BSD-3-Clause
from collections.abc import Sequence
from typing import Any

from tonalign.target import Target

class Transform:
    target: Target
    def __init__(
        self, target: Target, *, keys: Sequence[str] = ("image",), mask: str | None = None, **options: Any
    ) -> None: ...
    def __call__(self, sample: Any) -> Any: ...
