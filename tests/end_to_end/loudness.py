"""--measure: the table of loudness, held against ffmpeg's meter."""
import csv
import io
import re
import subprocess
import unittest

from support import Case, TESK, shell_status

HEADER = ["file", "channels", "sample_rate", "frames", "integrated_lufs", "lra_lu", "true_peak_dbfs", "plr_lu"]


class Loudness(Case):
    def setUp(self):
        super().setUp()
        quiet_and_loud = "aevalsrc='(0.05+0.4*gt(mod(t,8),4))*sin(6000*t)':c=stereo:s=48000:d=24"
        for name, source in (("steps.flac", quiet_and_loud), ("noise.wav", "anoisesrc=c=pink:a=0.7:d=5:r=44100"),
                             ("two, \"three\".wav", "sine=11025:r=44100:d=2,volume=18dB,afade=d=0.2,afade=out:st=1.8:d=0.2")):
            subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", source, "-sample_fmt", "s16", name]
                           if name.endswith("flac") else
                           ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", source, "-c:a", "pcm_f32le", name],
                           check=True, cwd=self.folder)

    def measure(self, *words):
        return subprocess.run([TESK, "--measure", *words], capture_output=True, text=True, cwd=self.folder)

    def rows(self, result):
        table = list(csv.reader(io.StringIO(result.stdout)))
        self.assertEqual(table[0], HEADER)
        return table[1:]

    def meter(self, name):
        text = subprocess.run(["ffmpeg", "-hide_banner", "-i", name, "-af", "ebur128=peak=true", "-f", "null", "-"],
                              capture_output=True, text=True, cwd=self.folder).stderr
        return [float(re.findall(word + r":\s+(-?[\d.]+) (?:LUFS|LU|dBFS)", text)[-1]) for word in ("I", "LRA", "Peak")]

    def test_the_figures_are_those_of_another_meter(self):
        names = ["steps.flac", "noise.wav", "two, \"three\".wav"]
        result = self.measure(*names)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        for name, row in zip(names, self.rows(result), strict=True):
            self.assertEqual(row[0], name)
            loudness, span, peak, ratio = (float(word) for word in row[4:])
            for mine, other in zip((loudness, span, peak), self.meter(name)):
                self.assertLess(abs(mine - other), 0.15, (name, row))
            self.assertAlmostEqual(ratio, peak - loudness, delta=0.011)
        self.assertEqual(self.rows(result)[0][1:4], ["2", "48000", str(24 * 48000)])
        self.assertEqual(self.leftovers(), sorted(names), "nothing is converted")

    def test_what_cannot_be_measured_does_not_stop_the_rest(self):
        subprocess.run(["sox", "-n", "-r", "44100", "short.wav", "synth", "0.3", "sine", "440"], check=True,
                       cwd=self.folder)
        subprocess.run(["sox", "-n", "-r", "44100", "silent.wav", "trim", "0", "2"], check=True, cwd=self.folder)
        self.path("broken.wav").write_bytes(b"RIFF")
        result = self.measure("short.wav", "silent.wav", "broken.wav", "missing.wav", "noise.wav")
        self.assertEqual(result.returncode, shell_status(-51))
        self.assertEqual([row[0] for row in self.rows(result)], ["noise.wav"])
        for name in ("short", "silent"):
            self.assertIn(f"[measure] {name}.wav: too short (<400 ms) or silent, nothing to measure\n", result.stderr)
        for name in ("broken", "missing"):
            self.assertIn(f"[measure] cannot read: {name}.wav\n", result.stderr)

    def test_a_table_that_is_lost_is_no_success(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            result = subprocess.run([TESK, "--measure", "noise.wav"], stdout=full, stderr=subprocess.PIPE, text=True,
                                    cwd=self.folder)
        self.assertEqual(result.returncode, shell_status(-53))
        self.assertIn("the table cannot be written", result.stderr)

    def test_surround(self):
        """A tone in one channel of 7.1 after the other: front, LFE, back, side."""
        for channel, weight in ((0, 0), (3, None), (4, 0), (6, 1.5)):
            name = f"c{channel}.wav"
            expression = "|".join("0.1*sin(6000*t)" if c == channel else "0" for c in range(8))
            subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"aevalsrc='{expression}':c=7.1:s=48000:d=2",
                            name], check=True, cwd=self.folder)
            rows = self.rows(self.measure(name))
            self.assertEqual(len(rows), 0 if weight is None else 1, channel)
            if rows:  # -20 dBFS of a sine are -23 LUFS but for the weighting of a tone of 955 Hz
                self.assertAlmostEqual(float(rows[0][4]) - weight, -23, delta=0.2)

    def test_folders_and_the_other_parser(self):
        self.assertEqual(len(self.rows(self.measure("."))), 3)
        self.assertEqual(self.measure("--cli-v2", "-i", "noise.wav").stdout, self.measure("noise.wav").stdout)


if __name__ == "__main__":
    unittest.main()
