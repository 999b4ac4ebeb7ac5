"""Ardour itself, on a screen of its own: the plug-in's window inside Ardour's, moved by a pointer.

Ardour is asked by its remote control (OSC) what its own controls stand at. There is no window manager: each window lies
where the song says, and a double click on the plug-in in the mixer closes and opens its window."""

import os
import pathlib
import re
import subprocess
import time

import ardour
import osc

SCREEN = (1700, 1100)
PLACE = (650, 330)  # of the plug-in's window
SIZE = (980, 620)   # of what the plug-in draws in it; Ardour has its bar above
BESIDE = (70, 10)   # in it: where nothing is
MIXER_ENTRY = (331, 207)  # of the screen: the plug-in in the mixer
REPLIES = 8000      # Ardour answers to this port
PATIENCE = 120      # s, for each single thing: a busy machine takes a minute to start Ardour


class Knob:
    """A control: where its knob and its number are, and how many points lead from one end to the other."""

    def __init__(self, title, place, number, travel):
        self.title, self.place, self.number, self.travel = title, place, number, travel


PRISMELION = Knob("Prismelion", (480, 262), (480, 262), 260)
WET = Knob("Wet", (853, 132), (853, 198), 170)

CONFIG = """<?xml version="1.0" encoding="UTF-8"?>
<Ardour>
  <Config>
    <Option name="hide-dummy-backend" value="0"/>
    <Option name="try-autostart-engine" value="1"/>
  </Config>
  <Extra><AudioMIDISetup><EngineStates>
    <State backend="None (Dummy)" driver="Normal Speed" device="Silence" input-device="" output-device=""
      sample-rate="48000" buffer-size="256" n-periods="0" input-latency="0" output-latency="0" input-channels="2"
      output-channels="2" active="1" use-buffered-io="0" midi-option="" lru="1"/>
  </EngineStates></AudioMIDISetup></Extra>
</Ardour>
"""

MIXER_SHOWN = """<?xml version="1.0" encoding="UTF-8"?>
<instant><Main x="0" y="0" w="1348" h="713" current-tab="mixer"/></instant>
"""

# A line of automation that begins where the preset has "Wet", for the window to write into and to follow.
LINE = """
local _, list, _ = ARDOUR.LuaAPI.plugin_automation(proc, number("Wet"))
list:add(Temporal.timepos_t(0), 0.23, false, true)
"""


