"""What the package takes for audio, and what it says of anything else."""

from __future__ import annotations

import math
import os
import threading
from types import TracebackType
from typing import Literal, Protocol, Union

import numpy as np
from numpy.typing import NDArray

from .errors import PrismelError

Audio = NDArray[np.float32]
Tail = Union[float, Literal["auto"], None]

LOWEST_RATE = 8000
HIGHEST_RATE = 384000


def check_rate(rate: object) -> int:
    """A sample rate as a whole number of Hz, or PrismelError."""
    try:
        number = float(rate)  # type: ignore[arg-type]
    except (TypeError, ValueError):
        raise PrismelError(f"The sample rate is a number of Hz, not {rate!r}.") from None
    if not (math.isfinite(number) and number == int(number) and LOWEST_RATE <= number <= HIGHEST_RATE):
        raise PrismelError(
            f"The sample rate is a whole number of Hz from {LOWEST_RATE} to {HIGHEST_RATE}, not {rate!r}."
        )
    return int(number)


def check_same_rate(mine: int, given: float | None) -> None:
    """Complains about audio that says that it has another rate than the object was made for."""
    if given is not None and check_rate(given) != mine:
        raise PrismelError(
            f"This object was made for {mine} Hz and the audio has {given:g} Hz; "
            "resample the audio or make an object for its rate."
        )


def check_audio(audio: object, what: str = "Audio") -> Audio:
    """`audio` as (channels, frames), float32 and contiguous: a view where it is that already."""
    remedy = "pass a numpy array of float32, shape (channels, frames) or (frames,)"
    if not isinstance(audio, np.ndarray):
        raise PrismelError(f"{what} came as {type(audio).__name__}; {remedy}.")
    if audio.dtype != np.float32 or not audio.dtype.isnative:
        hint = " / 32768" if audio.dtype == np.int16 else ""
        raise PrismelError(f"{what} is {audio.dtype}; pass audio.astype(numpy.float32){hint}.")
    if audio.ndim == 1:
        audio = audio[np.newaxis, :]
    elif audio.ndim != 2:
        raise PrismelError(f"{what} has {audio.ndim} dimensions; {remedy}.")
    if audio.shape[0] not in (1, 2):
        if audio.shape[1] in (1, 2):
            raise PrismelError(f"{what} has shape {audio.shape}, frames first; pass audio.T, channels first.")
        raise PrismelError(
            f"{what} has shape {audio.shape}, which is {audio.shape[0]} channels; pass one or two."
        )
    return np.ascontiguousarray(audio)


def as_given(audio: Audio, wet: Audio) -> Audio:
    """`wet`, (channels, frames), with the rank of the audio it was made of; two channels need two dimensions."""
    if audio.ndim == 2 or wet.shape[0] == 2:
        return wet
    row: Audio = wet[0]
    return row


def tail_seconds(tail: Tail) -> float | None:
    """The tail as the engine wants it: seconds, or None for automatic."""
    if tail is None:
        return 0.0
    if isinstance(tail, str):
        if tail == "auto":
            return None
    else:
        seconds = float(tail)
        if 0.0 <= seconds <= 1e7:
            return seconds
    raise PrismelError(f'The tail is "auto", None or seconds from 0 on, not {tail!r}.')


class AnyStream(Protocol):
    """What the streams of all effects have in common."""

    non_finite: int
    tail_was_cut: bool

    def feed(self, audio: Audio) -> Audio: ...
    def finish(self) -> Audio: ...
    def whole(self, audio: Audio) -> Audio: ...


class OneAtATime:
    """A lock that raises instead of waiting, so that an object in two threads is noticed.

    A child of a fork gets a new one: the thread that held the old one stayed behind.
    """

    __slots__ = ("_lock", "_process")

    def __init__(self) -> None:
        self._lock = threading.Lock()
        self._process = os.getpid()

    def __enter__(self) -> None:
        if self._process != os.getpid():
            self._lock = threading.Lock()
            self._process = os.getpid()
        if not self._lock.acquire(blocking=False):
            raise PrismelError("This object is at work in another thread; make one for each thread.")

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self._lock.release()
