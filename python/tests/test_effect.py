"""The effect as a Python object: what it takes, gives, refuses and survives."""

from __future__ import annotations

import concurrent.futures
import multiprocessing
import os
import pickle
import subprocess
import sys
import threading
import time
import warnings
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import prismel
import pytest
from conftest import same, tone
from prismel import PrismelError

AUDIO = tone(48000, 2)


def test_gives_back_shape_and_type_and_leaves_the_input_alone(fx: prismel.Prismel) -> None:
    before = AUDIO.copy()
    assert fx(AUDIO).shape == AUDIO.shape and fx(AUDIO).dtype == np.float32
    assert fx(AUDIO[0]).shape == AUDIO[0].shape
    assert fx(AUDIO[:1]).shape == (1, AUDIO.shape[1])
    assert fx(AUDIO[0], stereo=True).shape == AUDIO.shape
    assert fx(AUDIO[:, :0]).shape == (2, 0)
    assert fx(AUDIO[:, :1]).shape == (2, 1)
    assert fx(AUDIO, tail=0.5).shape == (2, AUDIO.shape[1] + 24000)
    assert same(AUDIO, before)
    # Rows of a bigger array, every second frame, read-only memory.
    wide = np.repeat(AUDIO, 2, axis=1)[:, ::2]
    wide.flags.writeable = False
    assert same(fx(wide), fx(AUDIO))
    assert same(fx(np.asfortranarray(AUDIO)), fx(AUDIO))


def test_is_the_same_every_time_and_in_pieces(fx: prismel.Prismel) -> None:
    whole = fx(AUDIO, tail=0.25)
    assert same(fx(AUDIO, tail=0.25), whole)
    for piece in (1, 313, 100_000):
        stream = fx.stream(2, tail=0.25)
        count = 2000 if piece == 1 else AUDIO.shape[1]
        parts = [stream.feed(AUDIO[:, at : at + piece]) for at in range(0, count, piece)]
        parts.append(stream.finish())
        assert same(np.concatenate(parts, axis=1), fx(AUDIO[:, :count], tail=0.25))
    with pytest.raises(PrismelError, match="begin a new one"):
        stream.feed(AUDIO)


def test_another_seed_is_another_sound_where_chance_is_at_work() -> None:
    knobs: dict[str, Any] = {"lfo_shape_type": "sample and hold", "lfo_primary_amount": 0.9, "lfo_rate_unsynced": 20.0}
    one, two = (prismel.Prismel(48000, "octave-halo", seed=seed, **knobs)(AUDIO) for seed in (1, 2))
    assert not same(one, two)
    assert same(one, prismel.Prismel(48000, "octave-halo", seed=1, **knobs)(AUDIO))


def test_live_is_the_whole_call_a_block_late_and_follows_knobs(fx: prismel.Prismel) -> None:
    whole = fx(AUDIO)
    assert fx.latency == 48
    cuts = [0, 1, 47, 48, 500, 501, 9000, AUDIO.shape[1]]
    wet = np.concatenate([fx.process(AUDIO[:, a:b]) for a, b in zip(cuts, cuts[1:])], axis=1)
    assert same(np.ascontiguousarray(wet[:, fx.latency :]), np.ascontiguousarray(whole[:, : -fx.latency]))
    assert not wet[:, : fx.latency].any()
    fx.output_gain = -12.0
    quiet = fx.process(np.tile(AUDIO, 2))
    assert np.abs(quiet[:, 12000:]).max() < 0.5 * np.abs(wet).max()
    fx.bpm = 60.0
    fx.load_preset("stair-steps")
    fx.process(AUDIO)
    with pytest.raises(PrismelError, match="reset"):
        fx.process(AUDIO[0])
    fx.reset()
    assert fx.process(AUDIO[0]).shape == AUDIO[0].shape


