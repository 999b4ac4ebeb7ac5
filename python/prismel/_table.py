"""The effect's parameters: what they are called, count and accept."""

from __future__ import annotations

import difflib
import math
from collections.abc import Iterator, MutableMapping
from dataclasses import dataclass
from typing import Protocol, Union

from . import _prismel
from .errors import PrismelError

Value = Union[float, str, bool]


@dataclass(frozen=True)
class Parameter:
    """One parameter of the effect.

    symbol   its name here, such as "comb_cutoff"; name is that of the `prismel` command and of presets
    unit     "Hz", "dB", "ms", "s", ... or nothing
    labels   the values of a choice, in order; empty for a number
    minimum, maximum   in the unit
    """

    index: int
    symbol: str
    name: str
    title: str
    group: str
    unit: str
    note: str
    is_main: bool
    is_switch: bool
    steps: int
    labels: tuple[str, ...]
    range: str
    minimum: float
    maximum: float
    in_presets: bool
    preferred: float  # position 0 to 1 of a sound that doesn't name the parameter

    def position(self, value: Value) -> float:
        """Knob position 0 to 1 of a value in the unit, or of a text such as "300 Hz". Raises PrismelError."""
        if isinstance(value, bool):
            if not self.is_switch:
                raise PrismelError(f"{self.symbol} takes {self.range}, not {value}.")
            return self._parse_number(float(value))
        if isinstance(value, str):
            try:
                return _prismel.parse(self.index, value)
            except PrismelError as problem:
                raise PrismelError(str(problem).replace(self.name, self.symbol, 1)) from None
        try:
            number = float(value)
        except (TypeError, ValueError):
            raise PrismelError(f"{self.symbol} takes {self.range}, not {value!r}.") from None
        if not math.isfinite(number):
            raise PrismelError(f"{self.symbol} takes {self.range}, not {value!r}.")
        return self._parse_number(number)

    def _parse_number(self, number: float) -> float:
        try:
            return _prismel.parse_value(self.index, number)
        except PrismelError as problem:
            raise PrismelError(str(problem).replace(self.name, self.symbol, 1)) from None

    def value(self, position: float) -> Value:
        """The value at a position: a number in the unit, a choice's label, or whether a switch is on."""
        if self.is_switch and self.labels == ("off", "on"):
            return _prismel.text(self.index, position) == "on"
        if self.labels:
            return _prismel.text(self.index, position)
        return _prismel.value(self.index, position)


def _read() -> dict[int, Parameter]:
    rows = [row for row in _prismel.parameters() if row["is_offered"]]
    rows.sort(key=lambda row: row["order"])
    return {
        row["index"]: Parameter(
            row["index"],
            row["symbol"],
            row["name"],
            row["title"],
            row["group"],
            row["unit"],
            row["note"],
            row["is_main"],
            row["is_switch"],
            row["steps"],
            tuple(row["labels"]),
            row["range"],
            row["minimum"],
            row["maximum"],
            row["in_presets"],
            row["preferred"],
        )
        for row in rows
    }


TABLE: dict[int, Parameter] = _read()
BY_SYMBOL: dict[str, Parameter] = {parameter.symbol: parameter for parameter in TABLE.values()}


def find(name: str) -> Parameter:
    """The parameter of this symbol, or of any name that the command takes. Raises PrismelError with the nearest."""
    if not isinstance(name, str):
        raise PrismelError(f"A parameter is named by a text such as 'comb_cutoff', not by {name!r}.")
    known = BY_SYMBOL.get(name)
    if known is not None:
        return known
    try:
        index = _prismel.find(name)
    except PrismelError:
        near = difflib.get_close_matches(name, BY_SYMBOL, 1)
        if not near:
            raise
        raise PrismelError(f"There is no knob {name}; the nearest is {near[0]}.") from None
    if index not in TABLE:
        raise PrismelError(f"{name} is not for users; see prismel.parameters() for those that are.")
    return TABLE[index]


def parameters() -> list[Parameter]:
    """All parameters that are for users, as a person goes through them: the main ones first."""
    return list(TABLE.values())


class KnobOwner(Protocol):
    """What has the effect's knobs."""

    def _get(self, parameter: Parameter) -> Value: ...
    def _set(self, parameter: Parameter, value: Value) -> None: ...


class ParameterView(MutableMapping[str, Value]):
    """All parameters of an effect by name. None can be added or taken away; deleting puts a value back to its start."""

    __slots__ = ("_owner",)

    def __init__(self, owner: KnobOwner) -> None:
        self._owner = owner

    def __getitem__(self, name: str) -> Value:
        return self._owner._get(find(name))

    def __setitem__(self, name: str, value: Value) -> None:
        self._owner._set(find(name), value)

    def __delitem__(self, name: str) -> None:
        parameter = find(name)
        self._owner._set(parameter, parameter.value(parameter.preferred))

    def __contains__(self, name: object) -> bool:
        try:
            find(name)  # type: ignore[arg-type]
        except PrismelError:
            return False
        return True

    def __iter__(self) -> Iterator[str]:
        return iter(BY_SYMBOL)

    def __len__(self) -> int:
        return len(BY_SYMBOL)

    def __repr__(self) -> str:
        return repr(dict(self))
