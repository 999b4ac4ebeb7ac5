"""A corpus, and everything that happens to workers, disks and runs."""

from __future__ import annotations

import hashlib
import json
import os
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path
from typing import Any

import numpy as np
import prismel
import pytest
from conftest import read, same, tone, write
from crashing import Crashing, parts
from prismel import Augment, PrismelError
from prismel.corpus import Layout, Report, augment_corpus, digest, replay

RANGES: dict[str, Any] = {"wet": ("uniform", 0.2, 0.7), "comb_cutoff": ("log", "80 Hz", "2 kHz")}
COUNT = 12


def make(kind: type[Augment] = Augment, **more: Any) -> Any:
    return kind(RANGES, presets=["octave-halo"], seed=7, **more)


@pytest.fixture
def corpus(tmp_path: Path) -> Path:
    folder = tmp_path / "corpus"
    for i in range(COUNT):
        path = folder / f"speaker{i % 3}" / f"take{i}.wav"
        path.parent.mkdir(parents=True, exist_ok=True)
        rate = (16000, 48000)[i % 2]
        write(path, tone(rate, 1 + i % 2, 0.1 + 0.02 * i), rate)
    (folder / "notes.txt").write_text("no audio")
    return folder


def records(out: Path) -> dict[str, dict[str, Any]]:
    lines = (out / "manifest.jsonl").read_text().splitlines()
    return {f"{record['input']}#{record['copy']}": record for record in map(json.loads, lines)}


def outputs(out: Path) -> str:
    """One digest of every output's bytes and name."""
    whole = hashlib.sha256()
    for path in sorted((out / "audio").rglob("*.wav")):
        whole.update(path.relative_to(out).as_posix().encode() + path.read_bytes())
    return whole.hexdigest()


@pytest.fixture
def undisturbed(corpus: Path, tmp_path: Path) -> str:
    report = augment_corpus(corpus, tmp_path / "undisturbed", make(), copies=2)
    assert (report.done, report.skipped, report.failed) == (2 * COUNT, 0, [])
    return outputs(tmp_path / "undisturbed")


def test_every_copy_has_a_record_that_replays(corpus: Path, tmp_path: Path) -> None:
    out = tmp_path / "out"
    report = augment_corpus(corpus, out, make(keep_level=1.0), copies=2)
    assert report.done == 2 * COUNT and "24 made" in str(report) and parts(out) == []
    made = records(out)
    assert len(made) == 2 * COUNT and len({record["sha256"] for record in made.values()}) == 2 * COUNT
    for key, record in made.items():
        audio, rate = read(out / record["output"])
        assert rate == record["rate"] and digest(audio) == record["sha256"] and record["key"] == key
        assert record["version"] == prismel.__version__ and set(record["knobs"]) == set(RANGES)
        again, _ = replay(record, corpus)
        assert same(again, audio)
    record = made["speaker0/take0.wav#1"]
    with pytest.raises(PrismelError, match="isn't the file"):
        replay({**record, "input": "speaker1/take1.wav"}, corpus)
    with pytest.raises(PrismelError, match="other samples"):
        replay({**record, "seed": 1, "knobs": {"output_gain": -5.0}}, corpus)
    # The corpus's own variations are no inputs, wherever they lie, and a list of files is as good as a folder.
    inside = augment_corpus(corpus, corpus / "varied", make(keep_level=1.0), copies=2)
    assert inside.done == 2 * COUNT
    listed = augment_corpus(sorted(corpus.glob("speaker*/*.wav")), tmp_path / "listed", make(keep_level=1.0), copies=2)
    assert listed.done == 2 * COUNT and outputs(out) == outputs(corpus / "varied") == outputs(tmp_path / "listed")


def test_skips_what_stands_and_refuses_other_settings(corpus: Path, tmp_path: Path, undisturbed: str) -> None:
    out = tmp_path / "undisturbed"
    stamps = {path: path.stat().st_mtime_ns for path in out.rglob("*.wav")}
    victim = next(iter(sorted((out / "records").rglob("*.json"))))
    victim.unlink()  # the audio stands, the record doesn't: made anew
    report = augment_corpus(corpus, out, make(), copies=2)
    assert (report.done, report.skipped) == (1, 2 * COUNT - 1) and outputs(out) == undisturbed
    assert sum(path.stat().st_mtime_ns != stamp for path, stamp in stamps.items()) == 1
    with pytest.raises(PrismelError, match="other settings"):
        augment_corpus(corpus, out, Augment(RANGES, seed=8), copies=2)
    with pytest.raises(PrismelError, match="isn't a folder"):
        augment_corpus(corpus / "gone", out, make())