class Screen:
    """A display of its own with a pointer on it."""

    def __init__(self):
        read, write = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", f"{SCREEN[0]}x{SCREEN[1]}x24", "-nolisten", "tcp"],
            pass_fds=[write], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as number:
            self.env = {"DISPLAY": f":{number.readline().strip()}", "LIBGL_ALWAYS_SOFTWARE": "1", "WAYLAND_DISPLAY": ""}

    def close(self):
        self.server.terminate()
        self.server.wait()

    def tool(self, *words):
        result = subprocess.run(words, capture_output=True, env={**os.environ, **self.env}, timeout=PATIENCE, check=False)
        return result.stdout

    def pointer(self, *words):
        return self.tool("xdotool", *[str(word) for word in words]).decode()

    def window(self):
        """The plug-in's window's place and size, or nothing."""
        found = self.pointer("search", "--onlyvisible", "--name", "T: Qfx PRISMEL").split()
        if not found:
            return None
        lines = dict(line.split("=") for line in self.pointer("getwindowgeometry", "--shell", found[-1]).split())
        return tuple(int(lines[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))

    def pixels(self, x, y, width, height):
        return self.tool("import", "-window", "root", "-crop", f"{width}x{height}+{x}+{y}", "-depth", "8", "rgb:-")

    def picture(self, path):
        """All that is on it, at 60 %."""
        self.tool("import", "-window", "root", "-trim", "+repage", "-resize", "60%", "-strip", "+dither", "-colors", "96",
                  "-depth", "8", "-define", "png:compression-level=9", f"png8:{path}")


class Session:
    """One run of Ardour on a song; ends it at the end, come what may."""

    def __init__(self, screen, env, song, log):
        # Anew for each run: over what a run had left, a next start has failed with "corrupt config files".
        settings = pathlib.Path(env["XDG_CONFIG_HOME"]) / "ardour7"
        settings.mkdir(parents=True, exist_ok=True)
        (settings / ".a7").touch()  # nobody's first time
        (settings / "config").write_text(CONFIG)
        # On a busy machine the second click comes late.
        (pathlib.Path(env["HOME"]) / ".gtkrc-2.0").write_text("gtk-double-click-time = 900\n")
        self.screen, self.log = screen, open(log, "w", encoding="utf-8")
        self.remote = osc.Remote(REPLIES)
        self.process = subprocess.Popen(["ardour", str(song / "s.ardour")], stdin=subprocess.DEVNULL, stdout=self.log,
                                        stderr=subprocess.STDOUT, env={**os.environ, **env, **screen.env})

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.remote.close()
        self.log.close()

    def control(self, title):
        """Number and value, 0 to 1, of one of Ardour's own controls of the plug-in."""
        answers = self.remote.ask("/strip/plugin/descriptor", 1, 1, last="/strip/plugin/descriptor_end")
        found = [values for path, values in answers if path == "/strip/plugin/descriptor" and values[3] == title]
        return (found[0][2], found[0][-1]) if found else (None, None)

    def stands_at(self, knob, wanted):
        value = self.control(knob.title)[1]
        return value is not None and abs(value - wanted) < 1e-3

    def set(self, knob, value):
        self.remote.send("/strip/plugin/parameter", 1, 1, self.control(knob.title)[0], value)

    def position_after(self, *message):
        """The song's position in samples, half a second after that message; -1 where Ardour doesn't tell."""
        self.remote.send(*message)
        time.sleep(0.5)
        answers = self.remote.ask("/transport_frame", last="/transport_frame")
        return answers[-1][1][0] if answers and answers[-1][0] == "/transport_frame" else -1

    def act(self, name):
        self.remote.send("/access_action", name)


class Hand:
    """Moves the knobs in the plug-in's window and looks at their numbers."""

    def __init__(self, screen):
        self.screen = screen
        x, y, width, height = screen.window()
        self.origin = (x + (width - SIZE[0]) // 2, y + height - SIZE[1])
        self.go(BESIDE)

    def go(self, place):
        self.screen.pointer("mousemove", self.origin[0] + place[0], self.origin[1] + place[1])

    def drag(self, knob, pixels, seconds=0.5):
        x, y = knob.place
        self.go((x, y))
        time.sleep(0.2)
        self.screen.pointer("mousedown", 1)
        for step in range(1, 6):
            self.go((x, y - pixels * step // 5))
            time.sleep(seconds / 5)
        self.screen.pointer("mouseup", 1)
        self.go(BESIDE)
        time.sleep(0.5)

    def number(self, knob):
        """A knob's number as it looks: which points are bright. Its ground is lit under the pointer."""
        x, y = knob.number
        points = self.screen.pixels(self.origin[0] + x - 30, self.origin[1] + y - 10, 60, 20)
        return bytes(value > 0x90 for value in points)

    def settled(self, knob):
        """The same, once there is one and it stays as it is: frames come late on a busy machine."""
        before, now = None, self.number(knob)
        while now != before or not any(now):
            time.sleep(0.5)
            before, now = now, self.number(knob)
        return now


def prepare(song):
    """The song with its plug-in's window open and the remote control on."""
    path = song / "s.ardour"
    text = path.read_text()
    track = re.search(r'<Route [^>]*\bid="(\d+)"[^>]*\bname="T"', text)
    plugin = re.search(r'<Processor [^>]*\bid="(\d+)"[^>]*\bname="Qfx PRISMEL', text)
    window = (f'<Extra><UI><Window name="P-{track.group(1)}-{plugin.group(1)}" visible="1" x-off="{PLACE[0]}" '
              f'y-off="{PLACE[1]}" x-size="-1" y-size="-1" custom-ui="1"/></UI></Extra>')
    text = re.sub(r"<Extra/>|<Extra>.*?</Extra>", "", text, flags=re.DOTALL)
    text = text.replace("</Session>", f"{window}</Session>")
    text = re.sub(r'(<Protocol name="Open Sound Control \(OSC\)" active=)"0"', r'\1"1"', text)
    path.write_text(text)
    (song / "instant.xml").write_text(MIXER_SHOWN)


AUTOMATION = re.compile(r'(<AutomationList automation-id="parameter-[^>]*?state=")(\w+)("[^>]*>\s*<events>)([^<]*)')


def line_of(song):
    """The values of the automation's line, as the saved song has them."""
    words = AUTOMATION.search((song / "s.ardour").read_text()).group(4).split()
    return [float(value) for value in words[1::2]]


def latch(song):
    """Automation is written from the first touch on until the song stops, else followed."""
    path = song / "s.ardour"
    path.write_text(AUTOMATION.sub(r"\1Latch\3\4", path.read_text()))


def run(bench, format_name, check, pictures=None):
    env = ardour.environment(bench, bench.scratch / f"home-window-{format_name}")
    kind, plugin = ardour.scan(bench, env, format_name, check)
    song, said = ardour.make_song(bench, env, kind, plugin, "Glass Choir", LINE)
    check("SAVED" in said, f"{format_name}: the song wasn't saved: {said[-600:]}")
    prepare(song)
    screen, log = Screen(), bench.scratch / f"ardour-{format_name}.log"

    def keep(name):
        if pictures is not None:
            screen.picture(pathlib.Path(pictures) / f"ardour-{format_name.lower()}{name}.png")

    def look(holds, sentence):
        if not holds:
            keep("-failed")
            sentence += f"; Ardour says: {log.read_text()[-300:]}"
        check(holds, f"{format_name}: {sentence}")

    def work(session):
        return Work(session, screen, song, look)

    try:
        with Session(screen, env, song, log) as session:
            first = work(session)
            first.turn_both_ways()
            first.close_and_open()
            keep("")
            first.save_and_quit()
        latch(song)
        with Session(screen, env, song, log) as session:
            second = work(session)
            second.is_as_saved(first)
            second.automate()
            second.save_and_quit()
    finally:
        screen.close()
    return f"{format_name} dragged, followed, opened again with the song, automated by hand"


class Work:
    """What is done and looked at in one run of Ardour."""

    def __init__(self, session, screen, song, check):
        self.session, self.screen, self.song, self.check = session, screen, song, check
        self.wait(screen.window, "the plug-in's window didn't open")
        self.wait(lambda: session.control("Wet")[1] is not None, "Ardour doesn't tell its controls")
        self.hand = Hand(screen)
        time.sleep(1.0)

    def wait(self, what, sentence):
        end = time.monotonic() + PATIENCE
        while not what():
            status = self.session.process.poll()
            self.check(status is None, f"{sentence}; Ardour ended with {status}")
            self.check(time.monotonic() < end, f"{sentence} within {PATIENCE} s")
            time.sleep(0.2)

    def turn_both_ways(self):
        half, up = 0.5, 0.5 + 80 / PRISMELION.travel
        self.wait(lambda: self.session.stands_at(PRISMELION, half), "Ardour's control isn't the preset's")
        at_half = self.hand.settled(PRISMELION)
        self.hand.drag(PRISMELION, 80)
        self.wait(lambda: self.session.stands_at(PRISMELION, up), "Ardour's control doesn't follow the window")
        at_up = self.hand.settled(PRISMELION)
        self.check(at_up != at_half, "the window doesn't show what was dragged")
        self.session.set(PRISMELION, half)
        self.wait(lambda: self.hand.number(PRISMELION) == at_half, "the window doesn't follow Ardour's control")
        self.hand.drag(PRISMELION, 80)
        self.wait(lambda: self.session.stands_at(PRISMELION, up), "Ardour's control doesn't follow the window again")
        self.at_up, self.up = at_up, up

    def close_and_open(self):
        for is_open in [False, True] * 3:
            self.screen.pointer("mousemove", *MIXER_ENTRY, "click", "--repeat", 2, "--delay", 60, 1)
            self.wait(lambda: (self.screen.window() is not None) == is_open,
                      f"the window doesn't {'open' if is_open else 'close'} by a double click in the mixer")
            time.sleep(2.0)  # a next click must not count as a third one
        self.hand.go(BESIDE)
        self.wait(lambda: self.hand.number(PRISMELION) == self.at_up, "the window opened again shows something else")

    def is_as_saved(self, first):
        self.check(self.screen.window()[2:] == first.size, "the window has another size in the song opened again")
        self.wait(lambda: self.session.stands_at(PRISMELION, first.up), "the song opened again has another value")
        self.wait(lambda: self.hand.number(PRISMELION) == first.at_up, "the song opened again shows another value")

    def rewind(self):
        self.session.remote.send("/transport_stop")
        self.wait(lambda: self.session.position_after("/locate", 0, 0) == 0, "the song doesn't go to its start")

    def roll(self):
        self.wait(lambda: self.session.position_after("/transport_play") > 24000, "the song doesn't roll")

    def automate(self):
        begin, top = 0.23, 0.23 + 80 / WET.travel
        at_begin = self.hand.settled(WET)
        self.rewind()
        self.roll()
        self.hand.drag(WET, 80, seconds=1.0)
        at_top = self.hand.settled(WET)
        self.rewind()
        self.wait(lambda: self.hand.number(WET) == at_begin, "the window doesn't show where the line begins")
        self.roll()
        self.wait(lambda: self.hand.number(WET) == at_top, "the window doesn't follow the line")
        self.rewind()
        self.session.act("Common/Save")
        self.wait(lambda: len(line_of(self.song)) > 3, "what was moved by hand isn't in the saved line")
        line = line_of(self.song)
        self.check(abs(line[0] - begin) < 1e-3 and abs(max(line) - top) < 1e-2, f"the line moved by hand is {line}")

    def save_and_quit(self):
        self.size = self.screen.window()[2:]
        self.session.act("Common/Save")
        time.sleep(1.0)
        self.session.act("Common/Quit")
        end = time.monotonic() + PATIENCE
        while self.session.process.poll() is None and time.monotonic() < end:
            time.sleep(0.2)
        status = self.session.process.poll()
        self.check(status == 0, "Ardour doesn't end" if status is None else f"Ardour ended with {status}")
