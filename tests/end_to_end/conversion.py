"""A PCM file becomes a DSF file: layout, sound, tags, determinism."""
import array
import csv
import hashlib
import io
import json
import math
import os
import subprocess
import unittest

from support import Case, Dsf, MEASURE, run, sine, wav


def probe(path):
    out = subprocess.run(["ffprobe", "-v", "error", "-show_streams", "-show_format", "-of", "json", path],
                         capture_output=True, check=True).stdout
    found = json.loads(out)
    return found["streams"], found["format"]


def measured(path, *options):
    """The rows of the measuring tool, one a channel."""
    out = subprocess.run([MEASURE, "dsd", path, "--csv", *map(str, options)], capture_output=True, text=True, check=True)
    return list(csv.DictReader(io.StringIO(out.stdout)))


def signal(path, kind, *options):
    subprocess.run([MEASURE, kind, path, *map(str, options)], check=True, capture_output=True)
    return path


class Conversion(Case):
    def test_ffmpeg_opens_the_file_and_hears_a_clean_sine(self):
        frames = 2 * 44100
        wav(self.path("in.wav"), [sine(frames), sine(frames, hz=700)], bits=24)
        self.convert("-i", "in.wav", "out.dsf", "--title", "Über den Wolken", "--artist", "Artist", "--album", "A" * 3 +
                     " long album title that needs more than one hundred and twenty-eight bytes of text in its frame, "
                     "to be sure", "--track", "3", "--year", "1999", "--genre", "Jazz", "--comment", "a comment")
        streams, form = probe(self.path("out.dsf"))
        self.assertEqual(streams[0]["codec_name"], "dsd_lsbf_planar")
        self.assertEqual((streams[0]["channels"], int(streams[0]["sample_rate"]) * 8), (2, 2822400))
        tags = {k.lower(): v for k, v in form["tags"].items()}
        self.assertEqual((tags["title"], tags["artist"], tags["track"], tags["genre"], tags["comment"]),
                         ("Über den Wolken", "Artist", "3", "Jazz", "a comment"))
        self.assertTrue(tags["album"].endswith("to be sure"))
        extra = float(streams[0]["duration"]) - frames / 44100 - 128 / 44100
        self.assertTrue(0 <= extra < 0.027, extra)

        pcm = array.array("d", subprocess.run(
            ["ffmpeg", "-v", "error", "-i", self.path("out.dsf"), "-map", "0:a", "-af", "pan=mono|c0=c0,lowpass=20000:p=2",
             "-ar", "44100", "-f", "f64le", "-"], capture_output=True, check=True).stdout)[4410:4410 + 44100]
        a, b = (2 / len(pcm) * sum(v * f(2 * math.pi * 1000 * i / 44100) for i, v in enumerate(pcm))
                for f in (math.sin, math.cos))
        rest = [v - a * math.sin(2 * math.pi * 1000 * i / 44100) - b * math.cos(2 * math.pi * 1000 * i / 44100)
                for i, v in enumerate(pcm)]
        level = math.hypot(a, b)
        noise = math.sqrt(sum(r * r for r in rest) / len(rest))
        self.assertAlmostEqual(20 * math.log10(level), -12.19, delta=0.1)
        self.assertLess(20 * math.log10(noise / level), -90)

    def test_header_and_data_agree_for_every_length(self):
        for frames in (1, 2, 459, 460, 461, 587, 588, 589, 1048, 1049, 4096, 44100):
            wav(self.path("in.wav"), [sine(frames)] * 2)
            self.convert("-i", "in.wav", "out.dsf")
            dsf = Dsf(self.path("out.dsf"))
            self.assertTrue(dsf.consistent, frames)
            blocks = -(-(frames + 128) // 588)  # the guard of 128 frames lets the filter ring out
            self.assertEqual(dsf.samples // 8, -(-blocks * 4704 // 4096) * 4096, frames)
            self.assertEqual((dsf.channels, dsf.channel_type, dsf.rate, dsf.bits, dsf.block, dsf.pointer),
                             (2, 2, 2822400, 1, 4096, 0))
            padding = dsf.samples // 8 - blocks * 4704
            for channel in dsf.planar():
                self.assertEqual(channel[len(channel) - padding:], b"\x69" * padding)

    def test_bits_do_not_depend_on_threads_cache_or_container(self):
        wav(self.path("in.wav"), [sine(30000), sine(30000, hz=333), sine(30000, hz=5000)], rate=48000)
        digests = set()
        for threads in ("1", "2", "3", "7"):
            for cache in ("2", "8", "64"):
                os.environ["TESK_ENGINE_THREADS"] = threads
                self.convert("-i", "in.wav", "out.dsf", "-mc", cache)
                digests.add(hashlib.sha256(self.path("out.dsf").read_bytes()).hexdigest())
        del os.environ["TESK_ENGINE_THREADS"]
        self.assertEqual(len(digests), 1)
        with open(self.path("pipe.bin"), "wb") as pipe:
            subprocess.run([os.environ["TESK_BUILD"] + "/bin/tesk", "-i", "in.wav", "--pipe"], stdout=pipe,
                           stderr=subprocess.DEVNULL, check=True, cwd=self.folder)
        bare, dsf = self.path("pipe.bin").read_bytes(), Dsf(self.path("out.dsf"))
        block = 640 * 64 // 8
        for c, channel in enumerate(dsf.planar()):
            piped = b"".join(bare[at + c * block:at + (c + 1) * block] for at in range(0, len(bare), 3 * block))
            self.assertEqual(channel[:len(piped)], piped)
            self.assertEqual(set(channel[len(piped):]) - {0x69}, set())

    def test_default_quality(self):
        signal(self.path("in.wav"), "tone", "--freq", 1000, "--level", -6, "--seconds", 4, "--format", "f64")
        self.convert("-i", "in.wav", "out.dsf")
        for row in measured(self.path("out.dsf"), "--tone", 1000, "--skip", 1):
            self.assertGreaterEqual(float(row["snr_db"]), 150)
            self.assertAlmostEqual(float(row["level_dbfs"]), -12.19, delta=0.01)

    def test_designed_orders_reach_their_noise(self):
        signal(self.path("in.wav"), "tone", "--freq", 1000, "--level", -6, "--seconds", 3, "--format", "f64")
        for order, noise in ((3, -42), (5, -71), (7, -95.5), (9, -116), (11, -134)):
            self.convert("-i", "in.wav", "out.dsf", "--sos-ef", order)
            row = measured(self.path("out.dsf"), "--tone", 1000, "--skip", 1)[0]
            self.assertAlmostEqual(float(row["noise_dbfs"]), noise, delta=1.5, msg=str(order))

    def test_idle_is_quiet(self):
        signal(self.path("in.wav"), "silence", "--seconds", 4, "--format", "f64")
        self.convert("-i", "in.wav", "out.dsf")
        self.assertLess(float(measured(self.path("out.dsf"), "--skip", 1)[0]["spur_dbfs"]), -150)

    def test_every_format_rate_and_channel_count_ends_in_a_readable_file(self):
        signal = sine(5000, level=0.4)
        wav(self.path("s24.wav"), [signal] * 2, bits=24)
        for name, options in (("x.flac", []), ("x.aiff", []), ("x.w64", ["-f", "w64"]), ("x.rf64.wav", ["-rf64", "always"])):
            subprocess.run(["ffmpeg", "-v", "error", "-y", "-i", self.path("s24.wav"), "-c:a",
                            "flac" if name.endswith("flac") else "pcm_s24be" if name.endswith("aiff") else "pcm_s24le",
                            *options, self.path(name)], check=True)
            self.convert("-i", name, "out.dsf")
            first = self.path("out.dsf").read_bytes()
            self.convert("-i", "s24.wav", "out.dsf")
            self.assertEqual(first, self.path("out.dsf").read_bytes(), name)
        for rate in (88200, 176400, 352800, 48000, 96000, 192000, 384000):
            wav(self.path("r.wav"), [sine(rate // 10, rate)], rate=rate, bits=24)
            self.convert("-i", "r.wav", "out.dsf")
            dsf = Dsf(self.path("out.dsf"))
            self.assertTrue(dsf.consistent)
            self.assertEqual(dsf.rate, 64 * (44100 if rate % 44100 == 0 else 48000))
        for channels in range(1, 9):
            wav(self.path("c.wav"), [signal] * channels)
            self.convert("-i", "c.wav", "out.dsf", *(["-fc"] if channels > 6 else []))
            dsf = Dsf(self.path("out.dsf"))
            self.assertEqual((dsf.consistent, dsf.channel_type), (True, {1: 1, 2: 2, 3: 3, 4: 4, 5: 6, 6: 7, 7: 0, 8: 9}[channels]))
            self.assertEqual(len(set(dsf.planar())), 1, "equal channels give equal bits")

    def test_oversampling_rates(self):
        wav(self.path("in.wav"), [sine(2000)])
        for factor in (64, 128, 256, 1024, 4096):
            self.convert("-i", "in.wav", "out.dsf", "-os", factor)
            dsf = Dsf(self.path("out.dsf"))
            self.assertEqual((dsf.consistent, dsf.rate), (True, factor * 44100))

    def test_channel_options(self):
        left, right = sine(3000), sine(3000, hz=300, level=0.2)
        wav(self.path("in.wav"), [left, right], bits=24)
        wav(self.path("left.wav"), [left], bits=24)
        self.convert("-i", "in.wav", "both.dsf")
        self.convert("-i", "in.wav", "swapped.dsf", "-sch")
        self.convert("-i", "in.wav", "first.dsf", "-rc", "1")
        self.convert("-i", "left.wav", "left.dsf")
        self.convert("-i", "in.wav", "msb.dsf", "-fe", "m")
        both = Dsf(self.path("both.dsf")).planar()
        self.assertEqual(both[::-1], Dsf(self.path("swapped.dsf")).planar())
        self.assertEqual(self.path("first.dsf").read_bytes(), self.path("left.dsf").read_bytes())
        self.assertEqual(both[:1], Dsf(self.path("left.dsf")).planar())
        reverse = bytes(int(f"{b:08b}"[::-1], 2) for b in range(256))
        data = 4704 * 6
        self.assertEqual(both[0][:data], Dsf(self.path("msb.dsf")).planar()[0][:data].translate(reverse))
        self.convert("-i", "in.wav", "quad.dsf", "-q", status=-51)

    def test_headroom_keeps_the_modulator_out_of_trouble(self):
        wav(self.path("hot.wav"), [sine(44100, level=0.999)], bits=24)
        loud = self.convert("-i", "hot.wav", "out.dsf")
        self.assertIn("--headroom auto", loud.stderr)
        noisy = float(measured(self.path("out.dsf"), "--tone", 1000, "--skip", 0.1, "--fft", 20)[0]["snr_db"])
        saved = self.convert("-i", "hot.wav", "out.dsf", "--headroom", "auto")
        self.assertNotIn("--headroom", saved.stderr)
        clean = float(measured(self.path("out.dsf"), "--tone", 1000, "--skip", 0.1, "--fft", 20)[0]["snr_db"])
        self.assertLess(noisy, 60)
        self.assertGreater(clean, 130)
        wav(self.path("soft.wav"), [sine(10000, level=0.3)], bits=24)
        self.convert("-i", "soft.wav", "plain.dsf")
        self.convert("-i", "soft.wav", "auto.dsf", "--headroom", "auto")
        self.assertEqual(self.path("plain.dsf").read_bytes(), self.path("auto.dsf").read_bytes())

    def test_plain_arithmetic_gives_the_same_music(self):
        signal(self.path("in.wav"), "tone", "--freq", 1000, "--level", -6, "--seconds", 2, "--format", "f64")
        self.convert("-i", "in.wav", "out.dsf", "--no-simd")
        row = measured(self.path("out.dsf"), "--tone", 1000, "--skip", 0.2, "--fft", 21)[0]
        self.assertGreater(float(row["snr_db"]), 145)


if __name__ == "__main__":
    unittest.main()