def test_reports_what_cannot_be_read_and_goes_on(corpus: Path, tmp_path: Path) -> None:
    (corpus / "broken.wav").write_text("nothing to hear")
    write(corpus / "surround.wav", np.zeros((6, 480), np.float32), 48000)
    write(corpus / "slow.wav", np.zeros((1, 480), np.float32), 4000)
    write(corpus / "empty.wav", np.zeros((1, 0), np.float32), 48000)
    report = augment_corpus(corpus, tmp_path / "out", make())
    assert report.done == COUNT and len(report.failed) == 4
    for words in ("broken.wav can't be read", "6 channels", "8000 to 384000", "holds no audio"):
        assert any(words in reason for reason in report.failed), words


def test_joblib_makes_the_same(corpus: Path, tmp_path: Path, undisturbed: str) -> None:
    report = augment_corpus(corpus, tmp_path / "out", make(), copies=2, jobs=2)
    assert report.done == 2 * COUNT and outputs(tmp_path / "out") == undisturbed


def test_joblib_finds_the_file_that_crashes_and_loses_no_other(corpus: Path, tmp_path: Path, undisturbed: str) -> None:
    out = tmp_path / "out"
    augment = make(Crashing, fatal=("speaker1/take4.wav#1",))
    report = augment_corpus(corpus, out, augment, copies=2, jobs=2)
    assert report.done == 2 * COUNT - 1
    assert len(report.failed) == 1 and "speaker1/take4.wav: its worker died" in report.failed[0]
    report = augment_corpus(corpus, out, make(), copies=2)  # mended
    assert (report.done, outputs(out)) == (1, undisturbed)


def pids_of_workers() -> set[int]:
    me = os.getpid()
    found = set()
    for entry in Path("/proc").iterdir():
        try:
            fields = (entry / "stat").read_text().rsplit(")", 1)[1].split()
            command = (entry / "cmdline").read_text()
        except (OSError, IndexError):
            continue
        if int(fields[1]) == me and "resource_tracker" not in command:
            found.add(int(entry.name))
    return found


def test_joblib_survives_a_killed_worker(corpus: Path, tmp_path: Path, undisturbed: str) -> None:
    out = tmp_path / "out"
    reports: list[Report] = []
    run = threading.Thread(
        target=lambda: reports.append(augment_corpus(corpus, out, make(Crashing, pause=0.1), copies=2, jobs=2))
    )
    before = pids_of_workers()
    run.start()
    deadline = time.monotonic() + 60
    while len(list(out.rglob("*.json"))) < 8 and time.monotonic() < deadline:
        time.sleep(0.01)
    workers = sorted(pids_of_workers() - before) or sorted(pids_of_workers())
    os.kill(workers[-1], signal.SIGKILL)
    run.join()
    assert reports[0].failed == [] and outputs(out) == undisturbed and parts(out) == []


@pytest.fixture
def cluster() -> Any:
    distributed = pytest.importorskip("distributed")
    import dask

    with dask.config.set({"distributed.scheduler.worker-saturation": 1.0}):
        with distributed.LocalCluster(
            n_workers=2, threads_per_worker=1, dashboard_address=None, processes=True
        ) as local, distributed.Client(local) as client:
            yield client


def test_dask_loses_nothing_when_a_worker_is_killed(
    corpus: Path, tmp_path: Path, undisturbed: str, cluster: Any
) -> None:
    out = tmp_path / "out"
    reports: list[Report] = []
    augment = make(Crashing, pause=0.1)
    run = threading.Thread(target=lambda: reports.append(augment_corpus(corpus, out, augment, 2, client=cluster)))
    run.start()
    deadline = time.monotonic() + 60
    while len(list(out.rglob("*.json"))) < 8 and time.monotonic() < deadline:
        time.sleep(0.01)
    victim = next(iter(cluster.run(os.getpid).values()))
    os.kill(victim, signal.SIGKILL)
    run.join()
    assert reports[0].failed == [] and outputs(out) == undisturbed and parts(out) == []
    again = augment_corpus(corpus, out, augment, 2, client=cluster)
    assert (again.done, again.skipped) == (0, 2 * COUNT)


