"""Where a corpus's variations lie.

    OUT/augment.json                        the settings of all draws, written first: a resumed run must have the same
    OUT/audio/speaker1/take3.flac-0.wav     copy 0 of speaker1/take3.flac
    OUT/records/speaker1/take3.flac-0.json  how it was made, written last: its presence says that the copy stands
    OUT/manifest.jsonl                      all records, one a line, sorted by input and copy

No folder gets more files than the corpus's own folders have, times the copies.
"""

from __future__ import annotations

import json
import os
from collections.abc import Iterable, Iterator, Sequence
from pathlib import Path
from typing import Any, Union

from .._files import PART, whole_file, write_text
from ..errors import PrismelError

PathName = Union[str, "os.PathLike[str]"]

ENDINGS = (".wav", ".flac", ".ogg", ".opus", ".mp3", ".aif", ".aiff", ".aifc", ".au", ".caf", ".w64", ".rf64")


class Layout:
    """The output folder of one corpus. Holds paths only: cheap to hand to workers."""

    def __init__(self, root: Path, out: Path) -> None:
        self.root = root
        self.out = out

    def input(self, name: str) -> Path:
        """`name` is an input's path relative to the corpus, with "/"."""
        return self.root / name

    def audio(self, name: str, copy: int) -> Path:
        return self.out / "audio" / f"{name}-{copy}.wav"

    def record(self, name: str, copy: int) -> Path:
        return self.out / "records" / f"{name}-{copy}.json"

    def settle(self, settings: dict[str, Any]) -> None:
        """Notes the settings, or complains where the folder was begun with others."""
        try:
            self.out.mkdir(parents=True, exist_ok=True)
            path = self.out / "augment.json"
            text = json.dumps(settings, indent=1) + "\n"
            if not path.exists():
                write_text(path, text)
            elif json.loads(path.read_text(encoding="utf-8")) != json.loads(text):
                raise PrismelError(
                    f"{self.out} was begun with other settings (see {path.name} in it); take those or another folder."
                )
        except OSError as problem:
            raise PrismelError(f"{self.out} can't be written to: {problem}.") from None

    def records(self) -> Iterator[dict[str, Any]]:
        """All records there are, sorted by input and copy."""
        found = []
        for folder, _, names in os.walk(self.out / "records"):
            for name in names:
                if name.endswith(".json") and not name.startswith("."):
                    found.append(json.loads((Path(folder) / name).read_text(encoding="utf-8")))
        yield from sorted(found, key=lambda record: (record["input"], record["copy"]))

    def write_manifest(self) -> int:
        """Collects the records into OUT/manifest.jsonl; how many there are."""
        count = 0
        with whole_file(self.out / "manifest.jsonl", sync=True) as beside, open(beside, "w", encoding="utf-8") as file:
            for record in self.records():
                file.write(json.dumps(record, sort_keys=True) + "\n")
                count += 1
        return count

    def sweep(self) -> int:
        """Removes what killed workers left half-written; how many files. Not beside another run."""
        count = 0
        for folder, _, names in os.walk(self.out):
            for name in names:
                if name.startswith(".") and PART in name:
                    (Path(folder) / name).unlink(missing_ok=True)
                    count += 1
        return count


def list_inputs(files: PathName | Sequence[PathName], out: Path) -> tuple[Path, list[str]]:
    """The corpus's root and the inputs relative to it, sorted. A folder is searched to the bottom; hidden files, what
    doesn't end like audio, and the output folder are passed over."""
    if isinstance(files, (str, os.PathLike)):
        root = Path(files)
        if not root.is_dir():
            raise PrismelError(f"{root} isn't a folder; give the corpus's folder or a list of files.")
        return root, sorted(_search(root, out))
    paths = [Path(os.path.abspath(path)) for path in files]
    if not paths:
        raise PrismelError("There are no files; give the corpus's folder or a list of files.")
    root = Path(os.path.commonpath([path.parent for path in paths]))
    names = [path.relative_to(root).as_posix() for path in paths]
    if len(set(names)) < len(names):
        raise PrismelError("A file is listed twice; list each once and ask for copies instead.")
    return root, sorted(names)


def _search(root: Path, out: Path) -> Iterable[str]:
    hidden_out = os.path.realpath(out)
    for folder, folders, names in os.walk(root):
        folders[:] = [
            name
            for name in folders
            if not name.startswith(".") and os.path.realpath(os.path.join(folder, name)) != hidden_out
        ]
        for name in names:
            if name.lower().endswith(ENDINGS) and not name.startswith("."):
                yield (Path(folder) / name).relative_to(root).as_posix()
