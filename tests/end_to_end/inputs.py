"""Recordings of every format go in, made by other programs; their sound and their tags come out."""
import hashlib
import os
import pathlib
import struct
import subprocess
import unittest
import zlib

import mutagen.id3

from support import BUILD, Case, Dsf, sine, wav


def tool(*words, **options):
    return subprocess.run([str(word) for word in words], check=True, capture_output=True, **options).stdout


def png(width=4, height=4):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = b"".join(b"\0" + bytes(3 * width) for _ in range(height))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


class Inputs(Case):
    def setUp(self):
        super().setUp()
        frames = 30000
        wav(self.path("in.wav"), [sine(frames), sine(frames, hz=700)], bits=24)

    def ffmpeg(self, *words):
        tool("ffmpeg", "-v", "error", "-y", *words, cwd=self.folder)

    def text(self, result):
        return result.stdout + result.stderr + self.log()

    def data(self, source, *options):
        self.convert("-i", source, "out.dsf", *options)
        return hashlib.sha256(Dsf(self.path("out.dsf")).data).hexdigest()

    def test_lossless_formats_give_the_same_bits_as_the_wav(self):
        expected = self.data("in.wav")
        made = {"in.tta": ["-c:a", "tta"], "in.wv": None, "in.m4a": ["-c:a", "alac"], "in.caf": ["-c:a", "pcm_s24be"],
                "in.aiff": ["-c:a", "pcm_s24be"], "in.mka": ["-c:a", "flac"], "in.flac": ["-c:a", "flac"]}
        for name, codec in made.items():
            if codec is None:
                tool("wavpack", "-q", self.path("in.wav"), "-o", self.path(name))
            else:
                self.ffmpeg("-i", "in.wav", *codec, *(["-sample_fmt", "s32p"] if name == "in.m4a" else []), name)
            with self.subTest(name=name):
                self.assertEqual(self.data(name), expected)
        os.rename(self.path("in.tta"), self.path("nothing_in_the_name"))
        self.assertEqual(self.data("nothing_in_the_name"), expected)

    def test_run_time_decoders_are_chosen_in_their_order(self):
        self.ffmpeg("-i", "in.wav", "-c:a", "alac", "in.m4a")
        plugin = BUILD / "lib" / "tesk" / "tesk_ext_ffmpeg.so"
        self.assertIn("Ono decoder library path given",
                      self.text(self.convert("-i", "in.m4a", "o.dsf", "--ext-decoder", "none", status=-51)))
        self.assertIn("cannot load '/nowhere.so",
                      self.text(self.convert("-i", "in.m4a", "o.dsf", "--ext-decoder", "/nowhere.so", status=-51)))
        self.ffmpeg("-i", "in.wav", "in.mp3")
        self.assertIn("cannot load '/nowhere.so",
                      self.text(self.convert("-i", "in.mp3", "o.dsf", "--ext-decoder", "/nowhere.so", status=-51)))
        for name, words in (("libavformat.so.*", "this ffmpeg is too new"), ("libavcodec.so.*", "looks like libavcodec")):
            lib = str(next(pathlib.Path("/usr/lib").glob("*/" + name)))
            self.assertIn(words, self.text(self.convert("-i", "in.m4a", "o.dsf", "--media-library", lib, status=-51)))
            os.environ["TESK_MEDIA_LIBRARY"] = lib
            try:
                self.assertIn(words, self.text(self.convert("-i", "in.m4a", "o.dsf", status=-51)))
                self.convert("-i", "in.m4a", "o.dsf", "--ext-decoder", plugin)
                os.environ["TESK_EXT_DECODER"] = str(plugin)
                self.convert("-i", "in.m4a", "o.dsf")
            finally:
                os.environ.pop("TESK_MEDIA_LIBRARY")
                os.environ.pop("TESK_EXT_DECODER", None)
        self.assertFalse([name for name in self.leftovers() if ".part" in name])

    def test_tags_and_cover_arrive_where_no_option_says_otherwise(self):
        self.path("cover.png").write_bytes(png())
        want = {"TIT2": "Über", "TPE1": "Künstler", "TALB": "Album", "TCON": "Jazz", "TRCK": "3"}
        flac = self.path("in.flac")
        tool("flac", "-s", "-o", flac, self.path("in.wav"))
        tool("metaflac", "--set-tag=TITLE=Über", "--set-tag=ARTIST=Künstler", "--set-tag=ALBUM=Album", "--set-tag=GENRE=Jazz",
             "--set-tag=TRACKNUMBER=3/12", "--set-tag=DATE=2001-02", "--set-tag=COMMENT=words",
             f"--import-picture-from={self.path('cover.png')}", flac)
        meta = [word for pair in ("title=Über", "artist=Künstler", "album=Album", "genre=Jazz", "track=3/12")
                for word in ("-metadata", pair)]
        for name in ("in.tta", "in.m4a", "in.mp3", "in.wv", "in.ogg"):
            codec = {"in.m4a": ["-c:a", "alac"], "in.wv": ["-c:a", "wavpack"], "in.ogg": ["-c:a", "libvorbis"]}.get(name, [])
            self.ffmpeg("-i", "in.wav", *codec, *meta, name)
        tool("wavpack", "-q", self.path("in.wav"), "-o", self.path("tagged.wv"))
        tool("wvtag", "-q", "-w", "Title=Über", "-w", "Artist=Künstler", "-w", "Album=Album", "-w", "Genre=Jazz",
             "-w", "Track=3/12", self.path("tagged.wv"))
        for name in ("in.flac", "tagged.wv", "in.tta", "in.m4a", "in.mp3", "in.wv", "in.ogg"):
            with self.subTest(name=name):
                self.convert("-i", name, "out.dsf", "--metadata-from-input")
                self.path("tag").write_bytes(Dsf(self.path("out.dsf")).tag)
                frames = mutagen.id3.ID3(self.path("tag"))
                self.assertEqual({key: str(frames[key]) for key in want}, want)
        self.convert("-i", "in.flac", "out.dsf", "--metadata-from-input", "--title", "", "--artist", "Me")
        self.path("tag").write_bytes(Dsf(self.path("out.dsf")).tag)
        frames = mutagen.id3.ID3(self.path("tag"))
        self.assertEqual((str(frames["TPE1"]), "TIT2" in frames, str(frames["TDRC"])), ("Me", False, "2001-02"))
        picture = frames.getall("APIC")[0]
        self.assertEqual((picture.mime, picture.data), ("image/png", png()))
        shown = tool("ffprobe", "-v", "error", "-show_entries", "format_tags:stream=codec_name", self.path("out.dsf"))
        self.assertIn("Album", shown.decode())
        self.convert("-i", "in.flac", "plain.dsf")
        self.assertEqual(Dsf(self.path("plain.dsf")).tag, b"", "tags are taken only when they are asked for")

    def test_replay_gain_sets_the_level_and_never_clips(self):
        flac = self.path("in.flac")
        tool("flac", "-s", "-o", flac, self.path("in.wav"))  # peak 0.5
        reference = self.data("in.wav", "-absdb", "-6")
        tool("metaflac", "--set-tag=REPLAYGAIN_TRACK_GAIN=-6,00 dB", "--set-tag=REPLAYGAIN_ALBUM_GAIN=+12 dB", flac)
        self.assertEqual(self.data("in.flac", "--rg"), reference)
        self.assertIn("track gain -6.00 dB", self.log())
        self.convert("-i", "in.flac", "out.dsf", "--rg", "album")
        self.assertIn("+6.02 dB applied, so that it does not clip", self.log())
        tool("metaflac", "--set-tag=REPLAYGAIN_ALBUM_PEAK=0.001", flac)  # a lie
        self.convert("-i", "in.flac", "lie.dsf", "--rg", "album")
        self.assertEqual(Dsf(self.path("lie.dsf")).data, Dsf(self.path("out.dsf")).data)
        self.convert("-i", "in.wav", "out.dsf", "--rg")
        self.assertIn("no ReplayGain tags", self.log())

    def test_a_damaged_input_leaves_no_output(self):
        for name, codec in (("in.tta", "tta"), ("in.wv", "wavpack"), ("in.flac", "flac"), ("in.oga", "flac")):
            self.ffmpeg("-i", "in.wav", "-c:a", codec, name)
            whole = bytearray(self.path(name).read_bytes())
            for at in (len(whole) // 2, len(whole) * 3 // 4):
                damaged = bytearray(whole)
                damaged[at:at + 40] = bytes(40)
                self.path(name).write_bytes(damaged)
                with self.subTest(name=name, at=at):
                    self.convert("-i", name, "x.dsf", status=-51)
                    self.assertFalse(self.path("x.dsf").exists())


if __name__ == "__main__":
    unittest.main()