def test_dask_reports_only_the_file_that_crashes(corpus: Path, tmp_path: Path, undisturbed: str, cluster: Any) -> None:
    out = tmp_path / "out"
    augment = make(Crashing, fatal=("speaker2/take5.wav#0",))
    report = augment_corpus(corpus, out, augment, copies=2, client=cluster)
    assert report.done == 2 * COUNT - 1
    assert len(report.failed) == 1 and "speaker2/take5.wav: its worker died" in report.failed[0]
    assert augment_corpus(corpus, out, make(), copies=2).done == 1 and outputs(out) == undisturbed


SETTINGS = 'presets = ["octave-halo"]\nseed = 7\n[ranges]\nwet = ["uniform", 0.2, 0.7]\ncomb_cutoff = ["log", "80 Hz", "2 kHz"]\n'


def corpus_command(*arguments: object, shell: str = "") -> subprocess.CompletedProcess[str]:
    words = [sys.executable, "-m", "prismel.corpus", *map(str, arguments)]
    if shell:
        words = ["bash", "-c", f'{shell}; exec "$@"', "bash", *words]
    return subprocess.run(words, capture_output=True, text=True)


def test_the_command_makes_the_same_is_resumed_and_replays(corpus: Path, tmp_path: Path, undisturbed: str) -> None:
    settings, out = tmp_path / "settings.toml", tmp_path / "out"
    settings.write_text(SETTINGS)
    words = [sys.executable, "-m", "prismel.corpus", str(corpus), str(out), "--settings", str(settings), "--copies", "2"]
    with subprocess.Popen(words, stderr=subprocess.DEVNULL) as process:  # ended in the middle, by force
        while len(list(out.rglob("*.json"))) < 5:
            assert process.poll() is None or len(list(out.rglob("*.json"))) >= 5
            time.sleep(0.002)
        process.kill()
    run = corpus_command(corpus, out, "--settings", settings, "--copies", 2, "--jobs", 2)
    assert run.returncode == 0 and outputs(out) == undisturbed and parts(out) == [], run.stderr
    record = out / "records" / "speaker0" / "take3.wav-1.json"
    assert corpus_command(corpus, tmp_path / "again.wav", "--replay", record).returncode == 0
    assert (tmp_path / "again.wav").read_bytes() == (out / "audio" / "speaker0" / "take3.wav-1.wav").read_bytes()

    (corpus / "broken.wav").write_text("nothing to hear")
    run = corpus_command(corpus, out, "--settings", settings, "--copies", 2)
    assert run.returncode == 1 and "broken.wav can't be read" in run.stderr and "2 failed" in run.stderr
    settings.write_text("ranges = 3")
    assert corpus_command(corpus, out, "--settings", settings).returncode == 2
    settings.write_text('pp = 0.5\n')
    run = corpus_command(corpus, out, "--settings", settings)
    assert run.returncode == 2 and "setting that there isn't" in run.stderr and "Traceback" not in run.stderr


def test_a_full_disk_ends_the_run_and_loses_nothing(corpus: Path, tmp_path: Path, undisturbed: str) -> None:
    small = tmp_path / "small"
    small.mkdir()
    mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=400k", "tmpfs", str(small)], capture_output=True)
    if mounted.returncode != 0:
        pytest.skip("mounting a small disk needs to be root and allowed to")
    try:
        report = augment_corpus(corpus, small, make(), copies=2, jobs=2)
        assert 0 < report.done < 2 * COUNT and report.failed and "No space left" in report.failed[0]
        stands = report.done
        assert report.disk_is_full and report.not_made + len(report.failed) + stands == 2 * COUNT
        assert parts(small) == []
        made = {path.name for path in small.rglob("*.json") if path.parent != small}
        for path in small.rglob("*.json"):
            json.loads(path.read_text())  # none is cut
        assert len(made) == stands
        subprocess.run(["mount", "-o", "remount,size=16m", str(small)], check=True)
        report = augment_corpus(corpus, small, make(), copies=2)
        assert (report.skipped, report.done) == (stands, 2 * COUNT - stands) and outputs(small) == undisturbed
    finally:
        subprocess.run(["umount", str(small)], check=True)


def test_layout_holds_a_folder_to_the_size_of_the_corpuss_own(tmp_path: Path) -> None:
    layout = Layout(tmp_path, tmp_path / "out")
    assert layout.audio("a/take.flac", 0) != layout.audio("a/take.wav", 0)
    assert layout.record("a/take.wav", 1).parent == tmp_path / "out" / "records" / "a"
