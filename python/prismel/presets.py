"""Presets: where they are, and what is in one. The files are those of the `prismel` command."""

from __future__ import annotations

import os
import warnings
from collections.abc import Mapping
from pathlib import Path
from typing import NamedTuple, Union

from . import _prismel
from ._files import write_text
from .errors import PrismelError

PresetName = Union[str, "os.PathLike[str]"]


class PresetEntry(NamedTuple):
    """One preset that can be loaded by its name."""

    name: str
    description: str
    path: Path


class Preset(NamedTuple):
    """A preset's text, its values as knob positions by parameter index."""

    name: str
    description: str
    values: dict[int, float]


def folders() -> list[str]:
    """Folders that are searched: $PRISMEL_PRESETS, the user's own, those that came with the package."""
    named = os.environ.get("PRISMEL_PRESETS", "")
    own = os.path.join(os.path.dirname(__file__), "presets")
    wanted = [named, _prismel.user_preset_folder(), own]
    return [folder for folder in wanted if folder and os.path.isdir(folder)]


def presets() -> list[PresetEntry]:
    """All presets that can be loaded by name; of two with the same name the first one found."""
    found: dict[str, PresetEntry] = {}
    for folder in folders():
        for path, name, description, error in _prismel.list_presets(folder):
            if not error:
                found.setdefault(name, PresetEntry(name, description, Path(path)))
    return list(found.values())


def read(text: PresetName) -> Preset:
    """The preset that `text` means: a path, a file's name or a preset's name. Raises PrismelError."""
    path = _prismel.find_preset(os.fspath(text), folders())
    try:
        with open(path, encoding="utf-8") as file:
            json = file.read()
    except (OSError, UnicodeDecodeError) as problem:
        raise PrismelError(f'The preset "{path}" can\'t be read: {problem}.') from None
    name, description, values, doubts = _prismel.parse_preset(json, path)
    for doubt in doubts:
        warnings.warn(f"{path}: {doubt}", UserWarning, stacklevel=4)
    return Preset(name, description, values)


def write(path: PresetName, name: str, description: str, values: Mapping[int, float]) -> None:
    """Writes a preset beside `path` and renames it: there is never half a file. Raises OSError."""
    write_text(Path(path), _prismel.preset_json(name, description, values))
