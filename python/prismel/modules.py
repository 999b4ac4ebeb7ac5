"""Modules of the library on their own: the plate, the convolution reverb, noise."""

from __future__ import annotations

import math
import os
import warnings
from collections.abc import Callable, Iterable, Iterator, MutableMapping
from dataclasses import dataclass
from typing import Any, Union

import numpy as np

from . import _prismel
from ._audio import (
    AnyStream,
    Audio,
    OneAtATime,
    Tail,
    as_given,
    check_audio,
    check_rate,
    check_same_rate,
    tail_seconds,
)
from ._table import Value
from .errors import PrismelError


@dataclass(frozen=True)
class ModuleKnob:
    """One knob of a module. minimum, maximum and start are in the unit; labels are the values of a choice."""

    name: str
    unit: str
    note: str
    labels: tuple[str, ...]
    minimum: float
    maximum: float
    start: float


def _knobs(rows: Iterable[_prismel.KnobRow]) -> dict[str, ModuleKnob]:
    return {row[0]: ModuleKnob(row[0], row[1], row[2], tuple(row[3]), *row[4:]) for row in rows}


def _text(value: Value) -> str:
    """A value as the library reads it; what a float says it is survives."""
    if isinstance(value, bool):
        return "on" if value else "off"
    if isinstance(value, (int, float, np.integer, np.floating)):
        return repr(float(value))
    return str(value)


class KnobView(MutableMapping[str, Value]):
    """A module's knobs by name, in any case. Deleting one puts it back to its start."""

    def __init__(
        self,
        table: dict[str, ModuleKnob],
        parse: Callable[[str, str], tuple[str, float]],
        texts: dict[str, str],
    ) -> None:
        self._table = table
        self._parse = parse
        self._texts = texts

    def _find(self, name: str) -> str:
        for known in self._table:
            if known.lower() == name.lower().replace("_", ""):
                return known
        return self._parse(name, "norm:0")[0]

    def __getitem__(self, name: str) -> Value:
        knob = self._table[self._find(name)]
        text = self._texts.get(knob.name)
        if text is None:
            value = knob.start
        else:
            try:
                return float(text)
            except ValueError:
                value = self._parse(knob.name, text)[1]
        if knob.labels:
            return knob.labels[round(value - knob.minimum)]
        return float(f"{value:.7g}")

    def __setitem__(self, name: str, value: Value) -> None:
        known = self._find(name)
        text = _text(value)
        self._parse(known, text)
        self._texts[known] = text

    def __delitem__(self, name: str) -> None:
        self._texts.pop(self._find(name), None)

    def __iter__(self) -> Iterator[str]:
        return iter(self._table)

    def __len__(self) -> int:
        return len(self._table)

    def __repr__(self) -> str:
        return repr(dict(self))


