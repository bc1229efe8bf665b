"""Many inputs with one command line: names, folders, reports, settings of one item, and what an end in the middle leaves."""
import json
import os
import re
import signal
import subprocess
import sys
import time
import unittest

from host import HOST, LIBRARY
from support import Case, Dsf, run, shell_status, sine, wav


class Batch(Case):
    def inputs(self, *names, frames=3000):
        for k, name in enumerate(names):
            self.path(name).parent.mkdir(parents=True, exist_ok=True)
            wav(self.path(name), [sine(frames, hz=500 + 100 * k)])

    def batch(self, *arguments, status=0):
        result = self.convert("--batch", *arguments, status=status)
        return result.stdout + result.stderr

    def outputs(self, folder="output"):
        top = self.path(folder)
        return sorted(str(p.relative_to(top)) for p in top.rglob("*") if p.is_file())

    def test_one_failure_does_not_hold_up_the_others(self):
        self.inputs("a.wav", "c.wav")
        said = self.batch("-i", "a.wav", "-i", "missing.wav", "-i", "c.wav", "--naming-pattern", "{track:3}_{input}",
                          status=-51)
        for text in ("━━━ Batch [2/3] missing.wav\n", "  ✓ ./output/001_a.dsf\n", "  ✗ exit code -51 (DSD_ERROR_INPUT)\n",
                     "\nBatch done: 2 OK, 1 failed\n"):
            self.assertIn(text, said)
        self.assertEqual(self.outputs(), ["001_a.dsf", "003_c.dsf"])
        self.convert("-i", "a.wav", "alone.dsf")
        self.assertEqual(self.path("alone.dsf").read_bytes(), self.path("output/001_a.dsf").read_bytes())

    def test_several_jobs_are_one_job_in_less_time(self):
        names = [f"CD{k % 2}/t{k}.wav" for k in range(6)] + ["CD0/Bonus/t9.wav"]
        self.inputs(*(f"album/{n}" for n in names), frames=20000)
        self.path("album/CD0/notes.txt").write_text("no music")
        reports = []
        for jobs in ("1", "4"):
            said = self.batch("-i", "album", "--recursive", "--outdir", jobs, "--jobs", jobs)
            self.assertIn("Batch done: 7 OK, 0 failed", said)
            self.assertEqual(self.outputs(jobs), sorted(n.replace(".wav", ".dsf") for n in names))
            text = self.log()
            for log in self.path("temp").glob("*.log"):
                log.unlink()
            text = re.sub(r"(Speed|Use all time|Filter|designed|Design).*", "", text.replace(f"{jobs}/CD", "OUT/CD"))
            reports.append(re.sub(r"[\d.]+ ?(ms|s)\b", "", text))
        self.assertEqual(*reports)
        for name in self.outputs("1"):
            self.assertEqual((self.path("1") / name).read_bytes(), (self.path("4") / name).read_bytes())
        self.assertNotIn("Bonus", "".join(self.outputs_of("album/CD0", "flat")))

    def outputs_of(self, given, out):
        self.batch("-i", given, "--outdir", out)
        return self.outputs(out)

    def test_inputs_by_pattern_and_as_plain_words(self):
        self.inputs("x1.wav", "x2.wav", "[y].wav")
        self.batch("x?.wav", "[y].wav", "--outdir", "o")
        self.assertEqual(self.outputs("o"), ["[y].dsf", "x1.dsf", "x2.dsf"])
        for shard, expected in (("1/2", ["1.dsf", "3.dsf"]), ("2/2", ["2.dsf"])):
            said = self.batch("x?.wav", "[y].wav", "--outdir", shard[0], "--shard", shard, "--naming-pattern", "{track}")
            self.assertEqual(self.outputs(shard[0]), expected)
            self.assertIn("/3] ", said)

    def test_settings_of_one_item(self):
        self.inputs("a.wav", "b.wav")
        config = {"defaults": {"sos-ef": 7}, "tracks": [{"input": "b.wav", "title": "So", "sos-ef": 5}]}
        self.path("c.json").write_text(json.dumps(config))
        self.batch("a.wav", "b.wav", "--batch-config", "c.json")
        for name, options in (("a", ["--sos-ef", "7"]), ("b", ["--sos-ef", "5", "--title", "So"])):
            self.convert("-i", f"{name}.wav", "alone.dsf", *options)
            self.assertEqual(self.path("alone.dsf").read_bytes(), self.path(f"output/{name}.dsf").read_bytes())
        self.path("c.json").write_text('{\n "defaults": {\n  "overampling": 128}}')
        said = self.batch("a.wav", "--batch-config", "c.json", "--outdir", "o")
        self.assertRegex(said, r"Warning: failed to load batch config: c.json: line 3: .*overampling.*oversampling")
        self.assertEqual(self.outputs("o"), ["a.dsf"])

    def test_a_plan_that_cannot_be_is_refused_as_a_whole(self):
        self.inputs("a/s.wav", "b/s.wav", "c/S.wav")
        self.path("file").write_text("no folder")
        for status, text, words in ((1, "s.dsf", ["a/s.wav", "b/s.wav"]), (1, "S.dsf", ["a/s.wav", "c/S.wav"]),
                                    (1, "..", ["a/s.wav", "--naming-pattern", "../{input}"]),
                                    (1, "/", ["a/s.wav", "--naming-pattern", "/tmp/{input}"]),
                                    (1, "name", ["a/s.wav", "--naming-pattern", "x" * 300]),
                                    (1, "none*", ["none*"]), (1, "file", ["file/*"]),
                                    (1, "--shard", ["a/s.wav", "--shard", "3/2"]),
                                    (1, "--pipe", ["a/s.wav", "--pipe"]),
                                    (-52, "Failed to create output directory: file/x",
                                     ["a/s.wav", "--outdir", "file/x"])):
            result = run("--batch", *words, cwd=self.folder)
            self.assertEqual(result.returncode, shell_status(status), (words, result.stderr))
            self.assertIn(text, result.stderr)
            self.assertNotIn("Batch [", result.stdout + result.stderr)
            self.assertEqual([p for p in self.folder.rglob("*.dsf")], [])

    def test_outputs_of_every_kind_are_planned_by_their_real_names(self):
        self.inputs("a/1.wav", "b/1.wav")
        names = ["--dxd", "--output-format", "wav", "--naming-pattern", "{track} {input}", "--outdir", "o"]
        self.batch("a/1.wav", "b/1.wav", *names)
        self.assertEqual(self.outputs("o"), ["1 1.wav", "2 1.wav"])
        for done in (0, 2):
            said = self.batch("-i", ".", "--recursive", "--skip-existing", *names)
            self.assertIn("Batch done: 2 OK, 0 failed", said, "the output directory is no input")
            self.assertEqual(said.count("(complete already)"), done)
        self.path("s.cue").write_text('FILE "a/1.wav" WAVE\n TRACK 01 AUDIO\n  INDEX 01 00:00:00\n')
        self.inputs("s_Track01.wav")
        to_wav = ["--dxd", "--output-format", "wav"]
        for words, text in ((["s.cue", "s_Track01.wav"], "would both be written"),
                            (["a/1.wav", *to_wav, "--outdir", "x/../a"], "would overwrite the input"),
                            (["a/1.wav", "--poly-save", "b/1.wav"], "--poly-save"),
                            (["a/1.wav", "--dst"], "--output-format dff"),
                            (["a/1.wav", "--format", "wsd"], "--output-format"), (["a/1.wav", "--shard", ""], "--shard")):
            result = run("--batch", *words, cwd=self.folder)
            self.assertEqual(result.returncode, 1, words)
            self.assertIn(text, result.stderr, words)
        music = self.path("b/1.wav").read_bytes()
        self.batch("-i", "b", "--preset-save", "b/1.wav", status=-58)
        self.assertEqual(self.path("b/1.wav").read_bytes(), music)
        self.assertIn("s_Track*.dsf", self.batch("s.cue"))
        self.assertEqual(self.outputs(), ["s_Track01.dsf"])

    def test_an_interrupted_batch_goes_on_where_it_stopped(self):
        self.inputs("1.wav", "2.wav", "3.wav", frames=600000)
        child = subprocess.Popen([sys.executable, "-c", HOST, LIBRARY, """
import threading, time
go = threading.Event()
def read(queue, buffer, size):
    go.wait()
    ctypes.memmove(buffer, b"stop\\n", 5)
    go.clear()
    return 5
keep.append(READ(read))
def watch():
    while not os.path.exists("output/1.dsf"): time.sleep(0.01)
    time.sleep(0.2)
    go.set()
threading.Thread(target=watch, daemon=True).start()
status = main("-inproc-ctl", "7", "-inproc-ctl-fn", str(ctypes.cast(keep[-1], ctypes.c_void_p).value), "--batch", "-i", "1.wav",
              "-i", "2.wav", "-i", "3.wav", "--jobs", "1")
os._exit(0 if status == -61 else 1)
"""], cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        said, _ = child.communicate(timeout=120)
        self.assertEqual(child.returncode, 0, said)
        self.assertIn("Batch done: 1 OK, 1 failed", said)
        self.assertTrue(Dsf(self.path("output/1.dsf")).consistent)
        self.assertFalse(Dsf(self.path("output/2.dsf")).consistent, "what was written stays; the header claims more")
        self.assertFalse(self.path("output/3.dsf").exists())
        first = self.path("output/1.dsf").stat().st_mtime_ns
        said = self.batch("1.wav", "2.wav", "3.wav", "--skip-existing")
        self.assertEqual(said.count("(complete already)"), 1)
        self.assertEqual(self.path("output/1.dsf").stat().st_mtime_ns, first)
        sizes = [self.path(f"output/{k}.dsf").stat().st_size for k in (1, 2, 3)]
        self.assertEqual(len(set(sizes)), 1)
        self.assertEqual(self.batch("1.wav", "2.wav", "3.wav", "--skip-existing").count("(complete already)"), 3)

    def test_a_full_disk_in_the_middle(self):
        disk = self.path("disk")
        disk.mkdir()
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=600k", "tmpfs", disk], capture_output=True).returncode:
            self.skipTest("needs the right to mount")
        self.addCleanup(subprocess.run, ["umount", disk])
        self.inputs("1.wav", "2.wav", "3.wav", "4.wav", frames=44100)  # 360 kB each
        said = self.batch("1.wav", "2.wav", "3.wav", "4.wav", "--outdir", "disk", "--jobs", "1", status=-1)
        self.assertIn("Batch done: 1 OK, 3 failed", said)
        self.assertEqual(self.outputs("disk"), ["1.dsf"])
        self.assertTrue(Dsf(disk / "1.dsf").consistent)

    def test_an_input_that_vanishes_fails_alone(self):
        self.inputs("1.wav", "2.wav", "3.wav", frames=300000)
        child = subprocess.Popen([os.fspath(run.__globals__["TESK"]), "--batch", "1.wav", "2.wav", "3.wav", "--jobs", "1"],
                                 cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.path("2.wav").unlink()  # long before its turn
        said, _ = child.communicate(timeout=120)
        self.assertIn("Batch done: 2 OK, 1 failed", said)
        self.assertEqual(child.returncode, shell_status(-51))


if __name__ == "__main__":
    unittest.main()
