"""Variations that can be had again: by key, in any order, in any worker."""

from __future__ import annotations

import multiprocessing
import pickle
from collections import Counter
from typing import Any

import numpy as np
import prismel
import pytest
from conftest import same, tone
from prismel import Augment, PrismelError

AUDIO = tone(16000, 1)
RANGES: dict[str, Any] = {
    "comb_cutoff": ("log", "80 Hz", "2 kHz"),
    "wet": ("uniform", 0.2, 0.7),
    "fx_type": ["comb", "band-pass"],
    "voices": ("uniform", 2, 5),
    "output_gain": ("uniform", "-6 dB", 0),
}


def make(**more: Any) -> Augment:
    return Augment(RANGES, **{"seed": 7, **more})


def test_a_draw_follows_from_seed_and_key_alone() -> None:
    augment = make(presets=["octave-halo", "stair-steps"], p=0.5)
    keys = [f"speaker{i}/take.wav" for i in range(200)]
    forth = [augment.draw(key) for key in keys]
    assert forth == [make(presets=["octave-halo", "stair-steps"], p=0.5).draw(key) for key in reversed(keys)][::-1]
    assert pickle.loads(pickle.dumps(augment)).draw("a") == augment.draw("a")
    assert make(seed=8).draw("a")["knobs"] != make().draw("a")["knobs"]
    # Another knob's range, or a longer list of presets, moves none of the other draws.
    fewer = Augment({"wet": RANGES["wet"]}, seed=7)
    assert fewer.draw("a")["knobs"]["wet"] == augment.draw("a")["knobs"]["wet"]
    assert augment.draw(3) == augment.draw("3")


def test_draws_lie_in_their_ranges_and_fill_them() -> None:
    drawn = [make(p=0.25).draw(i) for i in range(4000)]
    cutoffs = np.array([float(d["knobs"]["comb_cutoff"]) for d in drawn])
    assert 80.0 <= cutoffs.min() < 82.0 and 1950.0 < cutoffs.max() <= 2000.0
    assert abs(np.median(cutoffs) - 400.0) < 20.0  # the middle of a logarithmic range is its geometric mean
    gains = np.array([float(d["knobs"]["output_gain"]) for d in drawn])
    assert -6.0 <= gains.min() < -5.98 and abs(gains.mean() + 3.0) < 0.1
    assert Counter(d["knobs"]["voices"] for d in drawn).keys() == {2.0, 3.0, 4.0, 5.0}
    assert abs(Counter(d["knobs"]["fx_type"] for d in drawn)["comb"] - 2000) < 150
    assert abs(sum(d["apply"] for d in drawn) - 1000) < 120
    assert len({d["seed"] for d in drawn}) == 4000


def test_a_call_is_the_effect_with_what_was_drawn() -> None:
    augment = make(presets=["octave-halo"], tail=0.1)
    wet = augment(AUDIO, 16000, key="a")
    did = augment.parameters
    assert did is not None and did["key"] == "a" and did["gain"] == 1.0
    knobs: Any = did["knobs"]
    assert same(wet, prismel.Prismel(16000, "octave-halo", seed=did["seed"], **knobs)(AUDIO, tail=0.1))
    assert same(make(presets=["octave-halo"], tail=0.1).apply(AUDIO, 16000, did), wet)
    # Without a key calls are numbered.
    assert same(augment(AUDIO, 16000), augment.apply(AUDIO, 16000, augment.draw(0)))
    assert augment(AUDIO[0], 16000).shape[0] > 2 and augment.parameters["key"] == "1"
    untouched = make(p=0.0)(AUDIO, 16000)
    assert same(untouched, AUDIO) and not np.shares_memory(untouched, AUDIO)


@pytest.mark.parametrize("limit", [0.0, 3.0])
def test_keeps_the_level_within_what_was_asked_for(limit: float) -> None:
    augment = Augment({"output_gain": ("uniform", -12, 12)}, seed=1, keep_level=limit)
    level = lambda audio: 20.0 * np.log10(np.sqrt(np.mean(np.square(audio, dtype=np.float64))))  # noqa: E731
    changes = []
    for key in range(12):
        wet = augment(AUDIO, 16000, key=key)
        changes.append(level(wet) - level(AUDIO))
        did = augment.parameters
        assert did is not None and same(augment.apply(AUDIO, 16000, did), wet)
    assert max(map(abs, changes)) < limit + 0.01
    assert limit == 0.0 or max(map(abs, changes)) > 1.0


def drawn_in_a_worker(augment: Augment) -> tuple[bytes, int]:
    import warnings

    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        augment(AUDIO, 16000)
    return augment(AUDIO, 16000, key="a").tobytes(), len(caught)


def test_workers_agree_by_key_and_are_warned_without() -> None:
    augment = make()
    here = augment(AUDIO, 16000, key="a").tobytes()
    with multiprocessing.get_context("fork").Pool(2) as pool:
        assert pool.map(drawn_in_a_worker, [augment, augment]) == [(here, 1), (here, 1)]


@pytest.mark.parametrize(
    "ranges, more, words",
    [
        ({"comb_cutof": [1]}, {}, "nearest is comb_cutoff"),
        ({"comb_cutoff": ("uniform", "2 kHz", "80 Hz")}, {}, "lower to the higher"),
        ({"comb_cutoff": ("uniform", 1, 100)}, {}, "20 Hz to 20 kHz"),
        ({"output_gain": ("log", -6, 0)}, {}, "above 0"),
        ({"fx_type": ("uniform", 0, 3)}, {}, "list some of"),
        ({"fx_type": ["comb", "chorus"]}, {}, "comb"),
        ({"fx_type": "comb"}, {}, "list of choices"),
        ({"wet": []}, {}, "list one"),
        ({"wet": [0.5], "Wet": [0.3]}, {}, ""),
        ({}, {"p": 1.5}, "from 0 to 1"),
        ({}, {"presets": "octave-halo"}, r"\['octave-halo'\]"),
        ({}, {"presets": ["no-such"]}, "no-such"),
        ({}, {"tail": "long"}, "seconds"),
        ({}, {"keep_level": -1.0}, "dB"),
        ({}, {"seed": 0.5}, "whole number"),
    ],
)
def test_refuses_what_cannot_be_drawn(ranges: dict[str, Any], more: dict[str, Any], words: str) -> None:
    with pytest.raises(PrismelError, match=words):
        Augment(ranges, **more)
