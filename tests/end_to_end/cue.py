"""A CUE sheet cuts one recording into tracks: places, names, tags, joints."""
import subprocess
import unittest

from mutagen.id3 import ID3

from support import Case, Dsf, sine, wav

SHEET = """REM GENRE "Prog Rock"
REM DATE 1973
PERFORMER "The Band"
TITLE "The Album"
FILE "album.wav" WAVE
  TRACK 01 AUDIO
    TITLE "One"
    INDEX 01 00:00:00
  TRACK 02 AUDIO
    TITLE "Two"
    PERFORMER "A Guest"
    INDEX 00 00:00:20
    INDEX 01 00:00:30
  TRACK 03 AUDIO
    TITLE "Drei \u00e4"
    INDEX 01 00:01:10
"""
STARTS = [0, 30, 85]  # of the sheet, in 1/75 s


def tags(path):
    dsf = Dsf(path)
    tag_file = path.with_suffix(".id3")
    # Frame sizes are plain numbers; a tag this small reads the same either way.
    tag_file.write_bytes(dsf.tag)
    frames = ID3(tag_file)
    tag_file.unlink()
    return {key: str(frames[key]) for key in ("TIT2", "TPE1", "TALB", "TRCK", "TCON", "TDRC") if key in frames}


class Cue(Case):
    def album(self, rate=44100, seconds=2.0, name="album.wav"):
        frames = int(rate * seconds)
        wav(self.path(name), [sine(frames, rate, 1000), sine(frames, rate, 700)], rate, bits=24)
        return frames

    def sheet(self, text=SHEET, name="album.cue", encoding="utf-8"):
        self.path(name).write_bytes(text.encode(encoding))

    def refused(self, text, *arguments, status=-51):
        before = self.leftovers()
        result = self.convert(*arguments, status=status)
        self.assertIn(text, result.stderr + self.log())
        self.assertEqual(self.leftovers(), before, "nothing is written")

    def test_dxd_has_a_file_for_every_track_however_the_sheet_is_named(self):
        frames = self.album()
        self.sheet()
        lengths = [8 * (end - start) * 588 for start, end in zip(STARTS, STARTS[1:])]
        lengths.append(8 * (frames - STARTS[-1] * 588))
        for name, words in (("a", ["-i", "album.cue"]), ("b", ["-i", "album.wav", "--cue", "album.cue"])):
            self.convert(*words, f"{name}.flac", "--dxd")
            for track, length in enumerate(lengths, 1):
                facts = subprocess.run(["metaflac", "--show-total-samples", f"{name}_Track0{track}.DXD.flac"],
                                       capture_output=True, text=True, check=True, cwd=self.folder).stdout
                self.assertEqual(int(facts), length, (name, track))

    def test_every_track_becomes_a_file_of_its_own(self):
        for rate in (44100, 96000):
            with self.subTest(rate=rate):
                frames = self.album(rate)
                self.sheet()
                out = self.convert("-i", "album.wav", "out.dsf", "--cue", "album.cue", "--title", "Only this")
                places = [start * rate // 75 for start in STARTS] + [frames]
                text = out.stdout + out.stderr + self.log()
                self.assertIn("CUE: 3 tracks from album.cue", text)
                for n in range(3):
                    self.assertIn(f"CUE track {n + 1}/3: [{places[n]}, {places[n + 1]}) = "
                                  f"{places[n + 1] - places[n]} samples -> out_Track0{n + 1}.dsf", text)
                    dsf = Dsf(self.path(f"out_Track0{n + 1}.dsf"))
                    self.assertTrue(dsf.consistent)
                    blocks = -(-(places[n + 1] - places[n] + 128 * rate // 44100) // (rate // 75))
                    self.assertAlmostEqual(dsf.samples, blocks * (rate // 75) * dsf.rate // rate, delta=2 * 32768)
                # each track is what a conversion of that piece alone gives
                piece = slice(places[1], places[2])
                wav(self.path("piece.wav"), [sine(frames, rate, hz)[piece] for hz in (1000, 700)], rate, bits=24)
                self.convert("-i", "piece.wav", "piece.dsf")
                self.assertEqual(Dsf(self.path("piece.dsf")).data, Dsf(self.path("out_Track02.dsf")).data)
                self.assertEqual(tags(self.path("out_Track02.dsf"))["TIT2"], "Only this", "options win")

    def test_the_sheet_finds_its_recording_and_gives_the_tags(self):
        self.album()
        self.sheet(encoding="cp1252")
        self.convert("-i", "album.cue", "x.dsf")
        self.assertEqual(tags(self.path("x_Track01.dsf")), {
            "TIT2": "One", "TPE1": "The Band", "TALB": "The Album", "TRCK": "1", "TCON": "Prog Rock", "TDRC": "1973"})
        self.assertEqual(tags(self.path("x_Track02.dsf"))["TPE1"], "A Guest")
        self.assertEqual(tags(self.path("x_Track03.dsf"))["TIT2"], "Drei \u00e4")
        # the recording has been packed since: the sheet still finds it
        subprocess.run(["flac", "-s", "--delete-input-file", self.path("album.wav")], check=True)
        self.path("x_Track03.dsf").unlink()
        out = self.convert("-i", "album.cue", "x.dsf")
        self.assertIn("'album.wav' is not there; 'album.flac' is taken", out.stderr)
        self.assertTrue(Dsf(self.path("x_Track03.dsf")).consistent)

    def test_a_recording_longer_than_its_header_says_is_not_cut(self):
        self.album()
        self.sheet()
        self.convert("-i", "album.wav", "x.dsf", "--cue", "album.cue")
        expected = Dsf(self.path("x_Track03.dsf")).data
        subprocess.run(["flac", "-s", self.path("album.wav")], check=True)
        flac = bytearray(self.path("album.flac").read_bytes())
        self.assertEqual(int.from_bytes(flac[21:26], "big") & 0xFFFFFFFFF, 88200)  # samples, 36 bits
        flac[22:26] = (70000).to_bytes(4, "big")
        self.path("album.flac").write_bytes(flac)
        out = self.convert("-i", "album.flac", "x.dsf", "--cue", "album.cue")
        self.assertEqual(Dsf(self.path("x_Track03.dsf")).data, expected)
        self.assertIn("declares 70000 frames, the file holds 88200", out.stderr)

    def test_a_continuous_run_is_one_stream_without_a_joint(self):
        for rate in (44100, 88200):
            with self.subTest(rate=rate):
                self.album(rate)
                self.sheet()
                self.convert("-i", "album.cue", "x.dsf", "--cue-continuous")
                self.convert("-i", "album.wav", "whole.dsf")
                whole = Dsf(self.path("whole.dsf")).planar()
                parts = [Dsf(self.path(f"x_Track0{n}.dsf")) for n in (1, 2, 3)]
                for c in range(2):
                    self.assertEqual(b"".join(part.planar()[c] for part in parts), whole[c])
                place = 0
                for start, part in zip(STARTS[1:], parts):
                    self.assertTrue(part.consistent)
                    place += part.samples
                    self.assertLessEqual(abs(place - start * 2822400 // 75), 16384, "the nearest border")
                self.assertEqual([tags(self.path(f"x_Track0{n}.dsf"))["TRCK"] for n in (1, 2, 3)], ["1", "2", "3"])

    def test_sheets_that_fit_nothing_are_refused_before_anything_is_written(self):
        self.album()
        bad = {
            "no.cue": ("TITLE \"x\"\n", "has no tracks"),
            "late.cue": (SHEET.replace("00:01:10", "99:00:00"), "belongs to another file"),
            "back.cue": (SHEET.replace("00:01:10", "00:00:10"), "track 3"),
            "twice.cue": (SHEET.replace("TRACK 03", "TRACK 02"), "track number 2"),
        }
        for name, (text, why) in bad.items():
            self.sheet(text, name)
            self.refused(why, "-i", "album.wav", "x.dsf", "--cue", name)
        self.sheet(SHEET.replace("album.wav", "gone.wav"), "other.cue")
        self.refused("gone.wav' that the CUE sheet", "-i", "other.cue", "x.dsf")
        self.sheet("\n".join(line for line in SHEET.split("\n") if "FILE" not in line))
        self.refused("names no FILE", "-i", "album.cue", "x.dsf")
        self.sheet(SHEET + 'FILE "two.wav" WAVE\n')
        self.refused("names 2 files", "-i", "album.cue", "x.dsf")
        self.refused("cannot be opened", "-i", "album.wav", "x.dsf", "--cue", "missing.cue")
        self.refused("outfile stem is null", "-i", "album.wav", ".dsf", "--cue", "album.cue", status=-52)
        self.refused("standard output cannot take", "-i", "album.cue", "--pipe", status=1)
        self.refused("--cue-continuous needs", "-i", "album.wav", "x.dsf", "--cue-continuous", status=1)
        self.refused("its name is too long", "-i", "album.wav", "n" * 250 + ".dsf", "--cue", "album.cue", status=-52)
        self.path("sheet_Track01.dsf").write_bytes(self.path("album.cue").read_bytes())
        self.sheet()
        self.refused("is the CUE sheet itself", "-i", "album.wav", "sheet.dsf", "--cue", "sheet_Track01.dsf", status=-52)
        self.path("x_Track03.dsf").mkdir()
        self.refused("Cannot open CUE output file", "-i", "album.wav", "x.dsf", "--cue", "album.cue", status=-52)


if __name__ == "__main__":
    unittest.main()
