"""What the tests share: the command to compare with, recordings, and audio as arrays."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import prismel
import pytest
from numpy.typing import NDArray

ROOT = Path(__file__).resolve().parent.parent.parent
RECORDINGS = Path("/usr/share/sonic-pi/samples")
THREE = ["loop_amen", "ambi_piano", "perc_bell"]

soundfile = pytest.importorskip("soundfile")


def is_long() -> bool:
    """The whole of a matrix instead of its short form: scripts/nightly asks for it."""
    return os.environ.get("PRISMEL_LONG_TESTS") == "1"


def read(path: Path) -> tuple[NDArray[np.float32], int]:
    audio, rate = soundfile.read(path, dtype="float32", always_2d=True)
    return np.ascontiguousarray(audio.T), rate


def write(path: Path, audio: NDArray[np.float32], rate: int) -> None:
    path.parent.mkdir(parents=True, exist_ok=True)
    soundfile.write(path, audio.T, rate, subtype="FLOAT", format="WAV")


def same(ours: NDArray[np.float32], theirs: NDArray[np.float32]) -> bool:
    """Every bit and the length."""
    return ours.shape == theirs.shape and ours.tobytes() == theirs.tobytes()


def tone(rate: int, channels: int, seconds: float = 0.5) -> NDArray[np.float32]:
    """A burst of noise over a swept sine: every effect has something to do."""
    frames = int(rate * seconds)
    time = np.arange(frames) / rate
    random = np.random.default_rng(rate + channels)
    sine = 0.3 * np.sin(2.0 * np.pi * (100.0 + 1500.0 * time) * time)
    rows = [sine + 0.2 * random.standard_normal(frames) * (time < seconds / 2) for _ in range(channels)]
    return np.array(rows, dtype=np.float32)


class Command:
    """The `prismel` command over arrays and files."""

    def __init__(self, path: Path, folder: Path) -> None:
        self._path = path
        self._folder = folder

    def run(self, *arguments: Any) -> NDArray[np.float32]:
        """Runs it with the arguments and an output behind them; gives back what it wrote."""
        out = self._folder / "command.wav"
        out.unlink(missing_ok=True)
        words = [str(word) for word in (self._path, *arguments, out)]
        environment = {**os.environ, "PRISMEL_PRESETS": str(ROOT / "presets")}
        run = subprocess.run(words, capture_output=True, text=True, env=environment)
        assert run.returncode == 0, (words, run.stderr)
        return read(out)[0]

    def over(self, audio: NDArray[np.float32], rate: int, *arguments: Any) -> NDArray[np.float32]:
        """The same with an array as the input."""
        given = self._folder / "given.wav"
        write(given, audio, rate)
        return self.run(*arguments, given)


@pytest.fixture
def command(tmp_path: Path) -> Command:
    path = Path(os.environ.get("PRISMEL_COMMAND", ROOT / "build" / "release" / "bin" / "prismel"))
    if not path.exists():
        pytest.skip(f"{path} isn't built")
    return Command(path, tmp_path)


@pytest.fixture
def recordings() -> list[Path]:
    if not RECORDINGS.is_dir():
        pytest.skip("the package sonic-pi-samples isn't installed")
    return [RECORDINGS / f"{name}.flac" for name in THREE]


@pytest.fixture
def fx() -> prismel.Prismel:
    return prismel.Prismel(48000, "octave-halo")
