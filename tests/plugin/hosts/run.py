"""The steps of scripts/plugin-tests."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

import ardour
import ardour_window
import audacity
import audio

SOURCE = pathlib.Path(__file__).resolve().parents[3]
URI = "urn:vantora:qfx-prismel"
BLOCK = 48  # samples at 48 kHz


class Failed(Exception):
    """A check didn't hold; its text is one sentence."""


class Skipped(Exception):
    """What the step needs isn't here."""


def need(*programs):
    missing = [program for program in programs if shutil.which(program) is None]
    if missing:
        raise Skipped(f"{', '.join(missing)} isn't installed (scripts/setup --plugin-tests)")


def check(holds, sentence):
    if not holds:
        raise Failed(sentence)


class Bench:
    """The build folder, a scratch folder, an input file and the command's render of it by any preset."""

    def __init__(self, build, scratch):
        self.build, self.scratch = pathlib.Path(build).resolve(), pathlib.Path(scratch)
        self.plugins = self.build / "plugins"
        self.input = self.scratch / "in.wav"
        audio.write_wav(self.input, audio.plucks(96000))
        self.presets = {json.loads(file.read_text())["name"]: file for file in sorted(SOURCE.glob("presets/*.json"))}

    def render(self, preset, source=None, *more):
        """Planar samples of `prismel render`."""
        out = self.scratch / "reference.wav"
        self.run([self.build / "bin" / "prismel", "render", "-y", "-q", "--format", "float", "--tail", "0", "-P",
                  self.presets[preset], *more, source or self.input, out])
        return audio.read_wav(out)

    def run(self, command, timeout=120, env=None, ok=(0,), stdin=None):
        environment = {**os.environ, "LV2_PATH": f"{self.plugins / 'lv2'}:/usr/lib/lv2", **(env or {})}
        result = subprocess.run([str(part) for part in command], capture_output=True, text=True, timeout=timeout,
                                env=environment, input=stdin, check=False)
        check(result.returncode in ok, f"{command[0]} ended with {result.returncode}: {result.stderr[-500:]}")
        return result.stdout + result.stderr


def preset_ports(bench):
    """Port values of every LV2 preset, by its name."""
    text = (bench.plugins / "lv2/prismel.lv2/presets.ttl").read_text()
    presets = {}
    for block in text.split("a pset:Preset")[1:]:
        name = re.search(r'rdfs:label "(.*?)"', block).group(1)
        presets[name] = re.findall(r'lv2:symbol "(\w+)" ; pset:value ([-\d.e+]+)', block)
    return presets


def step_lv2(bench):
    need("serdi", "lv2_validate", "lv2apply", "lv2file", "lv2info")
    bundle = bench.plugins / "lv2/prismel.lv2"
    files = sorted(bundle.glob("*.ttl"))
    check(len(files) == 3, f"{bundle} holds {len(files)} Turtle files")
    for file in files:
        bench.run(["serdi", "-q", "-i", "turtle", file])
    said = bench.run(["lv2_validate", *files])
    check("Found 0 errors" in said and "warning" not in said and "error:" not in said, f"lv2_validate says: {said}")
    info = bench.run(["lv2info", URI])
    check("Has latency:       yes" in info, "lv2info sees no latency")
    presets = preset_ports(bench)
    check(len(presets) == len(bench.presets) == 24, f"{len(presets)} presets")
    out = bench.scratch / "out.wav"
    for name, ports in presets.items():
        reference = bench.render(name)
        controls = [part for symbol, value in ports for part in ("-c", symbol, value)]
        bench.run(["lv2apply", "-i", bench.input, "-o", out, *controls, URI])
        worst, count = audio.difference(reference, audio.read_wav(out), BLOCK)
        check(worst == 0.0 and count > 190000, f"lv2apply, {name}: {worst} off in {count} samples")
        values = [part for symbol, value in ports for part in ("-p", f"{symbol}:{value}")]
        bench.run(["lv2file", "-i", bench.input, "-o", out, "-c", "1:in_left", "-c", "2:in_right", *values, URI])
        worst, count = audio.difference(reference, audio.read_wav(out), BLOCK)
        check(worst == 0.0 and count > 190000, f"lv2file, {name}: {worst} off in {count} samples")
    return "24 presets bit for bit in lv2apply and lv2file, no message of lv2_validate"


