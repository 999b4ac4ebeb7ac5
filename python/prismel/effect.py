"""The effect itself."""

from __future__ import annotations

import difflib
import math
import warnings
from collections.abc import Mapping, Sequence
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, Literal, NamedTuple, Union

from . import _prismel, presets
from ._audio import Audio, OneAtATime, Tail, as_given, check_audio, check_rate, check_same_rate, tail_seconds
from ._knobs import Knobs
from ._table import BY_SYMBOL, TABLE, Parameter, ParameterView, Value, find
from .errors import PrismelError

Tempo = Union[float, Sequence[tuple[float, float]]]
Point = Union[tuple[float, Value], tuple[float, Value, Literal["step", "ramp"]]]

LOWEST_BPM = 1.0
HIGHEST_BPM = 1000.0


@dataclass(frozen=True)
class Automation:
    """Values over time: for each parameter points of (time, value) or (time, value, "ramp").

    A step is taken at the block, about a millisecond long, that holds its time. A ramp leads from the point before
    to this one, straight in knob travel. unit says what the times count: "seconds", "frames" or "beats".
    """

    points: Mapping[str, Sequence[Point]] = field(default_factory=dict)
    unit: Literal["seconds", "frames", "beats"] = "seconds"

    def _tracks(self) -> _prismel.AutomationTracks:
        if self.unit not in ("seconds", "frames", "beats"):
            raise PrismelError(
                f'The times of an automation are "seconds", "frames" or "beats", not {self.unit!r}.'
            )
        tracks: dict[int, list[tuple[float, float, bool]]] = {}
        for name, points in self.points.items():
            parameter = find(name)
            if parameter.index in tracks:
                raise PrismelError(f"{parameter.symbol} is automated under two names; put its points together.")
            tracks[parameter.index] = [self._point(parameter, point) for point in points]
        return self.unit, [(index, points) for index, points in tracks.items() if points]

    @staticmethod
    def _point(parameter: Parameter, point: Point) -> tuple[float, float, bool]:
        if len(point) not in (2, 3):
            raise PrismelError(
                f"A point of {parameter.symbol} is (time, value) or (time, value, 'ramp'), not {point!r}."
            )
        how = [*point, "step"][2]
        if how not in ("step", "ramp"):
            raise PrismelError(f'{parameter.symbol} goes to a point by "step" or "ramp", not {how!r}.')
        return float(point[0]), parameter.position(point[1]), how == "ramp"


class Meters(NamedTuple):
    """Levels and read-outs after the last block."""

    input_db: float  # behind the input gain, -80 to 6
    output_db: float  # of the wet signal before the final gain, -80 to 6
    prismelion: float  # the modulated knob, 0 to 1
    primary: float  # the modulated main knob of the stage effect, position 0 to 1


def _tempo_steps(bpm: Tempo) -> list[tuple[float, float]]:
    steps = [(0.0, bpm)] if isinstance(bpm, (int, float)) else list(bpm)
    try:
        checked = [(float(time), float(tempo)) for time, tempo in steps]
    except (TypeError, ValueError):
        raise PrismelError(f"The tempo is a number or a list of (seconds, bpm), not {bpm!r}.") from None
    if not checked:
        raise PrismelError("The tempo is an empty list; give one step (0, bpm) at least.")
    for (before, _), (time, _) in zip(checked, checked[1:]):
        if not before < time:
            raise PrismelError(f"The times of a tempo's steps rise; {time:g} s comes behind {before:g} s.")
    for time, tempo in checked:
        if not (math.isfinite(time) and time >= 0.0):
            raise PrismelError(f"A tempo begins at a second from 0 on, not at {time}.")
        if not LOWEST_BPM <= tempo <= HIGHEST_BPM:
            raise PrismelError(f"A tempo lies from 1 to 1000 beats a minute, not at {tempo:g}.")
    return checked


class Stream:
    """A long recording in pieces: feed(), feed(), ..., finish(). The bytes are those of one whole call.

    What comes back from `feed` is what is finished: no frame is late in the end, but a piece's last millisecond may
    come with the next one. One thread at a time; memory doesn't grow with the length.
    """

    def __init__(self, stream: _prismel.Stream, channels: int) -> None:
        self._stream = stream
        self._channels = channels

    def feed(self, audio: Audio) -> Audio:
        """Takes float32 (channels, frames), or (frames,) for one channel; gives back (output channels, frames)."""
        return self._stream.feed(check_audio(audio))

    def finish(self) -> Audio:
        """The rest and the tail, (output channels, frames). The stream is over."""
        return self._stream.finish()

    def set(self, **knobs: Value) -> None:
        """Turns knobs, from the block on that holds the next sample to be fed."""
        for name, value in knobs.items():
            parameter = find(name)
            self._stream.set(parameter.index, parameter.position(value))

    @property
    def meters(self) -> Meters:
        """Levels after the last block."""
        return Meters(*self._stream.levels)

    @property
    def non_finite(self) -> int:
        """Input samples so far that weren't finite, or lay beyond 1e6."""
        return self._stream.non_finite

    @property
    def tail_was_cut(self) -> bool:
        """An automatic tail was ended by its limit of a minute, not by silence."""
        return self._stream.tail_was_cut


