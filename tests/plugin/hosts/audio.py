"""WAV files of floats, and how far two of them are apart. No library: the standard one reads no floats."""

import array
import math
import random
import struct


def write_wav(path, channels, rate=48000):
    """Planar lists of floats to a 32-bit float WAV file."""
    count = len(channels)
    samples = array.array("f", [0.0]) * (len(channels[0]) * count)
    for c, channel in enumerate(channels):
        samples[c::count] = array.array("f", channel)
    data = samples.tobytes()
    head = struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + len(data), b"WAVE", b"fmt ", 16, 3, count, rate,
                       rate * count * 4, count * 4, 32, b"data", len(data))
    with open(path, "wb") as file:
        file.write(head + data)


def read_wav(path):
    """Planar arrays of floats of a 32-bit float WAV file (plain or extensible)."""
    with open(path, "rb") as file:
        data = file.read()
    at, channels = 12, 0
    while at + 8 <= len(data):
        name, size = struct.unpack_from("<4sI", data, at)
        if name == b"fmt ":
            kind, channels, _, _, _, bits = struct.unpack_from("<HHIIHH", data, at + 8)
            if bits != 32 or kind not in (3, 0xFFFE):
                raise ValueError(f"{path}: not 32-bit float")
        if name == b"data":
            samples = array.array("f")
            samples.frombytes(data[at + 8:at + 8 + size - size % (4 * channels)])
            return [samples[c::channels] for c in range(channels)]
        at += 8 + size + size % 2
    raise ValueError(f"{path}: no samples")


def difference(reference, other, delay=0):
    """Largest difference of `other`, `delay` samples late, and the samples compared; missing ones count as whole."""
    worst, count = 0.0, 0
    for a, b in zip(reference, other):
        b = b[delay:]
        length = min(len(a), len(b))
        if a[:length] != b[:length]:
            worst = max(worst, max(abs(x - y) for x, y in zip(a[:length], b[:length])))
        count += length
    return worst, count


def plucks(frames, seed=1):
    """Two channels of plucked tones with noise, silence between them."""
    noise = random.Random(seed)
    channels = []
    for c in range(2):
        channel = []
        for i in range(frames):
            time = (i % 9600) / 48000.0
            tone = 0.4 * math.sin(2 * math.pi * (220 + 110 * c) * time) * math.exp(-18 * time)
            channel.append(tone + 0.2 * noise.uniform(-1, 1) * math.exp(-60 * time))
        channels.append(channel)
    return channels
