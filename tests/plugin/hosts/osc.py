"""Open Sound Control over UDP, as much of it as a remote control of Ardour needs."""

import socket
import struct
import time

ARDOUR_PORT = 3819  # where it listens


def padded(data):
    return data + b"\0" * (4 - len(data) % 4)


def packed(path, values):
    tags, body = ",", b""
    for value in values:
        if isinstance(value, str):
            tags, body = tags + "s", body + padded(value.encode())
        elif isinstance(value, int):
            tags, body = tags + "i", body + struct.pack(">i", value)
        else:
            tags, body = tags + "f", body + struct.pack(">f", value)
    return padded(path.encode()) + padded(tags.encode()) + body


def text_at(data, at):
    end = data.index(b"\0", at)
    return data[at:end].decode(errors="replace"), (end // 4 + 1) * 4


def unpacked(data):
    """The path and the values of one message."""
    path, at = text_at(data, 0)
    tags, at = text_at(data, at)
    values = []
    for tag in tags[1:]:
        if tag == "s":
            value, at = text_at(data, at)
        elif tag in "ifdh":
            form = {"i": ">i", "f": ">f", "d": ">d", "h": ">q"}[tag]
            value = struct.unpack_from(form, data, at)[0]
            at += struct.calcsize(form)
        else:
            value = tag == "T"
        values.append(value)
    return path, values


class Remote:
    """Sends to `to` on this machine and hears what comes back at `port`."""

    def __init__(self, port, to=ARDOUR_PORT):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 20)
        self.socket.bind(("127.0.0.1", port))
        self.to = ("127.0.0.1", to)

    def close(self):
        self.socket.close()

    def send(self, path, *values):
        self.socket.sendto(packed(path, values), self.to)

    def ask(self, path, *values, last, seconds=2.0):
        """The answers to a question, up to the one at path `last` or for that long."""
        self.socket.setblocking(False)
        try:
            while self.socket.recv(65536):
                pass  # of an earlier question
        except BlockingIOError:
            pass
        self.send(path, *values)
        answers, end = [], time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            self.socket.settimeout(left)
            try:
                answers.append(unpacked(self.socket.recv(65536)))
            except TimeoutError:
                break
            if answers[-1][0] == last:
                break
        return answers