class _Module:
    """What plate and convolution reverb have in common."""

    _table: dict[str, ModuleKnob]

    def __init__(self, sample_rate: float, knobs: dict[str, Value]) -> None:
        self._rate = check_rate(sample_rate)
        self._texts: dict[str, str] = {}
        self._turn = OneAtATime()
        self._non_finite = 0
        self._warned = False
        for name, value in knobs.items():
            self.parameters[name] = value

    @property
    def parameters(self) -> KnobView:
        """The knobs by name, in their units."""
        return KnobView(self._table, self._parse, self._texts)

    @property
    def sample_rate(self) -> int:
        """Hz."""
        return self._rate

    @property
    def non_finite(self) -> int:
        """Input samples of the last call that weren't finite, or lay beyond 1e6."""
        return self._non_finite

    @classmethod
    def knobs(cls) -> list[ModuleKnob]:
        """All knobs there are."""
        return list(cls._table.values())

    def __call__(
        self, audio: Audio, sample_rate: float | None = None, *, tail: Tail = None, stereo: bool = False
    ) -> Audio:
        """The whole of `audio` through the module, always from the start; see Prismel for shapes and `tail`."""
        check_same_rate(self._rate, sample_rate)
        rows = check_audio(audio)
        outputs = 2 if stereo else rows.shape[0]
        with self._turn:
            stream = self._begin(rows.shape[0], outputs, tail, rows.shape[1])
            wet = stream.whole(rows)
            self._non_finite = stream.non_finite
            if self._non_finite > 0 and not self._warned:
                self._warned = True
                warnings.warn(
                    f"{self._non_finite} samples of the audio weren't finite (taken as 0) or lay beyond 1e6 "
                    "(held there).",
                    RuntimeWarning,
                    stacklevel=2,
                )
        return as_given(audio, wet)

    def stream(self, channels: int = 2, *, tail: Tail = None, stereo: bool = False) -> ModuleStream:
        """Begins a stream: feed(), feed(), ..., finish()."""
        if channels not in (1, 2):
            raise PrismelError(f"A stream has one or two channels, not {channels!r}.")
        return ModuleStream(self._begin(channels, 2 if stereo else channels, tail, 0))

    @staticmethod
    def _parse(name: str, text: str) -> tuple[str, float]:
        raise NotImplementedError

    def _begin(self, inputs: int, outputs: int, tail: Tail, expected: int) -> AnyStream:
        raise NotImplementedError

    def __getstate__(self) -> dict[str, Any]:
        return {key: value for key, value in self.__dict__.items() if key != "_turn"}

    def __setstate__(self, state: dict[str, Any]) -> None:
        self.__dict__.update(state)
        self._turn = OneAtATime()


class ModuleStream:
    """A long recording in pieces through a module; see Stream."""

    def __init__(self, stream: AnyStream) -> None:
        self._stream = stream

    def feed(self, audio: Audio) -> Audio:
        """Takes float32 (channels, frames) or (frames,); gives back what is finished, (output channels, frames)."""
        return self._stream.feed(check_audio(audio))

    def finish(self) -> Audio:
        """The rest and the tail. The stream is over."""
        return self._stream.finish()

    @property
    def non_finite(self) -> int:
        """Input samples so far that weren't finite, or lay beyond 1e6."""
        return self._stream.non_finite


class Plate(_Module):
    """A plate reverb: Plate(48000, Decay=0.8, Predelay="20 ms")(audio). The bytes of `prismel plate`.

    sample_rate  Hz, 8000 to 384000
    knobs        see Plate.knobs(); in any case
    """

    _table = _knobs(_prismel.plate_knobs())

    def __init__(self, sample_rate: float, **knobs: Value) -> None:
        super().__init__(sample_rate, knobs)

    @staticmethod
    def _parse(name: str, text: str) -> tuple[str, float]:
        return _prismel.parse_plate(name, text)

    def _begin(self, inputs: int, outputs: int, tail: Tail, expected: int) -> AnyStream:
        knobs = list(self._texts.items())
        return _prismel.PlateStream(self._rate, knobs, inputs, outputs, tail_seconds(tail), expected)


def _reverb() -> Any:
    try:
        from . import _prismel_reverb
    except ImportError as problem:
        raise PrismelError(
            f"The convolution reverb needs the package libresample1 (apt-get install libresample1): {problem}."
        ) from None
    return _prismel_reverb