def test_knobs_read_back_what_was_written() -> None:
    fx = prismel.Prismel(48000)
    fx.comb_cutoff = 440.0
    assert fx.comb_cutoff == 440.0
    fx.comb_cutoff = "1.2 kHz"
    assert fx.comb_cutoff == 1200.0
    fx.fx_type = "comb"
    fx.bypass = True
    assert fx.fx_type == "comb" and fx.bypass is True and fx.parameters["Prismel_FXType"] == "comb"
    fx.output_gain, fx.wet_gain = -3.0, 6.0
    assert (fx.parameters["output_gain"], fx.parameters["wet_gain"]) == (-3.0, 6.0)
    assert len(fx.parameters) == 70 and len({p.symbol for p in prismel.parameters() if p.is_main}) == 30
    for parameter in prismel.parameters():
        for position in (0.0, 0.25, 0.5, 1.0):
            value = parameter.value(position)
            if isinstance(value, float):
                value = float(f"{value:.4g}")
                if not parameter.minimum <= value <= parameter.maximum:
                    continue
            fx.parameters[parameter.symbol] = value
            assert fx.parameters[parameter.symbol] == value, parameter.symbol
    del fx.parameters["comb_cutoff"]
    assert fx.comb_cutoff == prismel.Prismel(48000).comb_cutoff


def test_presets_are_those_of_the_command(tmp_path: Path, fx: prismel.Prismel) -> None:
    assert {"Octave Halo", "Stair Steps"} <= {entry.name for entry in prismel.presets()}
    fx.comb_cutoff = 321.0
    fx.save_preset(tmp_path / "mine.json", "Mine", "A try.")
    again = prismel.Prismel(48000, tmp_path / "mine.json")
    assert again.comb_cutoff == 321.0 and same(again(AUDIO), fx(AUDIO))
    assert [path.name for path in tmp_path.iterdir()] == ["mine.json"]
    (tmp_path / "odd.json").write_text('{"schema": 1, "name": "Odd", "parameters": {"Nonsense": 1}}')
    with pytest.warns(UserWarning, match="Nonsense"):
        fx.load_preset(tmp_path / "odd.json")
    for broken in ("{", '{"schema": 9, "parameters": {}}'):
        (tmp_path / "broken.json").write_text(broken)
        before = repr(fx)
        with pytest.raises(PrismelError):
            fx.load_preset(tmp_path / "broken.json")
        assert repr(fx) == before
    with pytest.raises(PrismelError, match="no-such"):
        fx.load_preset("no-such")


CALLS: list[tuple[Callable[[prismel.Prismel], Any], str]] = [
    (lambda fx: fx(AUDIO.astype(np.float64)), r"float64; pass audio\.astype\(numpy\.float32\)"),
    (lambda fx: fx((AUDIO * 9).astype(np.int16)), r"/ 32768"),
    (lambda fx: fx(AUDIO.T), r"pass audio\.T"),
    (lambda fx: fx(np.zeros((3, 64), np.float32)), "3 channels; pass one or two"),
    (lambda fx: fx(np.zeros((1, 2, 3), np.float32)), "3 dimensions; pass"),
    (lambda fx: fx([0.0, 1.0]), "list; pass a numpy array"),
    (lambda fx: fx(AUDIO.astype(">f4")), "pass"),
    (lambda fx: fx(AUDIO, 44100), "made for 48000 Hz and the audio has 44100 Hz; resample"),
    (lambda fx: fx(AUDIO, tail=-1.0), '"auto", None or seconds'),
    (lambda fx: fx(AUDIO, tail="long"), '"auto", None or seconds'),
    (lambda fx: fx(AUDIO, tail=float("nan")), '"auto", None or seconds'),
    (lambda fx: fx(AUDIO, automation={"comb_cutof": [(0, 1)]}), "nearest is comb_cutoff"),
    (lambda fx: fx(AUDIO, automation={"comb_cutoff": [(0, "9 MHz")]}), "comb_cutoff takes 20 Hz to 20 kHz"),
    (lambda fx: fx(AUDIO, automation={"comb_cutoff": [(-1, 300)]}), "time"),
    (lambda fx: fx(AUDIO, automation={"comb_cutoff": [(0, 300, "jump")]}), '"step" or "ramp"'),
    (lambda fx: fx(AUDIO, automation={"wet": [(0, 1)], "Wet": [(1, 0)]}), ""),
    (lambda fx: setattr(fx, "comb_cutof", 3), "nearest is comb_cutoff"),
    (lambda fx: setattr(fx, "comb_cutoff", "3 kg"), "20 Hz to 20 kHz"),
    (lambda fx: setattr(fx, "comb_cutoff", 30000), "20 Hz to 20 kHz"),
    (lambda fx: setattr(fx, "comb_cutoff", float("nan")), "20 Hz to 20 kHz"),
    (lambda fx: setattr(fx, "comb_cutoff", None), "20 Hz to 20 kHz"),
    (lambda fx: setattr(fx, "comb_cutoff", True), "20 Hz to 20 kHz"),
    (lambda fx: setattr(fx, "fx_type", "combb"), "comb"),
    (lambda fx: setattr(fx, "bpm", 0), "1 to 1000"),
    (lambda fx: setattr(fx, "bpm", [(1, 100), (0, 90)]), "rise"),
    (lambda fx: setattr(fx, "bpm", []), "one step"),
    (lambda fx: setattr(fx, "bpm", "fast"), "list of"),
    (lambda fx: fx.stream(3), "one or two"),
    (lambda fx: fx.stream(2).feed(AUDIO[0]), "begun for 2"),
    (lambda fx: prismel.Prismel(0), "8000 to 384000"),
    (lambda fx: prismel.Prismel(44100.5), "whole number"),
    (lambda fx: prismel.Prismel("fast"), "number of Hz"),
    (lambda fx: prismel.Prismel(48000, seed=-1), "0 to 4294967295"),
    (lambda fx: prismel.Prismel(48000, comb_cutof=3), "nearest is comb_cutoff"),
    (lambda fx: prismel.Plate(48000, Decai=1), "nearest is Decay"),
    (lambda fx: prismel.Plate(48000, Decay=7), "Decay takes"),
    (lambda fx: prismel.ConvolutionReverb(48000, "/no/such.wav"), "no such file"),
    (lambda fx: prismel.ConvolutionReverb(48000, np.full(9, np.nan, np.float32)), "finite"),
    (lambda fx: prismel.ConvolutionReverb(48000, AUDIO, 3.0), "768000"),
    (lambda fx: prismel.noise(9, 48000, "grey"), "one of violet"),
    (lambda fx: prismel.noise(-9, 48000), "from 0 on"),
]


