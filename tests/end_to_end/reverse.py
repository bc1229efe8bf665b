"""DSD back to PCM: what comes out is what went in, in every container, and nothing is lost when something fails."""
import csv
import io
import json
import os
import struct
import subprocess
import unittest

from support import Case, run, shell_status, sine, wav

MEASURE = os.environ["TESK_BUILD"] + "/bin/tesk-measure"
NAMED = ("--artist", "Künstler", "--title", "Titel")


def measured(path, *options):
    """The rows of the measuring tool, one per channel and tone."""
    out = subprocess.run([MEASURE, "pcm", path, "--csv", *map(str, options)], capture_output=True, text=True, check=True)
    return list(csv.DictReader(io.StringIO(out.stdout)))


def probe(path):
    out = subprocess.run(["ffprobe", "-v", "error", "-show_streams", "-show_format", "-of", "json", path],
                         capture_output=True, check=True).stdout
    found = json.loads(out)
    return found["streams"][0], found["format"]


def samples(path):
    """The samples as integers of 32 bits, whatever the file is."""
    return subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-f", "s32le", "-"], capture_output=True,
                          check=True).stdout


class Reverse(Case):
    def back(self, *arguments, status=0, env=None):
        result = run(*arguments, "--reverse", "-lf", "run.log", cwd=self.folder, env=os.environ | (env or {}))
        self.assertEqual(result.returncode, shell_status(status), result.stderr)
        return result

    def stream(self, name="in.dsf", *options, channels=2, frames=44100):
        wav(self.path("in.wav"), [sine(frames, hz=1000 + 300 * c) for c in range(channels)], bits=24)
        self.convert("-i", "in.wav", name, *options)

    def test_a_sine_there_and_back_is_clean(self):
        subprocess.run([MEASURE, "tone", self.path("tone.wav"), "--freq", "997", "--level", "-6", "--seconds", "8",
                        "--format", "f64"], check=True)
        self.convert("-i", "tone.wav", "tone.dsf")
        for rate in (44100, 88200, 176400, 352800):
            self.back("-i", "tone.dsf", "out.wav", "-b", "64", "-s", rate)
            for row in measured(self.path("out.wav"), "--tone", 997, "--fft", 17 + rate // 88200):
                self.assertGreater(float(row["snr_db"]), 140, rate)
                self.assertAlmostEqual(float(row["level_dbfs"]), -12.193, delta=0.01)
        self.back("-i", "tone.dsf", "out.wav", "-b", "24", "--gain", "auto")
        peak = float(measured(self.path("out.wav"), "--tone", 997, "--fft", 17)[0]["level_dbfs"])
        self.assertTrue(-0.03 < peak < 0, peak)

    def test_every_container_of_the_same_bits_gives_the_same_samples(self):
        self.stream()
        for name, options in (("in.dff", NAMED), ("dst.dff", ("--dst", *NAMED)), ("in.wsd", ())):
            self.convert("-i", "in.wav", name, *options)
        self.back("-i", "in.dsf", "dsf.wav", "-b", "24", "--align")
        wanted = samples(self.path("dsf.wav"))
        for name in ("in.dff", "dst.dff", "in.wsd"):
            self.back("-i", name, "out.wav", "-b", "24", "--align")
            got = samples(self.path("out.wav"))
            length = min(len(got), len(wanted)) - 8 * 400  # DSF is padded to a block of 4096 bytes
            self.assertGreater(length, 8 * 44000)
            self.assertEqual(got[:length], wanted[:length], name)

    def test_the_form_of_the_file_is_the_one_asked_for(self):
        self.stream()
        for options, codec in ((["-b", "16"], "pcm_s16le"), (["-b", "24"], "pcm_s24le"), ([], "pcm_s32le"),
                               (["-f"], "pcm_f32le"), (["-b", "64"], "pcm_f64le"), (["-b", "16", "-f"], "pcm_f32le")):
            for form in ([], ["--wave64"]):
                said = self.back("in.dsf", "out.wav", *options, *form).stderr
                stream, container = probe(self.path("out.wav"))
                self.assertEqual((stream["codec_name"], container["format_name"]), (codec, "w64" if form else "wav"))
                self.assertEqual("Noise shaper: on" in said, codec.startswith("pcm_s"))
                self.assertRegex(said, r"\nDone\. \d+ PCM frames -> WAV\.\n")
        for options, bits, text in ((["-b", "16"], 16, "PCM: 44100 Hz, 16-bit"), ([], 24, "limited to 16/24"),
                                    (["-f"], 24, "FLAC does not support float; falling back to 24-bit")):
            said = self.back("in.dsf", "out.flac", *options).stderr
            self.assertIn(text, said)
            self.assertEqual(int(probe(self.path("out.flac"))[0]["bits_per_raw_sample"]), bits)
            subprocess.run(["flac", "-t", "-s", self.path("out.flac")], check=True)
        self.back("in.dsf", "named", "--format", "flac", "-b", "24")
        self.assertEqual(self.path("named").read_bytes(), self.path("out.flac").read_bytes())
        self.assertIn("PCM: 44100 Hz", self.path("run.log").read_text())

    def test_tags_come_along(self):
        self.stream("in.dsf", "--title", "Über", "--artist", "Wir", "--album", "Alles", "--track", "7", "--year", "1999")
        for name in ("out.wav", "out.flac"):
            self.back("in.dsf", name)
            tags = {k.lower(): v for k, v in probe(self.path(name))[1]["tags"].items()}
            self.assertEqual([tags.get(k) for k in ("title", "artist", "album", "track", "date")],
                             ["Über", "Wir", "Alles", "7", "1999"], name)

    def test_threads_and_forms_of_the_filter_agree(self):
        self.stream(channels=3, frames=20000)
        self.back("in.dsf", "a.wav", "-b", "64")
        for number, env in enumerate(({"TESK_PDM2PCM_THREADS": "1"}, {"TESK_PDM2PCM_THREADS": "3"})):
            self.back("in.dsf", "b.wav", "-b", "64", env=env)
            self.assertEqual(self.path("a.wav").read_bytes(), self.path("b.wav").read_bytes(), number)
        floats = lambda name: struct.iter_unpack("<d", subprocess.run(
            ["ffmpeg", "-v", "error", "-i", self.path(name), "-f", "f64le", "-"], capture_output=True, check=True).stdout)
        for env, text in (({"TESK_PDM2PCM_BQ_BANK": "0"}, "cross-channel biquad disabled (TESK_PDM2PCM_BQ_BANK=0) -> per-"),
                          ({"TESK_PDM2PCM_BQ_BANK": "1"}, "biquad backend SSE2 (2 channels packed per task)"),
                          ({"TESK_PDM2PCM_MIN_MACS": "1000"}, "PDM2PCM: FIR downsample split into ")):
            self.back("in.dsf", "b.wav", "-b", "64", env=env)
            self.assertIn(text, self.path("run.log").read_text())
            self.assertLess(max(abs(a - b) for (a,), (b,) in zip(floats("a.wav"), floats("b.wav"))), 1e-9)
        said = self.back("in.dsf", "b.wav", env={"TESK_PDM2PCM_PROFILE": "1"}).stderr
        self.assertEqual(said.count("PDM2PCM profile: (未计入的 = 读盘/输出/线程分发 等串行部分)\n"), 2)
        self.assertEqual(said.count("PDM2PCM profile: noise-shap"), 2)
        self.assertIn("output gain: -3.0 dB\n", self.back("in.dsf", "b.wav", env={"TESK_PDM2PCM_GAIN": "-3"}).stderr)

    def test_nothing_is_lost_when_it_fails(self):
        self.stream()
        self.path("out.wav").write_bytes(b"precious")
        self.path("text.dsf").write_bytes(b"no music in here")
        os.link(self.path("in.dsf"), self.path("twin.wav"))
        bits = self.path("in.dsf").read_bytes()
        (self.path("folder")).mkdir()
        for status, text, words in (
                (-1, "Error: cannot open missing.dsf\n", ["missing.dsf", "out.wav"]),
                (-1, "Error: cannot open text.dsf\n", ["text.dsf", "out.wav"]),
                (-1, "DFFReader: cannot open missing.dff\n", ["missing.dff", "out.wav"]),
                (-1, "is no disc image", ["in.dsf", "out.wav", "--disc-track", "1"]),
                (-1, "Zeros must be in [0.0, 1.0]", ["in.dsf", "out.wav", "-z", "2", "0", "0"]),
                (-52, "is the input itself", ["in.dsf", "twin.wav"]),
                (-52, "is a directory", ["in.dsf", "folder"]),
                (-52, "the folder 'nowhere' does not exist", ["in.dsf", "nowhere/out.wav"]),
                (-52, "No space left on device", ["in.dsf", "/dev/full"]),
                (-52, "FLAC write failed: ", ["in.dsf", "/dev/full", "--format", "flac"]),
                (-1, "unknown option: --nonsense\n", ["in.dsf", "out.wav", "--nonsense"])):
            self.assertIn(text, self.back(*words, status=status).stderr)
        for log in ("in.dsf", "out.wav"):
            refused = run("in.dsf", "out.wav", "--reverse", "-lf", log, cwd=self.folder)
            self.assertEqual(refused.returncode, shell_status(-1))
            self.assertIn(f"the log '{log}' is the input or the output itself", refused.stderr)
        self.assertEqual(self.path("in.dsf").read_bytes(), bits)
        self.assertEqual(self.path("out.wav").read_bytes(), b"precious")
        self.assertEqual(self.leftovers(), ["folder", "in.dsf", "in.wav", "out.wav", "run.log", "text.dsf", "twin.wav"])
        data = self.path("in.dsf").read_bytes()
        self.path("cut.dsf").write_bytes(data[:len(data) // 2])
        self.assertIn("Warning", self.back("cut.dsf", "cut.wav").stderr)
        self.assertEqual(len(samples(self.path("cut.wav"))) // 8, float(probe(self.path("cut.wav"))[0]["duration_ts"]))

    def test_a_damaged_dst_frame_is_one_frame_of_silence_and_is_told(self):
        self.stream("in.dff", "--dst", *NAMED)
        data = bytearray(self.path("in.dff").read_bytes())
        at = data.find(b"DSTF", len(data) // 2)
        data[at + 12] ^= 0x40  # the reserved part of the frame's first byte
        self.path("hurt.dff").write_bytes(data)
        said = self.back("hurt.dff", "hurt.wav", "-b", "24", "-n").stderr
        self.assertIn("⚠ hurt.dff: DST frame problem summary -- decode failures 1, CRC mismatches 0, frames processed "
                      "76 (1.316%).", said)
        self.back("in.dff", "good.wav", "-b", "24", "-n")
        pairs = list(zip(*(struct.iter_unpack("<ii", samples(self.path(n))) for n in ("hurt.wav", "good.wav"))))
        different = [i for i, (a, b) in enumerate(pairs) if a != b]
        self.assertTrue(0 < different[-1] - different[0] < 44100 // 75 + 200)


class Dxd(Case):
    def test_oversampled_pcm_lies_where_the_input_did(self):
        frames = 20000
        wav(self.path("in.wav"), [sine(frames, hz=1000), sine(frames, hz=3000)], bits=24)
        for extension, codec, bits in (("wav", "pcm_f32le", "float"), ("w64", "pcm_f32le", "float"), ("FLAC", "flac", "")):
            self.convert("-i", "in.wav", "x." + extension, "--dxd", "--title", "Titel")
            path = self.path("in.DXD." + extension)
            stream, form = probe(path)
            self.assertEqual((stream["codec_name"], stream["sample_rate"], stream["duration_ts"]),
                             (codec, "352800", 8 * frames))
            self.assertIn("(2 ch, 352800 Hz, decim 8, ", self.log())
            self.assertIn("WRITE DXD", self.log())
            pcm = [a / 2**31 for a, _ in struct.iter_unpack("<ii", samples(path))]
            self.assertLess(max(abs(pcm[8 * i] - 0.5 * s) for i, s in list(enumerate(sine(frames)))[300:-300]), 1e-3)
            crossing = next(i for i in range(8 * 441 * 10 - 4, 8 * 441 * 11) if pcm[i] <= 0 < pcm[i + 1])
            self.assertAlmostEqual(crossing, 8 * 441 * 10, delta=1)
        self.assertEqual(form["tags"]["TITLE"], "Titel")

    def test_rates_levels_and_refusals(self):
        wav(self.path("in.wav"), [sine(8000, level=0.5)], rate=96000, bits=24)
        self.convert("-i", "in.wav", "x.wav", "--dxd")
        self.assertEqual(probe(self.path("in.DXD.wav"))[0]["sample_rate"], "384000")
        for words, rms, wanted in ((["-qt", "peak"], False, 1.0), (["-qr", "0.25"], False, 0.25),
                                   (["-qt", "rms"], True, 0.125), (["-qt", "hardlimit", "-qr", "0.1"], False, 0.1)):
            self.convert("-i", "in.wav", "x.wav", "--dxd", "--dxd-samplerate", "192000", *words)
            pcm = [abs(a) / 2**31 for (a,) in struct.iter_unpack("<i", samples(self.path("in.DXD.wav")))]
            level = (sum(a * a for a in pcm) / len(pcm))**0.5 if rms else max(pcm)
            self.assertAlmostEqual(level, wanted, delta=0.001 * wanted)
        self.convert("-i", "in.wav", "x.flac", "--dxd")
        plain = samples(self.path("in.DXD.flac"))
        self.convert("-i", "in.wav", "x.flac", "--dxd", "--dither", "0")
        noise = [(a - b) / 2**8 for (a,), (b,) in zip(*(struct.iter_unpack("<i", d) for d in
                                                     (plain, samples(self.path("in.DXD.flac")))))]
        self.assertTrue(0.3 < (sum(n * n for n in noise) / len(noise))**0.5 < 0.8, "TPDF: 0.41 steps, rounded")
        clipped = self.convert("-i", "in.wav", "x.flac", "--dxd", "-absdb", "20")  # 0.25 becomes 2.5
        self.assertIn("samples up to +8.0", clipped.stderr)
        for status, text, words in ((-52, "DXD: unsupported extension '.mp3' (expected .wav / .w64 / .flac)", ["x.mp3"]),
                                    (-45, "is no multiple of the input's 96000 Hz", ["x.wav", "--dxd-samplerate", "100000"]),
                                    (-52, "DXD WAV: failed to open no/in.DXD.wav (", ["no/x.wav"])):
            result = run("-i", "in.wav", *words, "--dxd", cwd=self.folder)
            self.assertEqual(result.returncode, shell_status(status), result.stderr)
            self.assertIn(text, result.stderr)


if __name__ == "__main__":
    unittest.main()
