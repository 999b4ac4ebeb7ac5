"""Without memory a call raises, gives nothing wrong away, and the next one works."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

import pytest
from conftest import is_long

PROGRAM = Path(__file__).with_name("failing_memory.py")
STEPS = {"whole", "stream", "blocks", "automated", "preset", "plate", "reverb", "hiss"}


def test_each_allocation_of_the_native_module_may_fail() -> None:
    library = os.environ.get("PRISMEL_FAILING_CALLS", "")
    if not Path(library).is_file() or "asan" in os.environ.get("LD_PRELOAD", ""):
        pytest.skip("the library that makes allocations fail isn't built, or a sanitizer has an allocator of its own")
    # The interpreter's own memory isn't meant: that of the module, of the C++ library for it, and of arrays.
    callers = {"LD_PRELOAD": library, "PRISMEL_FAULT_CALLERS": "_prismel,libstdc++,libprismel,_multiarray_umath"}
    # pybind11 frees a new object twice, or ends the process, when its table of objects can't take one more: 24 bytes, for
    # which it asks behind everything that could be kept from happening here.
    callers["PRISMEL_FAULT_SPARES"] = "24"
    run = subprocess.run([sys.executable, PROGRAM, "200" if is_long() else "12"], env=os.environ | callers,
                         capture_output=True, text=True, timeout=900)
    assert run.returncode == 0, f"status {run.returncode}\n{run.stdout}\n{run.stderr[-2000:]}"
    told = {line.split()[0]: [int(word) for word in line.split()[1:]] for line in run.stdout.splitlines()}
    assert set(told) == STEPS
    for step, (allocations, refused, _) in told.items():
        assert allocations > 0 and refused > 0, step
