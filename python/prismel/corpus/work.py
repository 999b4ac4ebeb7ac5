"""One copy of one recording: what a worker does. Importable, so that any engine can send it about."""

from __future__ import annotations

import errno
import hashlib
import io
import json
import os
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import numpy as np

from .. import _prismel
from .._audio import Audio
from .._files import whole_file, write_text
from ..augment import Augment
from ..errors import PrismelError
from .layout import Layout

SCHEMA = 1


@dataclass(frozen=True)
class Task:
    """One copy to make."""

    name: str  # the input's path relative to the corpus
    copy: int

    @property
    def key(self) -> str:
        """What the draw follows from, with the seed."""
        return f"{self.name}#{self.copy}"


@dataclass(frozen=True)
class Outcome:
    """What became of a task. reason is one sentence, empty where the copy stands."""

    task: Task
    seconds: float = 0.0  # of audio
    reason: str = ""
    is_disk_full: bool = False


def read_audio(path: Path) -> tuple[Audio, int]:
    """A file as float32 (channels, frames) and its rate in Hz. Raises PrismelError."""
    try:
        import soundfile
    except ImportError:
        raise PrismelError("Audio files need the package soundfile (apt-get install python3-soundfile).") from None
    try:
        audio, rate = soundfile.read(path, dtype="float32", always_2d=True)
    except (RuntimeError, OSError) as problem:
        raise PrismelError(f"{path} can't be read as audio: {problem}".rstrip(".") + ".") from None
    if audio.shape[1] > 2:
        raise PrismelError(f"{path} has {audio.shape[1]} channels; one or two can be augmented.")
    if audio.shape[0] == 0:
        raise PrismelError(f"{path} holds no audio.")
    return np.ascontiguousarray(audio.T), int(rate)


def wav_bytes(audio: Audio, rate: int) -> bytes:
    """A WAV file of float32; the same audio gives the same bytes."""
    import soundfile

    file = io.BytesIO()
    soundfile.write(file, audio.T, rate, subtype="FLOAT", format="WAV")
    data = bytearray(file.getvalue())
    # The chunk of peaks carries the time of writing.
    peak = data.find(b"PEAK", 12, 200)
    if peak >= 0:
        data[peak + 12 : peak + 16] = bytes(4)
    return bytes(data)


def digest(audio: Audio) -> str:
    """SHA-256 of the samples: float32, little-endian, channel after channel."""
    return hashlib.sha256(np.ascontiguousarray(audio, dtype="<f4").tobytes()).hexdigest()


def make_copy(layout: Layout, augment: Augment, task: Task) -> Outcome:
    """Makes one copy, unless its record is there. The audio comes first, whole or not at all, then the record."""
    record_path = layout.record(task.name, task.copy)
    if record_path.exists():
        return Outcome(task)
    try:
        audio, rate = read_audio(layout.input(task.name))
        wet = augment.apply(audio, rate, augment.draw(task.key))
        drawn = augment.parameters
        assert drawn is not None
        path = layout.audio(task.name, task.copy)
        path.parent.mkdir(parents=True, exist_ok=True)
        record_path.parent.mkdir(parents=True, exist_ok=True)
        with whole_file(path, sync=True) as beside:
            beside.write_bytes(wav_bytes(wet, rate))
        record: dict[str, Any] = {
            "schema": SCHEMA,
            "input": task.name,
            "copy": task.copy,
            "output": path.relative_to(layout.out).as_posix(),
            "rate": rate,
            "channels": wet.shape[0],
            "frames": wet.shape[1],
            "augment_seed": augment.settings["seed"],
            "tail": augment.settings["tail"],
            **drawn,
            "input_sha256": digest(audio),
            "sha256": digest(wet),
            "version": _prismel.version,
            "numpy": np.__version__,
        }
        write_text(record_path, json.dumps(record, sort_keys=True, indent=1) + "\n")
        return Outcome(task, audio.shape[1] / rate)
    except PrismelError as problem:
        return Outcome(task, reason=str(problem))
    except OSError as problem:
        full = problem.errno in (errno.ENOSPC, errno.EDQUOT)
        return Outcome(task, reason=f"{task.name}: {os.strerror(problem.errno or 0)}.", is_disk_full=full)
    except MemoryError:
        return Outcome(task, reason=f"{task.name}: not enough memory.")
    except Exception as problem:  # whatever a file provokes is that file's alone
        return Outcome(task, reason=f"{task.name}: {type(problem).__name__}: {problem}.")


def replay(record: dict[str, Any], root: Path) -> tuple[Audio, int]:
    """Does again what a record says, from the corpus in `root`; checks input and result. Raises PrismelError."""
    audio, rate = read_audio(root / record["input"])
    if digest(audio) != record["input_sha256"]:
        raise PrismelError(f"{record['input']} isn't the file that the record was made from.")
    drawn: Any = {name: record[name] for name in ("key", "apply", "preset", "seed", "knobs", "gain")}
    wet = Augment({}, tail=record["tail"]).apply(audio, rate, drawn)
    if digest(wet) != record["sha256"]:
        raise PrismelError(
            f"{record['input']}: version {_prismel.version} makes other samples than version {record['version']} did; "
            "a preset may have changed, or the machine computes differently."
        )
    return wet, rate
