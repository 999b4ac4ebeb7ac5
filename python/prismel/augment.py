"""Random variations of recordings that can be had again."""

from __future__ import annotations

import hashlib
import math
import os
import warnings
from collections.abc import Mapping, Sequence
from typing import Any, Literal, TypedDict, Union

import numpy as np

from . import presets as preset_files
from ._audio import Audio, Tail, check_audio, tail_seconds
from ._table import Parameter, Value, find
from .effect import Prismel
from .errors import PrismelError

Range = Union[tuple[Literal["uniform", "log"], Value, Value], Sequence[Value]]
Key = Union[str, int]

# What the engine may be seeded with: 0 is left to those who want the command's own sound.
_SEEDS = 2**32 - 1


class Drawn(TypedDict):
    """What was drawn for a key: all that it takes to do the same again."""

    key: str
    apply: bool
    preset: str | None
    seed: int
    knobs: dict[str, Value]
    gain: float | None  # on the result, as keep_level asked for; None: follows from the audio


class _Spread:
    """One knob's range, checked once."""

    def __init__(self, parameter: Parameter, spread: Range) -> None:
        self.parameter = parameter
        self.choices: list[Value] = []
        self.low = self.high = 0.0
        self.is_log = False
        symbol = parameter.symbol
        if isinstance(spread, str) or not isinstance(spread, Sequence):
            raise PrismelError(
                f"{symbol} takes ('uniform', a, b), ('log', a, b) or a list of choices, not {spread!r}."
            )
        if len(spread) == 3 and spread[0] in ("uniform", "log"):
            if parameter.labels:
                raise PrismelError(f"{symbol} is a choice; list some of {', '.join(parameter.labels)}.")
            self.is_log = spread[0] == "log"
            self.low, self.high = self._number(spread[1]), self._number(spread[2])
            if not self.low <= self.high:
                raise PrismelError(
                    f"{symbol} is drawn from the lower to the higher end, not from {spread[1]!r} to {spread[2]!r}."
                )
            if self.is_log and self.low <= 0.0:
                raise PrismelError(
                    f"{symbol} is drawn by 'log' from above 0 on, not from {spread[1]!r}; use 'uniform'."
                )
        else:
            if not spread:
                raise PrismelError(f"{symbol} has no choices; list one at least.")
            for value in spread:
                self.choices.append(parameter.value(parameter.position(value)))

    def _number(self, value: Value) -> float:
        number = self.parameter.value(self.parameter.position(value))
        assert not isinstance(number, str)
        return float(number)

    def draw(self, chance: float) -> Value:
        if self.choices:
            return self.choices[min(int(chance * len(self.choices)), len(self.choices) - 1)]
        if self.parameter.steps:
            return float(min(math.floor(self.low + chance * (self.high - self.low + 1.0)), self.high))
        if self.is_log:
            number = self.low * math.exp(chance * math.log(self.high / self.low))
        else:
            number = self.low + chance * (self.high - self.low)
        # Six digits: what another machine's exp() rounds otherwise doesn't show, and a record can be read.
        return min(max(float(f"{number:.6g}"), self.low), self.high)