@pytest.mark.parametrize("call, words", CALLS)
def test_refuses_in_one_sentence_that_names_the_remedy(
    call: Callable[[prismel.Prismel], Any], words: str, fx: prismel.Prismel
) -> None:
    before = repr(fx)
    with pytest.raises(PrismelError, match=words) as problem:
        call(fx)
    text = str(problem.value)
    assert text.endswith(".") and "\n" not in text and isinstance(problem.value, ValueError)
    assert "--" not in text, "a command's option"
    assert repr(fx) == before


def test_counts_what_is_not_finite_and_warns_once(fx: prismel.Prismel) -> None:
    bad = AUDIO.copy()
    bad[0, 100], bad[1, 200], bad[1, 201] = np.nan, np.inf, -np.inf
    clean = np.where(np.isfinite(bad), bad, 0.0).astype(np.float32)
    with pytest.warns(RuntimeWarning, match="3 samples"):
        wet = fx(bad)
    assert fx.non_finite == 3 and same(wet, fx(clean)) and fx.non_finite == 0
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        fx(bad)
    assert fx.meters.input_db > -80.0
    plate = prismel.Plate(48000)
    with pytest.warns(RuntimeWarning, match="3 samples"):
        assert same(plate(bad), plate(clean))


def test_lets_other_threads_run_and_refuses_two_at_once() -> None:
    fx = prismel.Prismel(48000, "octave-halo")
    minute = np.tile(AUDIO, 60)
    stream = fx.stream(2)
    refused: list[str] = []
    done = 0

    # One thread works, minute by minute, until this one has been refused often enough. Whoever is refused ran while the
    # other was at work; neither knows when the other has its turn, so each tries again.
    def work(call: Callable[[Any], Any]) -> None:
        nonlocal done
        done = 0
        while len(refused) < 20 and done < 200:
            try:
                call(minute)
                done += 1
            except PrismelError:
                pass

    for call in (fx, stream.feed, fx.process):
        refused.clear()
        thread = threading.Thread(target=work, args=(call,))
        thread.start()
        while thread.is_alive():
            try:
                call(AUDIO[:, :48])
            except PrismelError as problem:
                refused.append(str(problem))
            time.sleep(0.001)
        assert len(refused) >= 20 and done > 0 and all("one for each thread" in sentence for sentence in refused), call
        fx.reset()
    assert fx(AUDIO).shape == AUDIO.shape


