"""What the end-to-end tests share: the programs, test signals, and a reader of DSF files written from the format's
own table."""
import math
import os
import pathlib
import shutil
import struct
import subprocess
import tempfile
import unittest

BUILD = pathlib.Path(os.environ["TESK_BUILD"])
TESK = BUILD / "bin" / "tesk"
MEASURE = BUILD / "bin" / "tesk-measure"


def shell_status(code):
    """A negative status as the shell sees it."""
    return code & 0xFF


def run(*arguments, **options):
    """Runs tesk; answers the finished process with text on both streams."""
    options.setdefault("timeout", 300)
    return subprocess.run([TESK, *map(str, arguments)], capture_output=True, text=True, errors="replace", **options)


def wav(path, channels, rate=44100, bits=16):
    """Writes planar lists of floats (bits 16, 24, 32; 64 is IEEE double) as a WAV file."""
    frames = len(channels[0]) if channels else 0
    data = bytearray()
    for i in range(frames):
        for channel in channels:
            if bits == 64:
                data += struct.pack("<d", channel[i])
            else:
                top = 1 << (bits - 1)
                value = max(-top, min(top - 1, round(channel[i] * top)))
                data += value.to_bytes(bits // 8, "little", signed=True)
    form = 3 if bits == 64 else 1
    frame = bits // 8 * max(1, len(channels))
    fmt = struct.pack("<HHIIHH", form, len(channels), rate, rate * frame, frame, bits)
    body = b"WAVEfmt " + struct.pack("<I", len(fmt)) + fmt + b"data" + struct.pack("<I", len(data)) + bytes(data)
    pathlib.Path(path).write_bytes(b"RIFF" + struct.pack("<I", len(body)) + body)
    return path


def sine(frames, rate=44100, hz=1000.0, level=0.5):
    return [level * math.sin(2 * math.pi * hz * i / rate) for i in range(frames)]


class Dsf:
    """A DSF file taken apart; every size in it is held against the file."""

    def __init__(self, path):
        raw = pathlib.Path(path).read_bytes()
        assert raw[:4] == b"DSD " and raw[28:32] == b"fmt " and raw[80:84] == b"data"
        size, self.total, self.pointer = struct.unpack_from("<QQQ", raw, 4)
        (fmt_size, version, form, self.channel_type, self.channels, self.rate, self.bits, self.samples, self.block,
         reserved) = struct.unpack_from("<QIIIIIIQII", raw, 32)
        data_size, = struct.unpack_from("<Q", raw, 84)
        assert (size, fmt_size, version, form, reserved) == (28, 52, 1, 0, 0)
        self.data = raw[92:92 + data_size - 12]
        self.tag = raw[self.pointer:] if self.pointer else b""
        self.consistent = (len(self.data) == data_size - 12 and self.total == 92 + len(self.data)
                           and self.samples * self.channels == len(self.data) * 8
                           and len(raw) == self.total + len(self.tag))

    def planar(self):
        step = self.block * self.channels
        return [b"".join(self.data[at + c * self.block:at + (c + 1) * self.block]
                         for at in range(0, len(self.data), step)) for c in range(self.channels)]


class Case(unittest.TestCase):
    """A test with a folder of its own, in which the program runs."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tesk_test_"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        os.environ["TEMP"] = str(self.folder / "temp")
        (self.folder / "temp").mkdir()

    def path(self, name):
        return self.folder / name

    def convert(self, *arguments, status=0):
        result = run(*arguments, cwd=self.folder)
        self.assertEqual(result.returncode, shell_status(status), result.stderr + self.log())
        return result

    def log(self):
        return "".join(p.read_text(errors="replace") for p in (self.folder / "temp").glob("TeskEngine_*.log"))

    def leftovers(self):
        return sorted(p.name for p in self.folder.iterdir() if p.name != "temp")
