"""An Augment for the corpus tests that ends its worker for some inputs, as a bug or the kernel would."""

from __future__ import annotations

import os
import signal
import time
from pathlib import Path
from typing import Any

from prismel import Augment
from prismel.augment import Drawn, Key


class Crashing(Augment):
    """Kills whoever draws for the keys in `fatal`, always; slows every draw down by `pause` seconds."""

    def __init__(self, *arguments: Any, fatal: tuple[str, ...] = (), pause: float = 0.0, **more: Any) -> None:
        super().__init__(*arguments, **more)
        self.fatal = fatal
        self.pause = pause

    def draw(self, key: Key) -> Drawn:
        time.sleep(self.pause)
        if str(key) in self.fatal:
            os.kill(os.getpid(), signal.SIGKILL)
        return super().draw(key)


def parts(out: Path) -> list[Path]:
    return [path for path in out.rglob("*") if ".part" in path.name]
