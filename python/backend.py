"""The package's build backend: has CMake build and install it, and packs the result into a wheel.

It lies in the tree and has no requirements, so that pip's isolated build works where no registry can be reached. It
answers the calls of PEP 517 and, for `pip install -e .`, of PEP 660: that wheel only points into the build folder.
"""

from __future__ import annotations

import base64
import hashlib
import os
import re
import shutil
import subprocess
import sys
import sysconfig
import tarfile
import tempfile
import zipfile
from pathlib import Path
from typing import Any

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / f"python-{sysconfig.get_config_var('SOABI')}"
TIME = (2020, 1, 1, 0, 0, 0)  # of every entry: the same sources make the same wheel
Settings = dict[str, Any] | None


def _version() -> str:
    found = re.search(r"project\(Prismel VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text())
    assert found is not None, "CMakeLists.txt names the project's version"
    return found.group(1)


def _tag() -> str:
    python = f"cp{sys.version_info.major}{sys.version_info.minor}"
    return f"{python}-{python}-{sysconfig.get_platform().replace('-', '_').replace('.', '_')}"


def _run(*command: str) -> None:
    try:
        subprocess.run(command, check=True, cwd=ROOT)
    except FileNotFoundError:
        sys.exit(f"prismel: {command[0]} is missing; scripts/setup --python installs what the build needs")
    except subprocess.CalledProcessError as problem:
        sys.exit(f"prismel: {' '.join(command[:2])} failed with status {problem.returncode}; its output is above")


def _build() -> None:
    generator = ["-G", "Ninja"] if shutil.which("ninja") else []
    _run(
        "cmake", "-S", str(ROOT), "-B", str(BUILD), *generator, "-DCMAKE_BUILD_TYPE=Release", "-DPRISMEL_PYTHON=ONLY",
        f"-DPython_EXECUTABLE={sys.executable}", "-DPython_FIND_VIRTUALENV=STANDARD",
    )  # fmt: skip
    jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL") or str(os.cpu_count() or 1)
    _run("cmake", "--build", str(BUILD), "--target", "python", "--parallel", jobs)


def _metadata() -> str:
    readme = (ROOT / "python" / "README.md").read_text()
    return (
        f"Metadata-Version: 2.1\nName: prismel\nVersion: {_version()}\n"
        "Summary: Qfx PRISMEL: the engine of a stereo effect, with the same bytes as its command\n"
        "Requires-Python: >=3.11\nRequires-Dist: numpy>=1.24\n"
        "Requires-Dist: soundfile>=0.12; extra == 'corpus'\nProvides-Extra: corpus\n"
        f"Description-Content-Type: text/markdown\n\n{readme}"
    )


def _pack(folder: Path, wheel_directory: str) -> str:
    """Zips a folder whose files are where they will be installed, with the records a wheel has."""
    info = folder / f"prismel-{_version()}.dist-info"
    info.mkdir()
    (info / "METADATA").write_text(_metadata())
    (info / "WHEEL").write_text(f"Wheel-Version: 1.0\nGenerator: prismel\nRoot-Is-Purelib: false\nTag: {_tag()}\n")
    shutil.copy(ROOT / "LICENSE", info / "LICENSE")
    name = f"prismel-{_version()}-{_tag()}.whl"
    rows = []
    with zipfile.ZipFile(Path(wheel_directory) / name, "w", zipfile.ZIP_DEFLATED) as wheel:
        for path in sorted(path for path in folder.rglob("*") if path.is_file()):
            data = path.read_bytes()
            place = path.relative_to(folder).as_posix()
            digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
            rows.append(f"{place},sha256={digest},{len(data)}")
            entry = zipfile.ZipInfo(place, TIME)
            entry.external_attr = (0o755 if path.suffix == ".so" else 0o644) << 16
            wheel.writestr(entry, data, zipfile.ZIP_DEFLATED)
        record = f"{info.name}/RECORD"
        wheel.writestr(zipfile.ZipInfo(record, TIME), "\n".join([*rows, f"{record},,", ""]), zipfile.ZIP_DEFLATED)
    return name


def build_wheel(wheel_directory: str, config_settings: Settings = None, metadata_directory: str | None = None) -> str:
    _build()
    with tempfile.TemporaryDirectory() as folder:
        _run("cmake", "--install", str(BUILD), "--component", "python", "--prefix", folder, "--strip")
        return _pack(Path(folder), wheel_directory)


def build_editable(
    wheel_directory: str, config_settings: Settings = None, metadata_directory: str | None = None
) -> str:
    _build()
    with tempfile.TemporaryDirectory() as folder:
        (Path(folder) / "prismel.pth").write_text(f"{BUILD / 'python'}\n")
        return _pack(Path(folder), wheel_directory)


def build_sdist(sdist_directory: str, config_settings: Settings = None) -> str:
    """The files under version control: whoever builds from them needs the same packages."""
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True).stdout
    base = f"prismel-{_version()}"
    with tarfile.open(Path(sdist_directory) / f"{base}.tar.gz", "w:gz", format=tarfile.PAX_FORMAT) as archive:
        for name in sorted(listed.decode().split("\0")[:-1]):
            archive.add(ROOT / name, f"{base}/{name}", recursive=False)
        with tempfile.NamedTemporaryFile("w", suffix="PKG-INFO") as metadata:
            metadata.write(_metadata())
            metadata.flush()
            archive.add(metadata.name, f"{base}/PKG-INFO")
    return f"{base}.tar.gz"


def get_requires_for_build_wheel(config_settings: Settings = None) -> list[str]:
    return []


get_requires_for_build_editable = get_requires_for_build_sdist = get_requires_for_build_wheel
