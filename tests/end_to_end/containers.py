"""DSDIFF, DST and WSD hold the bits that DSF holds; sizes, tags, refusals and joints."""
import os
import pathlib
import struct
import subprocess
import unittest

from support import Case, Dsf, run, sine, wav

NAMED = ("--artist", "Künstler", "--title", "Titel")
REVERSED = bytes(int(f"{b:08b}"[::-1], 2) for b in range(256))


def chunks(data, at, end):
    """(ID, data) of the chunks of a DSDIFF form or container."""
    while at + 12 <= end:
        name, size = struct.unpack_from(">4sQ", data, at)
        yield name, data[at + 12:at + 12 + size]
        at += 12 + size + size % 2
    assert at == end, "the chunks fill their container"


def sound(path):
    """The interleaved bytes of a plain DSDIFF or a WSD file."""
    data = pathlib.Path(path).read_bytes()
    if data[:4] == b"1bit":
        return data[2048:]
    assert struct.unpack(">Q", data[4:12])[0] == len(data) - 12
    return dict(chunks(data, 16, len(data)))[b"DSD "]


def frames(path):
    data = pathlib.Path(path).read_bytes()
    assert struct.unpack(">Q", data[4:12])[0] == len(data) - 12
    dst = dict(chunks(data, 16, len(data)))[b"DST "]
    parts = list(chunks(dst, 0, len(dst)))
    assert parts[0][0] == b"FRTE" and struct.unpack(">IH", parts[0][1]) == (len(parts) - 1, 75)
    return [frame for _, frame in parts[1:]]


def interleaved(dsf):
    planar = [channel.translate(REVERSED) for channel in dsf.planar()]
    out = bytearray(len(planar) * len(planar[0]))
    for c, channel in enumerate(planar):
        out[c::len(planar)] = channel
    return bytes(out)


def decoded(path):
    return subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-f", "f32le", "-"], capture_output=True, check=True).stdout


class Containers(Case):
    def setUp(self):
        super().setUp()
        wav(self.path("in.wav"), [sine(40000), sine(40000, hz=700)], bits=24)

    def test_all_containers_hold_the_same_bits(self):
        self.convert("-i", "in.wav", "x.dsf")
        bits = interleaved(Dsf(self.path("x.dsf")))
        for name in ("x.dff", "x.wsd"):
            self.convert("-i", "in.wav", name, *NAMED)
            self.assertTrue(bits.startswith(sound(self.path(name))))
            self.assertGreater(len(sound(self.path(name))), 2 * 40000 * 8)
        self.convert("-i", "in.wav", "c.dff", "--dst", *NAMED)
        self.convert("-i", "in.wav", "d.dst", "--dst-compression", "32", *NAMED)
        for name, most in (("c.dff", 0.6), ("d.dst", 0.75)):
            self.assertEqual(decoded(self.path(name)), decoded(self.path("x.dff")))
            self.assertLess(self.path(name).stat().st_size, most * self.path("x.dff").stat().st_size)
        out = self.convert("-i", "in.wav", "e.dsf", "--dst", *NAMED)
        self.assertIn("Enable DST compression (write a .dff)", out.stdout + out.stderr + self.log())
        self.assertEqual(frames(self.path("e.dsf")), frames(self.path("c.dff")))
        for form in ("dsf", "dff", "wsd"):
            with open(self.path("pipe"), "wb") as pipe:
                subprocess.run([os.environ["TESK_BUILD"] + "/bin/tesk", "-i", "in.wav", "--pipe", "--format", form],
                               stdout=pipe, stderr=subprocess.DEVNULL, cwd=self.folder, check=True)
            piped = self.path("pipe").read_bytes()
            self.assertEqual(len(piped), len(sound(self.path("x.dff"))))
            self.assertEqual(piped == sound(self.path("x.dff")), form != "dsf")

    def test_players_see_the_tags(self):
        self.convert("-i", "in.wav", "x.dff", *NAMED, "--comment", "words", "--track", "7")
        shown = subprocess.run(["ffprobe", "-v", "error", "-show_entries", "format_tags", self.path("x.dff")],
                               capture_output=True, check=True, text=True).stdout
        self.assertIn("TAG:artist=Künstler", shown)
        self.assertIn("TAG:title=Titel", shown)
        data = self.path("x.dff").read_bytes()
        for text in ("Title: Titel", "Artist: Künstler", "Comment: words", "Track: 7", "teskengine"):
            self.assertIn(text.encode(), data)

    def test_a_dff_file_wants_its_artist_and_title(self):
        for words in ((), ("--artist", "a"), ("--title", "t")):
            result = self.convert("-i", "in.wav", "x.dff", *words, status=-59)
            self.assertIn("Output .dff requires artist/title", result.stderr)
            self.assertFalse(self.path("x.dff").exists())
        self.convert("-i", "in.wav", "x.dff", "--artist", "")
        self.assertTrue(self.path("x.dff").exists())

    def test_dst_has_limits(self):
        wav(self.path("seven.wav"), [sine(2000)] * 7, bits=24)
        self.path("x.dff").write_bytes(b"precious")
        for words in (("-i", "seven.wav", "-fc"), ("-i", "in.wav", "-os", "512")):
            result = self.convert(*words, "x.dff", "--dst", *NAMED, status=-6)
            self.assertIn("DST batch encoding failed", result.stderr)
        self.convert("-i", "in.wav", "--pipe", "--dst", status=1)
        self.assertEqual(self.path("x.dff").read_bytes(), b"precious")
        self.convert("-i", "seven.wav", "-fc", "seven.dff", *NAMED)

    def test_a_continuous_album_has_no_joints_in_any_container(self):
        self.path("in.cue").write_text('FILE "in.wav" WAVE\nPERFORMER "a"\nTRACK 01 AUDIO\nTITLE "1"\nINDEX 01 00:00:00\n'
                                       'TRACK 02 AUDIO\nTITLE "2"\nINDEX 01 00:00:31\n')
        for name, read in (("x.dff", lambda p: [sound(p)]), ("x.wsd", lambda p: [sound(p)]), ("x.dst", frames)):
            self.convert("-i", "in.cue", name, "--cue-continuous")
            self.convert("-i", "in.wav", "whole" + name, *NAMED)
            stem, extension = name.split(".")
            parts = [read(self.path(f"{stem}_Track0{n}.{extension}")) for n in (1, 2)]
            self.assertEqual(b"".join(parts[0] + parts[1]), b"".join(read(self.path("whole" + name))))
            if extension == "dst":
                self.assertEqual(len(parts[0]), 31)
            else:
                self.assertEqual(len(parts[0][0]), 31 * 2 * 4704)

    def test_a_full_disk_leaves_nothing(self):
        disk = self.path("disk")
        disk.mkdir()
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=300k", "tmpfs", disk], capture_output=True).returncode:
            self.skipTest("needs a small disk of its own")
        self.addCleanup(subprocess.run, ["umount", disk])
        for name in ("x.dff", "x.wsd", "x.dst"):
            result = run("-i", "in.wav", disk / name, *NAMED, cwd=self.folder)
            self.assertNotEqual(result.returncode, 0)
            self.assertEqual(list(disk.iterdir()), [])


if __name__ == "__main__":
    unittest.main()
