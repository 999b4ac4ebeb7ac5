"""Audacity, on a screen of its own and led through its script pipe: every preset applied to a track, exported, compared."""

import os
import pathlib
import subprocess
import threading
import time

import audio
from ardour_window import Screen

MODULE = pathlib.Path("/usr/lib/audacity/modules/mod-script-pipe.so")
PIPES = {way: pathlib.Path(f"/tmp/audacity_script_pipe.{way}.{os.getuid()}") for way in ("to", "from")}  # its own names
PATIENCE = 120  # s

# No splash, no dither, WAV files of floats (libsndfile's numbers), and the module that listens to the pipe, which counts as new unless its date is known.
CONFIG = """NewPrefsInitialized=1
PrefsVersion=1.1.1r1
[Version]
Major=3
Minor=2
Micro=4
[GUI]
ShowSplashScreen=0
[SamplingRate]
DefaultProjectSampleRate=48000
[Directories]
TempDir={folder}
[Quality]
HQDitherAlgorithmChoice=None
DitherAlgorithmChoice=None
[FileFormats/ExportFormat_SF1_Type]
WAV_10000=6
[Module]
mod-script-pipe=1
[ModulePath]
mod-script-pipe={module}
[ModuleDateTime]
mod-script-pipe={date}
"""


class Audacity:
    """A running Audacity with a home of its own."""

    def __init__(self, bench, screen):
        self.home = bench.scratch / "home-audacity"
        own = {"HOME": self.home, "XDG_CONFIG_HOME": self.home / ".config", "XDG_DATA_HOME": self.home / ".local/share",
               "XDG_CACHE_HOME": self.home / ".cache", "TMPDIR": bench.scratch, "TZ": "UTC",
               "LV2_PATH": bench.plugins / "lv2"}
        self.environment = {**os.environ, **screen.env, **{name: str(value) for name, value in own.items()}}
        self.to = self.answers = self.process = None

    def learn(self):
        """The first start looks through all plug-ins of the machine, and stops at a dialogue about those it can't load."""
        config = self.home / ".config/audacity/audacity.cfg"
        config.parent.mkdir(parents=True)
        date = time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(MODULE.stat().st_mtime))
        config.write_text(CONFIG.format(folder=self.home / "session", module=MODULE, date=date))
        registry = config.parent / "pluginregistry.cfg"
        self.start(lambda: registry.exists() and "urn:vantora:qfx-prismel" in registry.read_text())
        self.end()

    def connect(self):
        """A command that comes before Audacity has set itself up hangs for ever, and nothing says when it has: each start
        is given more time than the one before."""
        for seconds in (8, 20, 60):
            self.start(lambda: all(pipe.exists() for pipe in PIPES.values()))
            time.sleep(seconds)
            self.to = open(PIPES["to"], "w", encoding="utf-8")
            self.answers = open(PIPES["from"], encoding="utf-8")
            try:
                return self.do("GetInfo: Type=Commands Format=Brief", 20)
            except ValueError:
                self.end()
        raise ValueError("Audacity doesn't listen to its script pipe")

    def start(self, is_ready):
        self.process = subprocess.Popen(["audacity"], env=self.environment, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        deadline = time.monotonic() + PATIENCE
        while not is_ready():
            if time.monotonic() > deadline or self.process.poll() is not None:
                raise ValueError("Audacity doesn't start, or finds no plug-in of ours")
            time.sleep(0.2)

    def do(self, command, seconds=PATIENCE):
        """A command's answer, which ends with an empty line."""
        patience = threading.Timer(seconds, self.process.kill)
        patience.start()
        self.to.write(command + "\n")
        self.to.flush()
        said = ""
        for line in self.answers:
            if line == "\n" and said:
                break
            said += line
        patience.cancel()
        if "finished: OK" not in said:
            raise ValueError(f"Audacity says to {command}: {said}")
        return said

    def end(self):
        if self.process is not None:
            self.process.kill()
            self.process.wait()
        for stream in (self.to, self.answers):
            try:
                if stream is not None:
                    stream.close()
            except OSError:
                pass  # nobody reads any more
        for pipe in PIPES.values():
            pipe.unlink(missing_ok=True)


def run(bench, check):
    """Latency isn't made up for: this version reads an LV2 plug-in's before it has run, so the sound is a block late."""
    screen = Screen()
    host = Audacity(bench, screen)
    try:
        host.learn()
        known = host.connect()
        for name in ("QfxPrismel", "QfxPrismelMono", "QfxPrismelMonoToStereo"):
            check(name in known, f"Audacity knows no {name}")
        out = bench.scratch / "audacity.wav"
        for preset in bench.presets:
            host.do(f"Import2: Filename={bench.input}")
            host.do("SelectAll:")
            host.do(f'QfxPrismel: Use_Preset="Factory Preset:{preset}"')
            host.do(f"Export2: Filename={out} NumChannels=2")
            host.do("RemoveTracks:")
            worst, count = audio.difference(bench.render(preset), audio.read_wav(out), 48)
            check(worst == 0.0 and count > 190000, f"Audacity, {preset}: {worst} off in {count} samples")
            out.unlink()
    finally:
        host.end()
        screen.close()
    return f"{len(bench.presets)} presets bit for bit"
