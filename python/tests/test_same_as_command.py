"""The bytes of the command, whatever is asked for."""

from __future__ import annotations

from pathlib import Path
from typing import Any

import numpy as np
import prismel
import pytest
from conftest import ROOT, Command, is_long, read, same, tone

PRESETS = sorted(path.stem for path in (ROOT / "presets").glob("*.json"))
RATES = [8000, 22050, 44100, 48000, 96000, 192000]
RENDER = ("render", "-q", "-f", "float")


@pytest.mark.parametrize("preset", PRESETS)
def test_every_preset_with_its_tail(preset: str, command: Command, recordings: list[Path]) -> None:
    # The short form gives each preset one of the three; the long one all.
    chosen = recordings if is_long() else [recordings[PRESETS.index(preset) % len(recordings)]]
    for recording in chosen:
        audio, rate = read(recording)
        wet = prismel.Prismel(rate, preset)(audio, rate, tail="auto")
        assert same(wet, command.run(*RENDER, "--mono", "-P", preset, recording)), recording


@pytest.mark.parametrize("rate", RATES)
@pytest.mark.parametrize("channels", [1, 2])
def test_rates_channels_tempo_automation(rate: int, channels: int, command: Command, tmp_path: Path) -> None:
    audio = tone(rate, channels)
    moves = tmp_path / "moves.csv"
    moves.write_text("seconds,parameter,value\n0,Prismelion,0.2\n0.4,Prismelion,0.9,ramp\n0.2,Wet,0.5\n")
    points = {"prismelion": [(0.0, 0.2), (0.4, 0.9, "ramp")], "wet": [(0.2, 0.5)]}
    tempo = tmp_path / "tempo.csv"
    tempo.write_text("seconds,bpm\n0,90\n0.25,180\n")
    presets = PRESETS if is_long() else [PRESETS[(RATES.index(rate) * 2 + channels) % len(PRESETS)], "stair-steps"]
    for preset in presets:
        cases: list[tuple[Any, dict[str, Any], dict[str, Any], tuple[str, ...]]] = [
            (77.0, {}, {"tail": 0.3}, ("--bpm", "77", "--tail", "0.3")),
            (120.0, {}, {"automation": points}, ("--tail", "0", "--automation", str(moves))),
            ([(0.0, 90.0), (0.25, 180.0)], {"comb_cutoff": "300 Hz"}, {"tail": "auto"},
             ("--tempo-map", str(tempo), "--set", "CombCutoff=300 Hz")),
        ]  # fmt: skip
        if channels == 1:
            cases.append((120.0, {}, {"stereo": True}, ("--stereo", "--tail", "0")))
        for bpm, knobs, call, options in cases if is_long() else cases[RATES.index(rate) % 3 :]:
            wet = prismel.Prismel(rate, preset, bpm=bpm, **knobs)(audio, **call)
            width = () if "--stereo" in options else ("--mono",)  # the command widens what the preset makes wide
            assert same(wet, command.over(audio, rate, *RENDER, "-P", preset, *width, *options)), (preset, options)


def test_automation_in_beats_and_knobs_without_a_preset(command: Command, tmp_path: Path) -> None:
    audio = tone(44100, 2)
    moves = tmp_path / "moves.csv"
    moves.write_text("beats,parameter,value\n0,FXType,comb\n0.25,CombCutoff,200Hz\n0.75,CombCutoff,2kHz,ramp\n")
    points = prismel.Automation(
        {"fx_type": [(0, "comb")], "comb_cutoff": [(0.25, "200 Hz"), (0.75, 2000.0, "ramp")]}, unit="beats"
    )
    fx = prismel.Prismel(44100, voices=3, output_gain="-3 dB")
    theirs = command.over(audio, 44100, *RENDER, "--tail", "1", "--automation", moves, "--set", "Voices=3",
                          "--set", "OutputGain=-3dB")  # fmt: skip
    assert same(fx(audio, tail=1.0, automation=points), theirs)


def test_seeds(command: Command) -> None:
    audio = tone(48000, 2)
    knobs: dict[str, Any] = {"lfo_shape_type": "sample and hold", "lfo_primary_amount": 0.9, "lfo_rate_unsynced": 20.0}
    sets = [word for name, value in knobs.items() for word in ("--set", f"{name}={value}")]
    wet = [prismel.Prismel(48000, "octave-halo", seed=seed, **knobs)(audio) for seed in (0, 5)]
    plain = (*RENDER, "--tail", "0", "-P", "octave-halo", *sets)
    assert same(wet[0], command.over(audio, 48000, *plain))
    assert same(wet[1], command.over(audio, 48000, *plain, "--seed", 5)) and not same(wet[0], wet[1])


def test_plate_and_reverb(command: Command, recordings: list[Path]) -> None:
    for recording in recordings if is_long() else recordings[:1]:
        audio, rate = read(recording)
        plate = prismel.Plate(rate, Decay=0.8, predelay="20 ms")
        theirs = command.run("plate", "-q", "-f", "float", "--set", "Decay=0.8", "--set", "Predelay=20ms", recording)
        assert same(plate(audio, tail="auto"), theirs)
        options = ("-q", "-f", "float", "--set", "PreDelayMs=20", "--set", "Wet=0.3", recording, "-i", recordings[2])
        theirs = command.run("reverb", *options)
        knobs: dict[str, Any] = {"PreDelayMs": 20, "Wet": 0.3}
        assert same(prismel.ConvolutionReverb(rate, recordings[2], **knobs)(audio, tail="auto"), theirs)
        impulse, impulse_rate = read(recordings[2])
        assert same(prismel.ConvolutionReverb(rate, impulse, impulse_rate, **knobs)(audio, tail="auto"), theirs)


@pytest.mark.parametrize("color", ["violet", "white", "pink", "brown", "dark", "variable"])
def test_noise(color: str, command: Command) -> None:
    ours = prismel.noise(48000, 48000, color, 2, seed=9, gain_db=-20.0)
    options = ("--color", color, "--duration", "1", "--stereo", "--seed", "9", "--gain", "-20", "-f", "float")
    assert same(ours, command.run("noise", *options))
    assert np.ptp(ours) > 0.0
