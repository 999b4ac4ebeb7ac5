"""The Python package's arguments: python_arguments.py [SECONDS, 10, or a number of calls as 800x] [SEED, 1].

Every public name is called with arguments drawn from nasty ones. It answers, or raises an exception of Python's kinds;
whatever else happens ends the process and fails. Prints the number of calls.
"""

import math
import random
import sys
import time
import warnings

import numpy as np

import prismel

ALLOWED = (prismel.PrismelError, ValueError, TypeError, OverflowError, OSError, KeyError, AttributeError, IndexError)


def arguments(draw):
    """One argument that may be anything."""
    tone = np.sin(np.arange(draw.choice([0, 1, 7, 480])) * 0.05).astype(np.float32)
    return draw.choice([
        None, True, 0, 1, -1, 2**31, 2**64, -2**63, 48000, 44100, 1000, 999, 768001, 0.0, 0.5, -0.5, 1e300, math.nan,
        math.inf, -math.inf, "", "octave-halo", "Glass Choir", "nothing", "440 Hz", "\0", "\udcff", "x" * 1000, "../..",
        b"bytes", [], {}, [[]], [(0.0, 120.0)], [(0.0, math.nan)], {"Wet": 0.5}, {"Wet": "2"}, {1: 2}, object(),
        tone, np.stack([tone, tone]), np.stack([tone] * 3), tone.astype(np.float64), tone.astype(np.int16),
        np.asfortranarray(np.stack([tone, tone])), tone[::-1], np.full(8, math.nan, np.float32), np.zeros((2, 0)),
        np.zeros((2, 2, 2)), np.array("text"), np.array([None]),
    ])


def calls(draw):
    """One call of the package, its arguments drawn."""
    some = lambda: arguments(draw)  # noqa: E731
    knobs = {draw.choice(["wet", "comb_cutoff", "fx_type", "voices", "bypass", "nothing", "seed", "tempo"]): some()
             for _ in range(draw.randrange(3))}
    kind = draw.randrange(8)
    if kind == 0:
        return prismel.Prismel(some(), some(), **knobs)
    if kind == 1:
        return prismel.Prismel(48000, "octave-halo", **knobs)(some())
    if kind == 2:
        return prismel.Plate(some(), **knobs)(some())
    if kind == 3:
        return prismel.ConvolutionReverb(some(), some(), **knobs)
    if kind == 4:
        return prismel.noise(some(), draw.choice([0, 1, 100, -1, None]), some())
    if kind == 5:
        effect = prismel.Prismel(48000)
        setattr(effect, draw.choice(["wet", "comb_cutoff", "voices", "nothing"]), some())
        return effect(np.zeros((2, 64), np.float32))
    if kind == 6:
        return prismel.Augment(some(), **knobs)
    return prismel.Automation(some(), some())


def main():
    most = sys.argv[1] if len(sys.argv) > 1 else "10"
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    warnings.simplefilter("ignore")
    draw = random.Random(seed)
    # A number of calls is the same ones on every machine.
    calls_wanted = int(most[:-1]) if most.endswith("x") else None
    end = time.monotonic() + (0.0 if calls_wanted is not None else float(most))
    count = answered = 0
    while count < calls_wanted if calls_wanted is not None else time.monotonic() < end:
        count += 1
        try:
            calls(draw)
            answered += 1
        except ALLOWED:
            pass
    print(f"{count} calls, {answered} answered, the rest refused; seed {seed}")


if __name__ == "__main__":
    main()