class Augment:
    """Draws a sound within ranges and runs audio through it. Callable as other libraries' transforms are.

        augment = Augment({"comb_cutoff": ("log", "80 Hz", "2 kHz"), "mix": ("uniform", 0.2, 0.7)},
                          p=0.8, presets=["octave-halo", "glass-choir"], seed=7)
        wet = augment(dry, 48000, key="speaker1/take3.wav")

    ranges      by knob: ("uniform", a, b), ("log", a, b) or a list of choices, in musical units
    p           how often audio is changed at all, 0 to 1
    presets     names or paths, one of which the rest is taken from; none: a plain sound
    seed        of all draws, any whole number
    tail        as in Prismel: None, seconds or "auto"
    keep_level  None: the level as it comes out; else the RMS level is brought to within so many dB of the input's

    What is drawn follows from the seed and the key alone: order, workers and restarts don't matter, and a knob's draw
    doesn't move when another knob's range is added. Without a key calls are numbered, which repeats from run to run
    but can't tell one worker from another: give a key where there are several.
    """

    def __init__(
        self,
        ranges: Mapping[str, Range],
        *,
        p: float = 1.0,
        presets: Sequence[preset_files.PresetName] = (),
        seed: int = 0,
        tail: Tail = None,
        keep_level: float | None = None,
    ) -> None:
        if not isinstance(ranges, Mapping):
            raise PrismelError(f"ranges is a mapping from knobs to ranges, not {ranges!r}.")
        if not 0.0 <= p <= 1.0:
            raise PrismelError(f"p is a probability from 0 to 1, not {p!r}.")
        if not isinstance(seed, int):
            raise PrismelError(f"The seed is a whole number, not {seed!r}.")
        if keep_level is not None and not keep_level >= 0.0:
            raise PrismelError(f"keep_level is None or a number of dB from 0 on, not {keep_level!r}.")
        if isinstance(presets, (str, os.PathLike)):
            raise PrismelError(f"presets is a list of names, not {presets!r}; write [{presets!r}].")
        tail_seconds(tail)
        self._spreads = [_Spread(find(name), spread) for name, spread in ranges.items()]
        names = [spread.parameter.symbol for spread in self._spreads]
        for name in names:
            if names.count(name) > 1:
                raise PrismelError(f"{name} has a range under two names; give it one.")
        self._presets = [os.fspath(name) for name in presets]
        self._sounds = {name: preset_files.read(name) for name in self._presets}
        self._p = p
        self._seed = seed
        self._tail: Tail = tail
        self._keep_level = keep_level
        self._calls = 0
        self._process = os.getpid()
        self._last: Drawn | None = None

    @property
    def parameters(self) -> Drawn | None:
        """What the last call did: key, apply, preset, seed, knobs, gain. None before the first."""
        return self._last

    @property
    def settings(self) -> dict[str, Any]:
        """What this object was made with, as plain values: the same settings draw the same."""
        return {
            "ranges": {
                spread.parameter.symbol: spread.choices
                or ["log" if spread.is_log else "uniform", spread.low, spread.high]
                for spread in self._spreads
            },
            "p": self._p,
            "presets": list(self._presets),
            "seed": self._seed,
            "tail": self._tail,
            "keep_level": self._keep_level,
        }

    def _chance(self, key: str, what: str) -> float:
        """A number from 0 up to 1, not 1 itself, of (seed, key, what)."""
        text = "\0".join((str(self._seed), key, what))
        digest = hashlib.sha256(text.encode("utf-8", "surrogateescape")).digest()
        return (int.from_bytes(digest[:8], "big") >> 11) / 2.0**53

    def draw(self, key: Key) -> Drawn:
        """What this object does for a key. A number and its text are the same key."""
        text = str(key)
        preset = None
        if self._presets:
            preset = self._presets[int(self._chance(text, "preset") * len(self._presets))]
        return {
            "key": text,
            "apply": self._chance(text, "apply") < self._p,
            "preset": preset,
            "seed": 1 + int(self._chance(text, "seed") * (_SEEDS - 1)),
            "knobs": {
                spread.parameter.symbol: spread.draw(self._chance(text, "knob " + spread.parameter.symbol))
                for spread in self._spreads
            },
            "gain": None,
        }

    def __call__(self, samples: Audio, sample_rate: float, *, key: Key | None = None) -> Audio:
        """`samples`, float32 (channels, frames) or (frames,), at `sample_rate` Hz through what is drawn for `key`."""
        if key is None:
            if self._process != os.getpid():
                self._process = os.getpid()
                warnings.warn(
                    "This Augment works in several processes, whose calls draw the same; pass key=, such as the "
                    "recording's name.",
                    RuntimeWarning,
                    stacklevel=2,
                )
            key = self._calls
            self._calls += 1
        return self.apply(samples, sample_rate, self.draw(key))

    def apply(self, samples: Audio, sample_rate: float, drawn: Drawn) -> Audio:
        """Runs audio through what was drawn, or does again what a record says, its gain included."""
        check_audio(samples)
        self._last = drawn.copy()
        if not drawn["apply"]:
            self._last["gain"] = 1.0
            return samples.copy()
        effect = Prismel(sample_rate, seed=drawn["seed"])
        if drawn["preset"] is not None:
            # Read once: a run is of one mind about its presets, and a name is searched for in milliseconds.
            effect._take(self._sounds.get(drawn["preset"]) or preset_files.read(drawn["preset"]))
        effect.parameters.update(drawn["knobs"])
        wet = effect(samples, tail=self._tail)
        gain = self._gain(samples, wet) if drawn["gain"] is None else drawn["gain"]
        self._last["gain"] = gain
        return wet if gain == 1.0 else wet * np.float32(gain)

    def _gain(self, dry: Audio, wet: Audio) -> float:
        """What brings the level of `wet` within `keep_level` dB of that of `dry`, as a float32's value."""
        if self._keep_level is None or dry.size == 0:
            return 1.0
        finite = np.nan_to_num(dry, nan=0.0, posinf=0.0, neginf=0.0)
        before = float(np.sqrt(np.mean(np.square(finite, dtype=np.float64))))
        body = wet[..., : dry.shape[-1]]
        after = float(np.sqrt(np.mean(np.square(body, dtype=np.float64))))
        if before <= 0.0 or after <= 0.0:
            return 1.0
        distance = 20.0 * math.log10(after / before)
        beyond = abs(distance) - self._keep_level
        if beyond <= 0.0:
            return 1.0
        return float(np.float32(10.0 ** (-math.copysign(beyond, distance) / 20.0)))

    def __repr__(self) -> str:
        settings = self.settings
        ranges = settings.pop("ranges")
        return f"Augment({ranges!r}, {', '.join(f'{name}={value!r}' for name, value in settings.items())})"
