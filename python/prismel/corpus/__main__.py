"""The corpus as a command: python3 -m prismel.corpus."""

from __future__ import annotations

import argparse
import json
import sys
import tomllib
from pathlib import Path
from typing import Any

from ..augment import Augment
from ..errors import PrismelError
from . import augment_corpus
from .work import replay, wav_bytes

EXAMPLE = """
SETTINGS is a TOML file such as

  p = 0.9
  presets = ["octave-halo", "glass-choir"]
  seed = 7
  keep_level = 1.0                          # dB
  [ranges]
  comb_cutoff = ["log", "80 Hz", "2 kHz"]
  wet = ["uniform", 0.2, 0.7]
  fx_type = ["comb", "band-pass"]

Started again, a run goes on where it ended.
"""


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="python3 -m prismel.corpus",
        description="Makes variations of every recording of a corpus, with a record of each.",
        epilog=EXAMPLE,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    parser.add_argument("corpus", type=Path, help="folder of recordings; with --replay the one a record was made from")
    parser.add_argument("out", type=Path, help="folder for the variations; with --replay the file to write")
    how = parser.add_mutually_exclusive_group(required=True)
    how.add_argument("--settings", type=Path, help="what is drawn, and how")
    how.add_argument("--replay", type=Path, metavar="RECORD", help="do again what one record says")
    parser.add_argument("--copies", type=int, default=1, help="variations of each recording (1)")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--jobs", type=int, help="processes of this machine (1)")
    where.add_argument("--scheduler", metavar="ADDRESS", help="of a Dask cluster, such as tcp://host:8786")
    return parser


def _augment(path: Path) -> Augment:
    try:
        settings: dict[str, Any] = tomllib.loads(path.read_text(encoding="utf-8"))
        return Augment(settings.pop("ranges", {}), **settings)
    except OSError as problem:
        raise PrismelError(f"{path}: {problem.strerror}.") from None
    except (tomllib.TOMLDecodeError, UnicodeDecodeError) as problem:
        raise PrismelError(f"{path} isn't TOML: {problem}.") from None
    except TypeError as problem:
        raise PrismelError(f"{path} has a setting that there isn't: {problem}.") from None


def _run(options: argparse.Namespace) -> int:
    if options.replay is not None:
        record = json.loads(options.replay.read_text(encoding="utf-8"))
        audio, rate = replay(record, options.corpus)
        options.out.write_bytes(wav_bytes(audio, rate))
        return 0
    client = None
    if options.scheduler is not None:
        import distributed

        connect: Any = distributed.Client
        client = connect(options.scheduler, timeout=10)
    augment = _augment(options.settings)
    report = augment_corpus(options.corpus, options.out, augment, options.copies, client, options.jobs)
    for reason in [*report.failed, *filter(None, [report.manifest_problem])]:
        print(f"prismel.corpus: {reason}", file=sys.stderr)
    print(report, file=sys.stderr)
    return 1 if report.failed or report.manifest_problem else 0


def main() -> int:
    """Runs the command; its exit status: 0, 1 where something failed, 2 for what was asked for wrongly."""
    options = _parser().parse_args()
    try:
        return _run(options)
    except PrismelError as problem:
        print(f"prismel.corpus: {problem}", file=sys.stderr)
        return 2
    except (OSError, ValueError, ImportError) as problem:
        print(f"prismel.corpus: {problem}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
