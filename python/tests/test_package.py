"""What holds the package together: types, the written file of knobs, and that it can be installed."""

from __future__ import annotations

import ast
import os
import shutil
import subprocess
import sys
import zipfile
from pathlib import Path
from typing import Any

import prismel
import pytest
from conftest import ROOT, tone, write
from prismel import _prismel, _prismel_reverb


def run(*words: object, cwd: Path = ROOT) -> str:
    done = subprocess.run([str(word) for word in words], cwd=cwd, capture_output=True, text=True)
    assert done.returncode == 0, (words, done.stdout[-3000:], done.stderr[-3000:])
    return done.stdout


def test_the_types_are_strict() -> None:
    if shutil.which("mypy") is None:
        pytest.skip("mypy isn't installed")
    assert "no issues" in run("mypy", "--no-incremental", "--cache-dir=/dev/null")


def test_editors_and_mypy_see_what_a_knob_takes_and_gives(tmp_path: Path) -> None:
    if shutil.which("mypy") is None:
        pytest.skip("mypy isn't installed")
    user = tmp_path / "user.py"
    user.write_text(
        "import prismel\nfx = prismel.Prismel(48000)\nfx.comb_cutoff = '300 Hz'\nhertz: float = fx.comb_cutoff\n"
        "fx.bypass = True\nfx.comb_cutoff = [1]\nname: str = fx.comb_cutoff\nfx.comb_cutof = 3\n"
    )
    done = subprocess.run(
        ["mypy", "--strict", "--cache-dir=/dev/null", str(user)],
        env={"MYPYPATH": str(ROOT / "python"), "PATH": "/usr/bin:/bin"}, capture_output=True, text=True,
    )  # fmt: skip
    wrong = [line.split(":")[1] for line in done.stdout.splitlines() if ": error:" in line]
    assert wrong == ["6", "7", "8"], done.stdout


def test_the_file_of_knobs_is_the_tables() -> None:
    written = run(sys.executable, ROOT / "scripts" / "python-knobs")
    assert written == (ROOT / "python" / "prismel" / "_knobs.py").read_text()
    assert {p.symbol for p in prismel.parameters() if p.is_main} <= set(dir(prismel.Prismel))


@pytest.mark.parametrize("module", [_prismel, _prismel_reverb])
def test_the_stubs_name_what_the_module_has(module: Any) -> None:
    name = module.__name__.split(".")[-1]
    tree = ast.parse((ROOT / "python" / "prismel" / f"{name}.pyi").read_text())
    types = {"Row", "Audio", "AutomationTracks", "Levels", "KnobRow"}
    stated: dict[str, set[str]] = {}
    for node in tree.body:
        if isinstance(node, ast.FunctionDef):
            stated[node.name] = set()
        elif isinstance(node, ast.ClassDef) and node.name not in types:
            members = [m.name if isinstance(m, ast.FunctionDef) else m.target.id for m in node.body]  # type: ignore
            stated[node.name] = {member for member in members if not member.startswith("__")}
        elif isinstance(node, ast.AnnAssign):
            stated[node.target.id] = set()  # type: ignore[union-attr]
    public = {entry for entry in vars(module) if not entry.startswith("__")}
    assert set(stated) == public
    for entry, members in stated.items():
        if isinstance(vars(module)[entry], type):
            assert members == {m for m in vars(vars(module)[entry]) if not m.startswith("__")}, entry


def test_needs_the_c_and_c_plus_plus_libraries_alone() -> None:
    def needed(module: Any) -> set[str]:
        lines = run("readelf", "-d", module.__file__).splitlines()
        return {line.split("[")[1].split(".so")[0] for line in lines if "(NEEDED)" in line}

    base = {"libstdc++", "libm", "libgcc_s", "libc", "ld-linux-x86-64"}
    if "libasan" in os.environ.get("LD_PRELOAD", ""):
        base |= {"libasan", "libubsan"}
    assert needed(_prismel) <= base
    assert needed(_prismel_reverb) <= base | {"libresample"}
    exported = run("nm", "-D", "--defined-only", _prismel.__file__).split()[2::3]
    assert exported == ["PyInit__prismel"]


def test_what_the_documentation_says_runs(tmp_path: Path) -> None:
    """The blocks of docs/python.md, one after the other, over a small corpus."""
    write(tmp_path / "corpus" / "a.wav", tone(48000, 2), 48000)
    text = (ROOT / "docs" / "python.md").read_text()
    blocks = text.split("```python\n")[1:]
    program = "import numpy as np\ndry = np.full((2, 4800), 0.1, 'f4')\nimpulse = dry[:, :100]\n"
    program += "\n".join(block.split("```")[0] for block in blocks)
    (tmp_path / "program.py").write_text(program)
    made = run(sys.executable, "program.py", cwd=tmp_path)
    assert made.startswith("2 made, 0 stood, 0 failed")
    for name in ("augment.json", "audio/a.wav-0.wav", "records/a.wav-1.json", "manifest.jsonl"):
        assert (tmp_path / "varied" / name).exists()


def test_pip_installs_it_offline_and_a_wheel_is_built(tmp_path: Path) -> None:
    python = tmp_path / "venv" / "bin" / "python"
    run(sys.executable, "-m", "venv", "--system-site-packages", tmp_path / "venv")
    run(python, "-m", "pip", "install", "--no-index", "--disable-pip-version-check", ROOT)
    program = (
        "import numpy, prismel; print(prismel.__file__); print(len(prismel.presets()));"
        "print(prismel.Prismel(48000, 'octave-halo')(numpy.ones((2, 480), 'f4')).shape)"
    )
    where, presets, shape = run(python, "-I", "-c", program, cwd=tmp_path).splitlines()
    assert where.startswith(str(tmp_path)) and int(presets) == len(list((ROOT / "presets").glob("*.json")))
    assert shape == "(2, 480)"
    first, second = tmp_path / "first", tmp_path / "second"
    run(sys.executable, "-m", "build", "--wheel", "--outdir", first, ROOT)
    run(sys.executable, "-m", "build", "--wheel", "--no-isolation", "--outdir", second, ROOT)
    (wheel,) = first.iterdir()
    assert wheel.read_bytes() == (second / wheel.name).read_bytes()
    names = zipfile.ZipFile(wheel).namelist()
    assert {"prismel/py.typed", "prismel/_prismel.pyi", "prismel/corpus/__main__.py"} <= set(names)
    run(python, "-m", "pip", "uninstall", "-y", "prismel")
