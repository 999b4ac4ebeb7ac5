"""Files that are there whole or not at all."""

from __future__ import annotations

import os
import uuid
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

PART = ".part"


@contextmanager
def whole_file(path: Path, sync: bool = False) -> Iterator[Path]:
    """A path beside `path` to write to; it becomes `path` when the block ends well, and is removed otherwise.

    What a killed process leaves begins with "." and ends with ".part", keeps the file's own ending before that for
    writers that go by it, and disturbs nobody: every attempt has a name of its own.
    """
    beside = path.parent / f".{path.stem}.{uuid.uuid4().hex}{PART}{path.suffix}"
    try:
        yield beside
        if sync:
            with open(beside, "rb") as file:
                os.fsync(file.fileno())
        os.replace(beside, path)
    except BaseException:
        beside.unlink(missing_ok=True)
        raise


def write_text(path: Path, text: str) -> None:
    """Writes a small file whole."""
    with whole_file(path, sync=True) as beside:
        beside.write_text(text, encoding="utf-8")