class ConvolutionReverb(_Module):
    """A reverb out of a recorded room: ConvolutionReverb(48000, "hall.wav", Wet=0.3)(audio, tail="auto").

    sample_rate   Hz, 8000 to 384000
    impulse       a path of a mono or stereo sound file, or float32 (channels, frames) or (frames,), all finite
    impulse_rate  Hz, of an array; None: that of the audio. A file says its own
    knobs         see ConvolutionReverb.knobs(); "Wet" is 0.5 unless named

    The bytes of `prismel reverb`. Everything is computed on the calling thread.
    """

    def __init__(
        self,
        sample_rate: float,
        impulse: Union[str, os.PathLike[str], Audio],
        impulse_rate: float | None = None,
        **knobs: Value,
    ) -> None:
        if not hasattr(ConvolutionReverb, "_table"):
            ConvolutionReverb._table = _knobs(_reverb().reverb_knobs())
        self._impulse_rate = 0.0
        self._impulse: str | Audio
        if isinstance(impulse, (str, os.PathLike)):
            if impulse_rate is not None:
                raise PrismelError("A file says its own rate; give impulse_rate for an array only.")
            self._impulse = os.fspath(impulse)
            if not os.path.isfile(self._impulse):
                raise PrismelError(f"{self._impulse}: there is no such file; give an impulse's path or an array.")
        else:
            self._impulse = check_audio(impulse, "The impulse").copy()
            if not np.isfinite(self._impulse).all() or self._impulse.shape[1] == 0:
                raise PrismelError("The impulse is empty or has samples that aren't finite; give finite ones.")
            if impulse_rate is not None:
                if not (math.isfinite(impulse_rate) and 1000.0 <= impulse_rate <= 768000.0):
                    raise PrismelError(f"The impulse's rate lies from 1000 to 768000 Hz, not at {impulse_rate!r}.")
                self._impulse_rate = float(impulse_rate)
        super().__init__(sample_rate, knobs)

    @staticmethod
    def _parse(name: str, text: str) -> tuple[str, float]:
        parsed: tuple[str, float] = _reverb().parse_reverb(name, text)
        return parsed

    def _begin(self, inputs: int, outputs: int, tail: Tail, expected: int) -> AnyStream:
        knobs = list(self._texts.items())
        stream: AnyStream = _reverb().ReverbStream(
            self._rate, self._impulse, self._impulse_rate, knobs, inputs, outputs, tail_seconds(tail), expected
        )
        return stream

    @classmethod
    def knobs(cls) -> list[ModuleKnob]:
        """All knobs there are."""
        return list(_knobs(_reverb().reverb_knobs()).values())

    def __setstate__(self, state: dict[str, Any]) -> None:
        if not hasattr(ConvolutionReverb, "_table"):
            ConvolutionReverb._table = _knobs(_reverb().reverb_knobs())
        super().__setstate__(state)


COLORS = ("violet", "white", "pink", "brown", "dark", "variable")


def noise(
    frames: int,
    sample_rate: float,
    color: str = "white",
    channels: int = 1,
    *,
    seed: int = 1,
    gain_db: float = -12.0,
    **knobs: Value,
) -> Audio:
    """Noise of one of six colours, float32 (channels, frames): the samples of `prismel noise`, not yet rounded.

    frames     0 or more
    color      violet, white, pink, brown, dark or variable; the last with NoiseColor=0 (brown) to 1 (violet)
    channels   1 or 2, unlike each other
    seed       1 to 4294967295; the same seed is the same noise
    gain_db    -120 to 24; violet and brown reach beyond full scale at 0
    """
    rate = check_rate(sample_rate)
    if not isinstance(frames, (int, np.integer)) or frames < 0:
        raise PrismelError(f"The number of frames is a whole number from 0 on, not {frames!r}.")
    if channels not in (1, 2):
        raise PrismelError(f"Noise has one or two channels, not {channels!r}.")
    if str(color).lower() not in COLORS:
        raise PrismelError(f"The colour is one of {', '.join(COLORS)}, not {color!r}.")
    if not isinstance(seed, (int, np.integer)) or not 1 <= seed < 2**32:
        raise PrismelError(f"The seed is a whole number from 1 to 4294967295, not {seed!r}.")
    if not -120.0 <= gain_db <= 24.0:
        raise PrismelError(f"The gain lies from -120 to 24 dB, not at {gain_db!r}.")
    settings = [(name, _text(value)) for name, value in knobs.items()]
    return _prismel.noise(int(frames), rate, color, channels, int(seed), float(gain_db), settings)
