"""Variations of a whole corpus, on one machine or many; nothing is lost when a worker dies.

    from prismel import Augment
    from prismel.corpus import augment_corpus

    report = augment_corpus("corpus", "varied", Augment({"wet": ("uniform", 0.2, 0.7)}, seed=7), copies=2, jobs=2)

The same as a command: python3 -m prismel.corpus --help
"""

from __future__ import annotations

import time
from collections.abc import Iterator, Sequence
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from ..augment import Augment
from ..errors import PrismelError
from . import engines
from .layout import Layout, PathName, list_inputs
from .work import Outcome, Task, digest, replay

__all__ = ["Layout", "Report", "augment_corpus", "digest", "replay"]


@dataclass
class Report:
    """What a run did. failed holds one sentence for each copy that doesn't stand."""

    done: int = 0  # copies made
    skipped: int = 0  # copies that stood before
    failed: list[str] = field(default_factory=list)
    disk_is_full: bool = False  # which ended the run
    not_made: int = 0  # further copies that don't stand, because of that
    manifest_problem: str = ""  # why the manifest couldn't be written
    seconds_of_audio: float = 0.0  # of input
    seconds_taken: float = 0.0

    def __str__(self) -> str:
        text = f"{self.done} made, {self.skipped} stood, {len(self.failed)} failed"
        if self.disk_is_full:
            text += f", {self.not_made} more not made, as the disk is full: make room and run it again"
        if self.seconds_taken > 0.0 and self.done > 0:
            text += (
                f"; {self.seconds_of_audio:.0f} s of audio in {self.seconds_taken:.1f} s "
                f"({self.seconds_of_audio / self.seconds_taken:.0f} x real time)"
            )
        return text


def augment_corpus(
    files: PathName | Sequence[PathName],
    out: PathName,
    augment: Augment,
    copies: int = 1,
    client: Any = None,
    jobs: int | None = None,
) -> Report:
    """Makes `copies` variations of every recording of a corpus, each with a record of how.

    files    the corpus's folder, searched to the bottom, or a list of files
    out      a folder, made if needed; prismel.corpus.layout says what lies where
    augment  what is drawn: of the seed, the path relative to the corpus and the copy's number, nothing else
    client   a distributed.Client: its workers do it; every one must see both folders under the same paths
    jobs     without a client: processes of this machine (joblib); None or 1: this one

    Copies whose record stands are skipped, so a run that was ended by anything is continued by the same call. One run
    at a time for one folder. A copy that can't be made is reported and doesn't hold the others up; a full disk ends
    the run. Raises PrismelError for what is wrong from the start.
    """
    if not isinstance(copies, int) or copies < 1:
        raise PrismelError(f"The number of copies is a whole number from 1 on, not {copies!r}.")
    if jobs is not None and (not isinstance(jobs, int) or jobs < 1):
        raise PrismelError(f"The number of jobs is a whole number from 1 on, not {jobs!r}.")
    begin = time.monotonic()
    root, names = list_inputs(files, Path(out))
    layout = Layout(root.resolve(), Path(out).resolve())
    layout.settle({**augment.settings, "copies": copies})
    tasks = [Task(name, copy) for name in names for copy in range(copies)]
    todo = [task for task in tasks if not layout.record(task.name, task.copy).exists()]
    report = Report(skipped=len(tasks) - len(todo))
    _collect(_start(layout, augment, todo, client, jobs), report)
    if report.disk_is_full:
        # Others may have been under way when it was seen.
        report.done = sum(layout.record(task.name, task.copy).exists() for task in todo)
        report.not_made = len(todo) - report.done - len(report.failed)
    layout.sweep()
    try:
        layout.write_manifest()
    except OSError as problem:
        report.manifest_problem = f"manifest.jsonl: {problem.strerror}; the records are complete without it."
    report.seconds_taken = time.monotonic() - begin
    return report


def _start(
    layout: Layout, augment: Augment, todo: Sequence[Task], client: Any, jobs: int | None
) -> Iterator[Outcome]:
    if not todo:
        return iter(())
    if client is not None:
        return engines.with_dask(layout, augment, todo, client)
    if jobs is not None and jobs > 1:
        return engines.with_joblib(layout, augment, todo, jobs)
    return engines.in_this_process(layout, augment, todo)


def _collect(outcomes: Iterator[Outcome], report: Report) -> None:
    for outcome in outcomes:
        if outcome.reason:
            report.failed.append(outcome.reason)
        else:
            report.done += 1
            report.seconds_of_audio += outcome.seconds
        if outcome.is_disk_full:
            report.disk_is_full = True
            return
