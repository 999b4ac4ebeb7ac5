"""Who runs the tasks: this process, joblib's workers on one machine, or a Dask cluster.

All hold the same: a task whose worker dies is tried again, first beside others, in the end alone. So a file that
crashes whoever touches it is found, and takes no innocent neighbour along.
"""

from __future__ import annotations

import warnings
from collections.abc import Iterator, Sequence
from typing import Any

from ..augment import Augment
from ..errors import PrismelError
from .layout import Layout
from .work import Outcome, Task, make_copy

CRASHED = "its worker died each time it was tried; the other files are not affected"
# Tasks that are known to an engine at a time: the rest waits here, as a number.
_BATCH = 2000


def _batches(tasks: Sequence[Task]) -> Iterator[Sequence[Task]]:
    for at in range(0, len(tasks), _BATCH):
        yield tasks[at : at + _BATCH]


def in_this_process(layout: Layout, augment: Augment, tasks: Sequence[Task]) -> Iterator[Outcome]:
    """One after the other. A crash ends this process; what was done stands."""
    for task in tasks:
        yield make_copy(layout, augment, task)


def with_joblib(layout: Layout, augment: Augment, tasks: Sequence[Task], jobs: int) -> Iterator[Outcome]:
    """On `jobs` processes of this machine."""
    try:
        import joblib
        from joblib.externals.loky.process_executor import TerminatedWorkerError
    except ImportError:
        raise PrismelError("Several jobs need the package joblib (apt-get install python3-joblib).") from None

    def run(some: Sequence[Task]) -> Iterator[Outcome]:
        try:
            parallel = joblib.Parallel(n_jobs=min(jobs, len(some)) if len(some) > 1 else 2, backend="loky")
            outcomes = parallel(joblib.delayed(make_copy)(layout, augment, task) for task in some)
        except TerminatedWorkerError:
            left = [task for task in some if not layout.record(task.name, task.copy).exists()]
            yield from (Outcome(task) for task in some if task not in set(left))
            if len(some) == 1:
                yield from (Outcome(task, reason=f"{task.name}: {CRASHED}.") for task in left)
            elif left:
                # A half that is innocent runs through; the culprit ends up alone.
                middle = (len(left) + 1) // 2
                for half in (left[:middle], left[middle:]):
                    if half:
                        yield from run(half)
        else:
            yield from outcomes

    for batch in _batches(tasks):
        yield from run(batch)


def with_dask(layout: Layout, augment: Augment, tasks: Sequence[Task], client: Any) -> Iterator[Outcome]:
    """On the workers of a `distributed.Client`. All must see the corpus and the output folder under the same paths."""
    import distributed
    from distributed.scheduler import KilledWorker

    as_completed: Any = distributed.as_completed

    saturation = client.run_on_scheduler(_saturation)
    if saturation is not None and saturation > 1.0:
        warnings.warn(
            "The scheduler hands workers more tasks than they can run, so that a file which crashes them takes "
            "neighbours along into a second round; set distributed.scheduler.worker-saturation to 1.0 where it starts.",
            RuntimeWarning,
            stacklevel=4,
        )
    suspects: list[Task] = []
    for batch in _batches(tasks):
        # Everything goes along with each task: what is scattered dies with the workers that hold it.
        futures = {client.submit(make_copy, layout, augment, task, pure=False): task for task in batch}
        try:
            for future in as_completed(list(futures)):
                task = futures.pop(future)
                problem = future.exception()
                if problem is None:
                    yield future.result()
                elif isinstance(problem, KilledWorker):
                    suspects.append(task)
                else:
                    yield Outcome(task, reason=f"{task.name}: {problem}.")
        finally:
            client.cancel(list(futures))  # where the caller has had enough
    for task in suspects:  # one at a time: who dies now dies of its own
        future = client.submit(make_copy, layout, augment, task, pure=False)
        problem = future.exception()
        if problem is None:
            yield future.result()
        elif isinstance(problem, KilledWorker):
            yield Outcome(task, reason=f"{task.name}: {CRASHED}.")
        else:
            yield Outcome(task, reason=f"{task.name}: {problem}.")


def _saturation(dask_scheduler: Any) -> Any:
    return getattr(dask_scheduler, "WORKER_SATURATION", None)
