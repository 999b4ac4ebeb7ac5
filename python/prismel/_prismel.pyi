from collections.abc import Mapping, Sequence
from typing import TypedDict

import numpy as np
from numpy.typing import NDArray

Audio = NDArray[np.float32]
AutomationTracks = tuple[str, Sequence[tuple[int, Sequence[tuple[float, float, bool]]]]]
Levels = tuple[float, float, float, float]
KnobRow = tuple[str, str, str, list[str], float, float, float]

class Row(TypedDict):
    index: int
    name: str
    symbol: str
    title: str
    group: str
    unit: str
    note: str
    order: int
    is_main: bool
    is_offered: bool
    is_switch: bool
    steps: int
    labels: list[str]
    range: str
    minimum: float
    maximum: float
    in_presets: bool
    preferred: float
    start: float

version: str

def parameters() -> list[Row]: ...
def find(name: str) -> int: ...
def parse(index: int, text: str) -> float: ...
def parse_value(index: int, value: float) -> float: ...
def text(index: int, position: float) -> str: ...
def value(index: int, position: float) -> float: ...
def parse_preset(json: str, origin: str) -> tuple[str, str, dict[int, float], list[str]]: ...
def preset_json(name: str, description: str, values: Mapping[int, float]) -> str: ...
def find_preset(text: str, folders: Sequence[str]) -> str: ...
def user_preset_folder() -> str: ...
def list_presets(folder: str) -> list[tuple[str, str, str, str]]: ...
def latency(rate: int) -> int: ...

class Sound:
    def __init__(
        self,
        rate: int,
        seed: int,
        values: Mapping[int, float],
        tempo: Sequence[tuple[float, float]],
        automation: AutomationTracks,
    ) -> None: ...

class Stream:
    def __init__(
        self, sound: Sound, inputs: int, outputs: int, tail: float | None, expected: int
    ) -> None: ...
    def feed(self, audio: Audio) -> Audio: ...
    def finish(self) -> Audio: ...
    def whole(self, audio: Audio) -> Audio: ...
    def set(self, index: int, position: float) -> None: ...
    non_finite: int
    tail_was_cut: bool
    levels: Levels

class Live:
    def __init__(self, sound: Sound, channels: int) -> None: ...
    def process(self, audio: Audio) -> Audio: ...
    def set(self, index: int, position: float) -> None: ...
    def set_all(self, values: Mapping[int, float]) -> None: ...
    def set_tempo(self, tempo: Sequence[tuple[float, float]]) -> None: ...
    latency: int
    levels: Levels
    non_finite: int

class PlateStream:
    def __init__(
        self,
        rate: int,
        knobs: Sequence[tuple[str, str]],
        inputs: int,
        outputs: int,
        tail: float | None,
        expected: int,
    ) -> None: ...
    def feed(self, audio: Audio) -> Audio: ...
    def finish(self) -> Audio: ...
    def whole(self, audio: Audio) -> Audio: ...
    non_finite: int
    tail_was_cut: bool

def plate_knobs() -> list[KnobRow]: ...
def parse_plate(name: str, text: str) -> tuple[str, float]: ...
def noise(
    frames: int,
    rate: int,
    color: str,
    channels: int,
    seed: int,
    gain_db: float,
    knobs: Sequence[tuple[str, str]],
) -> Audio: ...
