"""Knobs as attributes: a number, a choice, a switch. Editors and mypy see what may be written and what is read."""

from __future__ import annotations

from typing import Any, Union, overload

from ._table import BY_SYMBOL, KnobOwner, Value


class _Knob:
    def __init__(self, symbol: str, doc: str = "") -> None:
        self.symbol = symbol
        self.__doc__ = doc

    def _read(self, owner: KnobOwner) -> Any:
        return owner._get(BY_SYMBOL[self.symbol])

    def _write(self, owner: KnobOwner, value: Value) -> None:
        owner._set(BY_SYMBOL[self.symbol], value)


class Number(_Knob):
    """A knob that counts in a unit: written as 300.0 or "300 Hz", read as 300.0."""

    @overload
    def __get__(self, owner: None, kind: Any = None) -> Number: ...
    @overload
    def __get__(self, owner: KnobOwner, kind: Any = None) -> float: ...
    def __get__(self, owner: KnobOwner | None, kind: Any = None) -> Number | float:
        return self if owner is None else float(self._read(owner))

    def __set__(self, owner: KnobOwner, value: Union[float, str]) -> None:
        self._write(owner, value)


class Choice(_Knob):
    """A knob with names for its values."""

    @overload
    def __get__(self, owner: None, kind: Any = None) -> Choice: ...
    @overload
    def __get__(self, owner: KnobOwner, kind: Any = None) -> str: ...
    def __get__(self, owner: KnobOwner | None, kind: Any = None) -> Choice | str:
        return self if owner is None else str(self._read(owner))

    def __set__(self, owner: KnobOwner, value: Union[str, int]) -> None:
        self._write(owner, value)


class Switch(_Knob):
    """A knob that is on or off."""

    @overload
    def __get__(self, owner: None, kind: Any = None) -> Switch: ...
    @overload
    def __get__(self, owner: KnobOwner, kind: Any = None) -> bool: ...
    def __get__(self, owner: KnobOwner | None, kind: Any = None) -> Switch | bool:
        return self if owner is None else bool(self._read(owner))

    def __set__(self, owner: KnobOwner, value: Union[bool, str]) -> None:
        self._write(owner, value)
