"""Filters and modulators by their options: what they leave in the stream, what they print, what they write."""
import csv
import io
import random
import re
import subprocess
import unittest
import xml.etree.ElementTree as ElementTree

from support import MEASURE, Case, run, shell_status, sine, wav


def spectrum(path, hz):
    """The measuring tool's row for a tone; None when the file is too short for it."""
    out = subprocess.run([MEASURE, "dsd", path, "--csv", "--tone", str(hz), "--fft", "20", "--skip", "0.3"],
                         capture_output=True, text=True, check=True)
    return next(csv.DictReader(io.StringIO(out.stdout)))


class Designs(Case):
    def tone(self, seconds=1, level=-6, hz=1000):
        subprocess.run([MEASURE, "tone", self.path("in.wav"), "--format", "f64", "--channels", "1", "--freq", str(hz),
                        "--level", str(level), "--seconds", str(seconds)], check=True)

    def stream(self, *options):
        self.path("temp").mkdir(exist_ok=True)
        for log in self.path("temp").iterdir():
            log.unlink()
        result = self.convert("-i", "in.wav", "out.dsf", *options)
        return spectrum(self.path("out.dsf"), 1000), self.log() + result.stderr

    def refused(self, status, text, *options):
        result = run("-i", "in.wav", "out.dsf", *options, cwd=self.folder)
        self.assertEqual(result.returncode, shell_status(status), result.stderr)
        self.assertIn(text, result.stderr)

    # The figures are those of loops simulated elsewhere, less two decibels.
    def test_every_modulator_brings_the_tone_and_its_own_noise(self):
        self.tone()
        for options, snr in ((["-o", "3"], 61), (["-o", "5"], 91), (["-o", "7"], 121), (["-o", "9"], 126),
                             (["--cifb"], 82), (["--cifb", "5"], 89), (["--cifb", "7"], 97), (["--cifb", "11"], 96),
                             (["--mash"], 66), (["--mash", "421", "iir2"], 62), (["--mash", "222"], 65),
                             (["--mash", "111"], 57), (["-o", "7", "--psy"], 104), (["-o", "5", "--mp-ns"], 90),
                             (["-o", "5", "--mp-poles", "0.9", "0.8"], 85)):
            row, said = self.stream(*options)
            self.assertAlmostEqual(float(row["level_dbfs"]), -12.02, delta=0.05, msg=options)
            self.assertGreater(float(row["snr_db"]), snr, options)
            self.assertNotIn("too loud for the modulator", said)

    def test_psychoacoustic_noise_is_heard_less(self):
        self.tone()
        for order in ("5", "7", "9"):
            plain = float(self.stream("-o", order)[0]["noise_40phon_dbfs"])
            for strategy, gain in (("conservative", 3), ("balanced", 6), ("aggressive", 6)):
                row, said = self.stream("-o", order, "--psy", "--psy-strategy", strategy)
                self.assertLess(float(row["noise_40phon_dbfs"]), plain - gain, (order, strategy))
                self.assertIn("Psychoacoustic NTF coefficients injected", said)

    def test_a_loop_that_does_not_hold_is_told_and_still_one_bit(self):
        self.tone(level=-3)
        row, said = self.stream("-o", "7", "-p", "0.5")
        self.assertIn("a one-bit loop does not hold", said)
        self.assertIn("take a pole nearer to 1", said)
        self.refused(-3, "Pole magnitude must be in [0.0, 1.0)", "-o", "5", "-p", "1")
        self.refused(-3, "Zeros must be in [0.0, 1.0]", "-o", "5", "-z", "0.5", "1.5")
        self.assertIn("act on the -o modulator only", self.stream("-z", "0.5")[1])
        self.assertIn("the last 1 of -z are not used", self.stream("-o", "3", "-z", "0.5", "0.6")[1])

    def test_filters_by_other_designs(self):
        self.tone()
        for options, line in ((["-m"], "Do MinMumPhase of Tesk"), (["--filter-type", "minphase"], "Do MinMumPhase of Tesk"),
                              (["-a", "-gd", "16"], "Do Parks-McClellan algorithm of Tesk"),
                              (["-a", "-t", "1024", "-gd", "16", "-pc", "20000", "-sc", "44100", "-sga", "120"],
                               "Remez status : 0")):
            row, said = self.stream("-os", "64", *options)
            self.assertIn(line, said)
            if "-a" in options:
                self.assertNotIn("MinMumPhase", said)
                self.assertGreater(float(row["snr_db"]), 140 if "-pc" in options else 100)
            else:
                self.assertGreater(float(row["snr_db"]), 148)
                self.assertAlmostEqual(float(row["level_dbfs"]), -12.19, delta=0.05)

    def test_reports_stand_beside_the_output(self):
        self.tone(seconds=0.2)
        self.path("out").mkdir()
        self.convert("-i", "in.wav", "out/x.dsf", "-log", "all", "-pdfrp")
        self.path("in.wav").rename(self.path("a\\b.wav"))
        self.convert("-i", "a\\b.wav", "c\\d.dsf", "-log", "fir")  # no folder, an odd name
        self.assertTrue(self.path("fir_coeff.txt").exists())
        self.assertEqual(sorted(p.name for p in self.path("out").iterdir()),
                         ["FreqGain.txt", "dsd_quality_final_report.txt", "filter_impulse.svg",
                          "filter_magnitude.svg", "fir_coeff.txt",
                          "freq_response.txt", "ntf.svg", "ntf_response.txt", "x.dsf", "x.report.pdf"])
        text = subprocess.run(["pdftotext", "-layout", self.path("out/x.report.pdf"), "-"], capture_output=True, text=True,
                              check=True).stdout
        self.assertRegex(text, r"Modulator +sos-ef-noise-shaper")
        self.assertRegex(text, r"Output +out/x.dsf")
        quality = (self.path("out") / "dsd_quality_final_report.txt").read_text()
        octaves = re.findall(r"(\d+) to +(\d+) Hz +(-?[\d.]+) dBFS", quality)
        self.assertEqual((octaves[0][0], octaves[-1][1]), ("0", str(2822400 // 2)))
        levels = [float(level) for _, _, level in octaves]
        self.assertAlmostEqual(levels[6], -12.19, delta=0.1)  # 640 to 1280 Hz: the tone
        self.assertAlmostEqual(sum(10 ** (level / 10) for level in levels), 2, delta=0.01)  # ±1 is 3 dB over a sine
        for name in ("filter_impulse.svg", "filter_magnitude.svg", "ntf.svg"):
            self.assertTrue(ElementTree.parse(self.path("out") / name).getroot().tag.endswith("svg"))
        rows = (self.path("out") / "freq_response.txt").read_text().splitlines()
        self.assertEqual((rows[0], len(rows)), ("Freq(Hz)\tMagnitude\tResponse(dB)", 513))

    def test_a_polynomial_in_place_of_the_taps(self):
        self.tone()
        plain, _ = self.stream()
        row, said = self.stream("--poly-auto", "--poly-save", "f.poly", "--poly-report")
        self.assertAlmostEqual(float(row["snr_db"]), float(plain["snr_db"]), delta=2)
        bits = self.path("out.dsf").read_bytes()
        self.stream("--poly-load", "f.poly")
        self.assertEqual(self.path("out.dsf").read_bytes(), bits, "the saved polynomial is the same filter")
        self.path("out.dsf").write_bytes(b"precious")
        music = self.path("in.wav").read_bytes()
        for path in ("in.wav", "out.dsf"):
            self.refused(-52, f'polynomial file "{path}"', "--poly-auto", "--poly-save", path)
        self.assertEqual(self.path("in.wav").read_bytes(), music)
        for options in (["-b", "9"], ["-os", "128"]):
            self.refused(-51, "f.poly", "--poly-load", "f.poly", *options)
        self.path("junk.poly").write_text("no polynomial")
        self.refused(-51, "junk.poly", "--poly-load", "junk.poly")
        self.assertEqual(self.path("out.dsf").read_bytes(), b"precious")
        self.assertIn("Smallest usable degree: ", self.stream("--poly", "--poly-degree", "16")[1])

    def test_the_adaptive_choice_is_that_of_its_options(self):
        chance = random.Random(1)

        def noise(seconds, level):
            return [level * chance.uniform(-1, 1) for _ in range(int(seconds * 44100))]

        quiet_then_loud = noise(5, 0.01) + noise(5, 0.5)
        attacks = (noise(0.005, 0.9) + noise(0.495, 0.003)) * 8
        chord = [sum(x) for x in zip(sine(44100, hz=300, level=0.4), sine(44100, hz=9000, level=0.1))]
        for number, name, music, options in ((1, "wide", quiet_then_loud, []),
                                             (2, "percussive", attacks, ["--filter-type", "minphase"]),
                                             (3, "dense", noise(4, 0.99), ["-o", "9"]),
                                             (4, "narrow band", chord, ["--filter-type", "slow"])):
            wav(self.path("in.wav"), [music], bits=24)
            self.convert("-i", "in.wav", "by_hand.dsf", "--headroom", "auto", *options)
            expected = self.path("by_hand.dsf").read_bytes()
            self.assertIn(f"music type {number}, {name}", self.stream("--adaptive")[1])
            self.assertEqual(self.path("out.dsf").read_bytes(), expected, name)
            wav(self.path("in.wav"), [chord], bits=24)
            self.assertIn(f"music type {number}, {name}", self.stream("--adaptive", "--music-type", number)[1])

    def test_the_adaptive_choice_keeps_what_was_asked_for(self):
        self.tone()
        said = self.stream("--adaptive", "--music-type", "3", "--cifb", "5", "-m", "--headroom", "1")[1]
        self.assertIn("filter as asked, modulator as asked, headroom as asked", said)
        bits = self.path("out.dsf").read_bytes()
        self.stream("--cifb", "5", "-m", "--headroom", "1")
        self.assertEqual(self.path("out.dsf").read_bytes(), bits)
        self.assertIn("modulator -o 9", self.stream("--adaptive", "-os", "128")[1])
        self.assertIn("--music-type knows 1 to 4", self.stream("--adaptive", "-mt", "9")[1])
        self.assertIn("--music-type needs --adaptive", self.stream("-mt", "1")[1])
        self.convert("-i", "in.wav", "dxd.wav", "--dxd", "--adaptive")
        self.assertIn("filter slow roll-off, modulator none, headroom auto", self.log())


if __name__ == "__main__":
    unittest.main()