def step_jalv(bench):
    need("jackd", "jalv")
    server = f"prismel-{os.getpid()}"
    env = {"JACK_DEFAULT_SERVER": server, "JACK_NO_AUDIO_RESERVATION": "1"}
    jack = subprocess.Popen(["jackd", "-n", server, "-r", "-d", "dummy", "-r", "48000", "-p", "256"],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        time.sleep(1.0)
        # Its prompt takes commands; what it prints of the controls is what a user sees.
        said = bench.run(["jalv", "-p", URI], timeout=30, env=env,
                         stdin="controls\nset wet 0.25\nmonitors\npresets\nexit\n")
    finally:
        jack.terminate()
        jack.wait()
    check("prismelion" in said, f"jalv lists no controls: {said[-500:]}")
    check("Glass Choir" in said, f"jalv lists no presets: {said[-500:]}")
    return "controls and presets listed on a dummy JACK"


def step_qtractor(bench):
    scanners = list(pathlib.Path("/usr/lib").glob("*/qtractor/qtractor_plugin_scan"))
    if not scanners:
        raise Skipped("qtractor isn't installed (scripts/setup --plugin-tests)")
    said = bench.run([scanners[0]], stdin=f"CLAP:{bench.plugins / 'clap/prismel.clap'}\n", timeout=20)
    check(said.startswith("CLAP|Qfx PRISMEL|2:2|0:0|70:8|"), f"qtractor's scanner says: {said}")
    return said.strip()


def step_ardour(bench):
    need("ardour7-lua", "ardour7-export")
    notes = []
    for format_name in ("LV2", "VST3"):
        notes.append(ardour.run(bench, format_name, check))
    return "; ".join(notes)


def step_ardour_window(bench):
    need("ardour", "ardour7-lua", "Xvfb", "xdotool", "import")
    pictures = os.environ.get("PRISMEL_PICTURES")
    return "; ".join(ardour_window.run(bench, format_name, check, pictures) for format_name in ("LV2", "VST3"))


def step_audacity(bench):
    need("audacity", "Xvfb")
    if any(pipe.exists() for pipe in audacity.PIPES.values()):
        raise Skipped("an Audacity runs already, and its script pipe can be there but once")
    return audacity.run(bench, check)


def step_package(bench):
    """The .deb, taken apart: complete, with what it depends on in Debian, and found by the hosts' scanners."""
    need("cpack", "dpkg", "apt-get", "lv2info")
    check(shutil.which("dpkg-shlibdeps") is not None, "dpkg-dev isn't installed")
    bench.run(["cpack", "-G", "DEB;TGZ", "-B", bench.scratch, "--config", bench.build / "CPackConfig.cmake"], timeout=300)
    packages = list(bench.scratch.glob("*.deb"))
    check(len(packages) == 1 and len(list(bench.scratch.glob("*.tar.gz"))) == 1, f"cpack made {packages}")
    bench.run(["apt-get", "install", "-s", packages[0]])
    root = bench.scratch / "root"
    bench.run(["dpkg", "-x", packages[0], root])
    binaries = [file for file in (root / "usr").rglob("*") if file.suffix in (".so", ".clap")]
    check(len(binaries) == 4, f"the package holds {[file.name for file in binaries]}")
    for binary in binaries:
        missing = [line for line in bench.run(["ldd", binary]).splitlines() if "not found" in line]
        check(not missing, f"{binary.name} misses {missing}")
    headless = bench.run(["ldd", root / "usr/lib/lv2/prismel.lv2/prismel.so"])
    check("libX11" not in headless and "libGL" not in headless, "the LV2 plug-in itself loads a window library")
    info = bench.run(["lv2info", URI], env={"LV2_PATH": str(root / "usr/lib/lv2")})
    check(str(root) in info and "Glass Choir" in info, f"the packaged LV2 bundle isn't found: {info[:300]}")
    scanner = ardour.LIBRARY / "ardour-vst3-scanner"
    if scanner.exists():
        env = {**ardour.environment(bench, bench.scratch / "home-package"), "LD_LIBRARY_PATH": str(ardour.LIBRARY)}
        said = bench.run([scanner, "-f", root / "usr/lib/vst3/prismel.vst3"], env=env)
        check("Qfx PRISMEL" in said, f"Ardour's scanner says of the packaged VST3: {said[-300:]}")
    return f"{packages[0].name}, {packages[0].stat().st_size // 1024} KiB, dependencies in Debian, found by scanners"


STEPS = {"lv2": step_lv2, "jalv": step_jalv, "qtractor": step_qtractor, "package": step_package,
         "ardour": step_ardour, "ardour-window": step_ardour_window, "audacity": step_audacity}


def main(arguments):
    build = SOURCE / "build" / "release"
    if arguments and arguments[0] not in STEPS:
        build = pathlib.Path(arguments.pop(0))
    unknown = [step for step in arguments if step not in STEPS]
    if unknown:
        print(f"plugin-tests: no step {unknown[0]}; there are {', '.join(STEPS)}", file=sys.stderr)
        return 2
    if not (build / "plugins").is_dir():
        print(f"plugin-tests: {build} holds no plug-ins; build it after scripts/setup --plugins", file=sys.stderr)
        return 1
    status = 0
    with tempfile.TemporaryDirectory(prefix="prismel-hosts-") as scratch:
        bench = Bench(build, scratch)
        for name in arguments or STEPS:
            begun = time.monotonic()
            try:
                print(f"{name}: ok, {STEPS[name](bench)} ({time.monotonic() - begun:.1f} s)", flush=True)
            except Skipped as reason:
                print(f"{name}: SKIPPED, {reason}", flush=True)
            except (Failed, subprocess.TimeoutExpired, OSError, ValueError) as reason:
                print(f"{name}: FAILED, {reason}", flush=True)
                status = 1
    return status
