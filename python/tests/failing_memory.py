"""A program for test_failing_memory.py: does everything that takes memory of the native module's own, with one of these
allocations failing after another.

    LD_PRELOAD=libfailingCalls.so PRISMEL_FAULT_CALLERS=... python failing_memory.py [TRIED for each step]

Prints a line for each step: its name, its allocations, how often it was refused, how often that made no difference.
"""

from __future__ import annotations

import ctypes
import hashlib
import sys
import tempfile
from collections.abc import Callable
from pathlib import Path

import numpy as np
import prismel

faults = ctypes.CDLL(None)
faults.PrismelFault.argtypes = [ctypes.c_char_p]
faults.PrismelFaultCount.restype = ctypes.c_long

time = np.arange(2400) / 48000
DRY = (0.3 * np.sin(2.0 * np.pi * np.array([[220.0], [330.0]]) * time)).astype(np.float32)
FOLDER = Path(tempfile.mkdtemp())


def digest(*arrays: np.ndarray) -> str:
    return hashlib.sha256(b"".join(array.tobytes() for array in arrays)).hexdigest()


def whole() -> str:
    return digest(prismel.Prismel(48000, "octave-halo")(DRY, tail=0.01))


def stream() -> str:
    run = prismel.Prismel(48000, "metal-rain").stream(2, tail=0.01)
    return digest(run.feed(DRY[:, :1000]), run.feed(DRY[:, 1000:]), run.finish())


def blocks() -> str:
    fx = prismel.Prismel(48000, "stair-steps")
    return digest(fx.process(DRY[:, :480]), fx.process(DRY[:, 480:960]))


def automated() -> str:
    points = {"prismelion": [(0.0, 0.1), (0.04, 0.9, "ramp")]}
    return digest(prismel.Prismel(48000, bpm=[(0.0, 100.0), (0.02, 140.0)])(DRY, automation=points, tail=0.0))


def preset() -> str:
    fx = prismel.Prismel(48000, "slow-prism", comb_cutoff="300 Hz")
    fx.save_preset(FOLDER / "mine.json", "Mine")
    return digest(prismel.Prismel(48000, FOLDER / "mine.json")(DRY, tail=0.0))


def plate() -> str:
    return digest(prismel.Plate(48000)(DRY, tail=0.01))


def reverb() -> str:
    return digest(prismel.ConvolutionReverb(48000, DRY * 0.1)(DRY, tail=0.01))


def hiss() -> str:
    return digest(prismel.noise(960, 48000, "pink", seed=3))


def attempt(step: Callable[[], str]) -> str | None:
    try:
        return step()
    except (MemoryError, prismel.PrismelError):
        return None


def main() -> int:
    tried = int(sys.argv[1]) if len(sys.argv) > 1 else 40
    for step in (whole, stream, blocks, automated, preset, plate, reverb, hiss):
        step()  # what is kept for good is made now
        faults.PrismelFault(b"memory:0:ENOMEM")
        wanted = step()
        allocations = faults.PrismelFaultCount()
        faults.PrismelFault(None)
        refused = unminded = 0
        for how in (b"", b":on"):
            for which in range(1, allocations + 1, allocations // tried + 1):
                faults.PrismelFault(b"memory:%d:ENOMEM%s" % (which, how))
                found = attempt(step)
                faults.PrismelFault(None)
                if found is None:
                    refused += 1
                elif found == wanted:
                    unminded += 1
                else:
                    print(f"{step.__name__}: allocation {which}{how.decode()} went wrong without a word")
                    return 1
                if step() != wanted:
                    print(f"{step.__name__}: after allocation {which}{how.decode()} failed the next try is another")
                    return 1
        print(f"{step.__name__} {allocations} {refused} {unminded}", flush=True)
    return 0


sys.exit(main())