class Prismel(Knobs):
    """The effect: splits audio into up to eight swept voices, each with its own stage effect.

        fx = Prismel(48000, "octave-halo", comb_cutoff="300 Hz")
        wet = fx(dry)

    sample_rate  Hz, 8000 to 384000
    preset       a name (see presets()) or a path; None: the sound of a preset that names nothing
    seed         of everything random, 0 to 4294967295; 0 sounds as the command `prismel render` does
    bpm          quarter notes a minute, 1 to 1000, or steps of (seconds, bpm)
    knobs        by attribute name, in their units: numbers, texts such as "1.2 kHz", labels, True and False

    A call is always from the start: the same object, audio and knobs give the same bytes. `process` is the live form
    and keeps its state. Everything raises PrismelError, a ValueError, for what can't be.

    Threads: one at a time for one object, a second one gets an error; the interpreter's lock is let go while the
    engine works. Objects can be pickled (without the live state) and survive fork, spawn and forkserver.
    """

    __slots__ = (
        "_rate", "_seed", "_bpm", "_positions", "_live", "_turn",
        "_levels", "_non_finite", "_warned", "__weakref__",
    )  # fmt: skip

    def __init__(
        self,
        sample_rate: float,
        preset: presets.PresetName | None = None,
        *,
        seed: int = 0,
        bpm: Tempo = 120.0,
        **knobs: Value,
    ) -> None:
        if not isinstance(seed, int) or not 0 <= seed < 2**32:
            raise PrismelError(f"The seed is a whole number from 0 to 4294967295, not {seed!r}.")
        self._rate = check_rate(sample_rate)
        self._seed = seed
        self._bpm = _tempo_steps(bpm)
        self._positions: dict[int, float] = {}
        self._live: _prismel.Live | None = None
        self._turn = OneAtATime()
        self._levels = Meters(-80.0, -80.0, 0.0, 0.0)
        self._non_finite = 0
        self._warned = False
        if preset is not None:
            self.load_preset(preset)
        for name, value in knobs.items():
            self._set(find(name), value)

    # Knobs.

    def _get(self, parameter: Parameter) -> Value:
        return parameter.value(self._positions.get(parameter.index, parameter.preferred))

    def _set(self, parameter: Parameter, value: Value) -> None:
        position = parameter.position(value)
        if self._live is not None:
            self._live.set(parameter.index, position)
        self._positions[parameter.index] = position

    if not TYPE_CHECKING:  # hidden, or mypy would take any attribute for granted

        def __setattr__(self, name: str, value: Any) -> None:
            if type(self) is Prismel and not hasattr(Prismel, name):
                raise PrismelError(self._unknown(name))
            object.__setattr__(self, name, value)

        def __getattr__(self, name: str) -> Any:
            raise AttributeError(name if name.startswith("_") else self._unknown(name))

    @staticmethod
    def _unknown(name: str) -> str:
        if name in BY_SYMBOL:
            return f"{name} is one of the rarer knobs; use parameters[{name!r}]."
        near = difflib.get_close_matches(name, list(BY_SYMBOL), 1, 0.0)
        return f"There is no knob {name}; the nearest is {near[0]}."

    @property
    def parameters(self) -> ParameterView:
        """All parameters by name, the rarer ones too: a mapping to values in their units."""
        return ParameterView(self)

    @property
    def sample_rate(self) -> int:
        """Hz."""
        return self._rate

    @property
    def seed(self) -> int:
        """Of everything random."""
        return self._seed

    @property
    def bpm(self) -> float | list[tuple[float, float]]:
        """The tempo, as it was written: one number, or steps of (seconds, bpm)."""
        return self._bpm[0][1] if len(self._bpm) == 1 else list(self._bpm)

    @bpm.setter
    def bpm(self, bpm: Any) -> None:
        steps = _tempo_steps(bpm)
        if self._live is not None:
            self._live.set_tempo(steps)
        self._bpm = steps

    # Presets.

    def load_preset(self, preset: presets.PresetName) -> None:
        """Takes over a whole sound by name or path; what the preset doesn't name goes to its start."""
        self._take(presets.read(preset))

    def _take(self, sound: presets.Preset) -> None:
        """The same for a preset that has been read."""
        if self._live is not None:
            self._live.set_all(sound.values)
        others = {index: at for index, at in self._positions.items() if not TABLE[index].in_presets}
        self._positions = {**sound.values, **others}

    def save_preset(self, path: presets.PresetName, name: str, description: str = "") -> None:
        """Writes the sound to a file that `prismel render --preset` and plug-ins read. Whole, or not at all."""
        values = {index: at for index, at in self._positions.items() if TABLE[index].in_presets}
        presets.write(path, name, description, values)

    # Sound.

    def _sound(self, automation: Automation | Mapping[str, Sequence[Point]] | None = None) -> _prismel.Sound:
        if automation is None:
            automation = Automation()
        elif not isinstance(automation, Automation):
            automation = Automation(automation)
        return _prismel.Sound(self._rate, self._seed, self._positions, self._bpm, automation._tracks())

    def __call__(
        self,
        audio: Audio,
        sample_rate: float | None = None,
        *,
        tail: Tail = None,
        stereo: bool = False,
        automation: Automation | Mapping[str, Sequence[Point]] | None = None,
    ) -> Audio:
        """The whole of `audio` through the effect, always from the start.

        audio        float32, (channels, frames) with one or two channels, or (frames,); it isn't changed
        sample_rate  checked if given: other libraries' chains pass it
        tail         None: as long as the input; seconds; or "auto": until it stays below -90 dB, a minute at most
        stereo       two channels out of one; the result is (2, frames)
        automation   {"comb_cutoff": [(0.0, "200 Hz"), (4.5, "2 kHz", "ramp")]}, or an Automation

        Gives float32 of the same rank, lined up with the input to the sample. A sample that isn't finite is taken as
        0, one beyond 1e6 is held there; both are counted in `non_finite` and warned of once.
        """
        check_same_rate(self._rate, sample_rate)
        rows = check_audio(audio)
        outputs = 2 if stereo else rows.shape[0]
        with self._turn:
            stream = _prismel.Stream(
                self._sound(automation), rows.shape[0], outputs, tail_seconds(tail), rows.shape[1]
            )
            wet = stream.whole(rows)
            self._levels = Meters(*stream.levels)
            self._note_non_finite(stream.non_finite)
        return as_given(audio, wet)

    def stream(
        self,
        channels: int = 2,
        *,
        tail: Tail = None,
        stereo: bool = False,
        automation: Automation | Mapping[str, Sequence[Point]] | None = None,
    ) -> Stream:
        """Begins a stream of one or two channels with the knobs as they stand, for recordings too long for memory."""
        if channels not in (1, 2):
            raise PrismelError(f"A stream has one or two channels, not {channels!r}.")
        outputs = 2 if stereo else channels
        inner = _prismel.Stream(self._sound(automation), channels, outputs, tail_seconds(tail), 0)
        return Stream(inner, channels)

    def process(self, audio: Audio) -> Audio:
        """Live: as many frames out as in, `latency` frames late; state and song position go on from call to call.

        Knobs that are turned in between glide. The first call decides on one or two channels; `reset` ends that.
        """
        rows = check_audio(audio)
        with self._turn:
            if self._live is None:
                self._live = _prismel.Live(self._sound(), rows.shape[0])
            wet = self._live.process(rows)
            self._levels = Meters(*self._live.levels)
            self._note_non_finite(self._live.non_finite)
        return as_given(audio, wet)

    def reset(self) -> None:
        """Ends the live stream: the next `process` starts anew. Knobs stay; counts and meters begin again."""
        with self._turn:
            self._live = None
            self._levels = Meters(-80.0, -80.0, 0.0, 0.0)
            self._non_finite = 0
            self._warned = False

    @property
    def latency(self) -> int:
        """Frames that `process` is late: about a millisecond. Whole calls and streams aren't."""
        return _prismel.latency(self._rate) if self._live is None else self._live.latency

    @property
    def meters(self) -> Meters:
        """Levels after the last block of the last call."""
        return self._levels

    @property
    def non_finite(self) -> int:
        """Input samples of the last call, or of the live stream, that weren't finite, or lay beyond 1e6."""
        return self._non_finite

    def _note_non_finite(self, count: int) -> None:
        self._non_finite = count
        if count > 0 and not self._warned:
            self._warned = True
            warnings.warn(
                f"{count} samples of the audio weren't finite (taken as 0) or lay beyond 1e6 (held there).",
                RuntimeWarning,
                stacklevel=3,
            )

    # Copies.

    def __getstate__(self) -> dict[str, Any]:
        return {"rate": self._rate, "seed": self._seed, "bpm": self._bpm, "positions": self._positions}

    def __setstate__(self, state: dict[str, Any]) -> None:
        Prismel.__init__(self, state["rate"], seed=state["seed"], bpm=state["bpm"])
        self._positions = dict(state["positions"])

    def __repr__(self) -> str:
        knobs = "".join(
            f", {parameter.symbol}={self._get(parameter)!r}"
            for index, parameter in TABLE.items()
            if self._positions.get(index, parameter.preferred) != parameter.preferred
        )
        seed = f", seed={self._seed}" if self._seed else ""
        bpm = f", bpm={self.bpm!r}" if self._bpm != [(0.0, 120.0)] else ""
        return f"Prismel({self._rate}{seed}{bpm}{knobs})"