INTERRUPTED = """
import numpy as np, os, prismel, signal, threading, time
signal.signal(signal.SIGINT, signal.default_int_handler)  # a shell's background jobs inherit that it is ignored
fx = {make}
audio = np.zeros((2, 60_000_000), np.float32)
audio[:, 0] = 1.0
worker = time.pthread_getcpuclockid(threading.main_thread().ident)
begun = time.clock_gettime(worker)
def interrupt():  # in the midst of the work, wherever the clock on the wall stands
    global sent
    while time.clock_gettime(worker) < begun + 0.2:
        time.sleep(0.002)
    sent = time.clock_gettime(worker)
    os.kill(os.getpid(), signal.SIGINT)
threading.Thread(target=interrupt).start()
try:
    {call}
except KeyboardInterrupt:
    print("interrupted", time.clock_gettime(worker) - sent)
assert fx(audio[:, :4800]).shape == (2, 4800)
print("alive")
"""


@pytest.mark.parametrize(
    "make, call",
    [
        ("prismel.Prismel(48000, 'octave-halo')", "fx(audio)"),
        ("prismel.Prismel(48000, 'octave-halo')", "fx(audio[:, :10], tail=1000)"),
        ("prismel.Plate(48000)", "fx(audio)"),
        ("prismel.ConvolutionReverb(48000, np.full(480000, 2e-6, np.float32))", "fx(audio)"),
    ],
)
def test_answers_ctrl_c_within_half_a_second(make: str, call: str) -> None:
    """Of the working thread's own time, which stands still while other work has the processor."""
    program = INTERRUPTED.format(make=make, call=call)
    run = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    answered, alive = run.stdout.splitlines()
    assert alive == "alive" and answered.startswith("interrupted "), run
    assert float(answered.split()[1]) < 0.5


def render(fx: Callable[[Any], Any]) -> bytes:
    """At the top of the module: spawned workers import it."""
    return bytes(fx(AUDIO).tobytes())


def makers() -> list[Any]:
    return [
        prismel.Prismel(48000, "octave-halo", seed=3, bpm=[(0.0, 90.0), (0.2, 120.0)], comb_cutoff=333.0),
        prismel.Plate(48000, Decay=0.7),
        prismel.ConvolutionReverb(48000, AUDIO[:, :4000], Wet=0.4),
    ]


@pytest.mark.parametrize("way", ["fork", "spawn", "forkserver"])
def test_sounds_the_same_in_other_processes(way: str) -> None:
    here = [render(fx) for fx in makers()]
    makers()[0].process(AUDIO)
    context = multiprocessing.get_context(way)
    with concurrent.futures.ProcessPoolExecutor(2, mp_context=context) as pool:
        assert list(pool.map(render, makers())) == here


def test_copies_have_the_sound_and_not_the_state() -> None:
    for fx in makers():
        if isinstance(fx, prismel.Prismel):
            fx.process(AUDIO)
        copy = pickle.loads(pickle.dumps(fx))
        assert render(copy) == render(fx) and repr(copy).split(" object")[0] == repr(fx).split(" object")[0]
    error = pickle.loads(pickle.dumps(PrismelError("One sentence.")))
    assert isinstance(error, PrismelError) and str(error) == "One sentence."


def test_a_stream_goes_on_in_a_forked_child() -> None:
    fx = prismel.Prismel(48000, "octave-halo")
    stream = fx.stream(2)
    first = stream.feed(AUDIO)
    reverb = prismel.ConvolutionReverb(48000, AUDIO[:, :4000]).stream(2)
    reverb.feed(AUDIO)
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            os.write(writer, (stream.feed(AUDIO[:, :480]).tobytes()))
            try:
                reverb.feed(AUDIO)
            except PrismelError as problem:
                os.write(writer, str(problem).encode())
            del reverb
        finally:
            os._exit(0)
    os.close(writer)
    with open(reader, "rb") as pipe:
        answer = pipe.read()
    os.waitpid(child, 0)
    rest = np.concatenate([stream.feed(AUDIO[:, :480]), stream.finish()], axis=1)
    assert answer.startswith(rest[:, :480].tobytes()[:100]) and b"begin a stream in each process" in answer
    assert same(np.concatenate([first, rest], axis=1), fx(np.concatenate([AUDIO, AUDIO[:, :480]], axis=1)))
