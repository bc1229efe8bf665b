"""Everything that goes wrong: a clear text, the right status, nothing lost, nothing left that looks complete."""
import os
import pathlib
import signal
import struct
import subprocess
import sys
import time
import unittest

from support import Case, Dsf, TESK, run, shell_status, sine, wav


class Trouble(Case):
    def fails(self, status, text, *arguments):
        """The run fails with the status and the text, on standard error, and leaves the folder as it was."""
        before = {p.name: p.read_bytes() if p.is_file() else None for p in self.folder.iterdir() if p.name != "temp"}
        result = run(*arguments, cwd=self.folder)
        self.assertEqual(result.returncode, shell_status(status), result.stderr)
        self.assertIn(text, result.stderr)
        self.assertEqual(result.stdout, "")
        after = {p.name: p.read_bytes() if p.is_file() else None for p in self.folder.iterdir() if p.name != "temp"}
        self.assertEqual(before, after)
        return result

    def test_inputs_that_are_not_there_or_not_music(self):
        self.path("out.dsf").write_bytes(b"precious")
        self.path("noise.wav").write_bytes(os.urandom(5000))
        self.path("empty.wav").write_bytes(b"")
        self.path("short.flac").write_bytes(b"fLaC\0\0")
        self.path("folder.wav").mkdir()
        wav(self.path("odd.wav"), [sine(1000, 22050)], rate=22050)
        wav(self.path("silent.wav"), [[]])
        wav(self.path("seven.wav"), [sine(500)] * 7)
        self.fails(-51, "missing.wav", "-i", "missing.wav", "out.dsf")
        self.fails(-51, "Error", "-i", "noise.wav", "out.dsf")
        self.fails(-51, "Error", "-i", "empty.wav", "out.dsf")
        self.fails(-51, "Error", "-i", "short.flac", "out.dsf")
        self.fails(-51, "directory", "-i", "folder.wav", "out.dsf")
        self.fails(-45, "Not supprot this infile SampleRate", "-i", "odd.wav", "out.dsf")
        self.fails(-51, "samples", "-i", "silent.wav", "out.dsf")
        self.fails(-51, "--forcechannels", "-i", "seven.wav", "out.dsf")

    def test_every_prefix_of_a_file_ends_in_a_status(self):
        whole = wav(self.path("whole.wav"), [sine(40)] * 2).read_bytes()
        for cut in [*range(0, 60, 3), len(whole) // 2, len(whole) - 1]:
            self.path("cut.wav").write_bytes(whole[:cut])
            result = run("-i", "cut.wav", "cut.dsf", cwd=self.folder)
            self.assertIn(result.returncode, (0, shell_status(-51)), f"{cut}: {result.stderr}")
            if result.returncode == 0:
                self.assertTrue(Dsf(self.path("cut.dsf")).consistent)
                self.path("cut.dsf").unlink()
            self.assertFalse(self.path("cut.dsf").exists())

    def test_a_header_that_declares_too_much_is_refused_before_memory_is_taken(self):
        guid = bytes.fromhex("f3acd3118cd100c04f8edb8a")
        fmt = b"fmt " + guid + struct.pack("<Q", 40) + struct.pack("<HHIIHH", 1, 2, 44100, 176400, 4, 16)
        data = b"data" + guid + struct.pack("<Q", 24 + (1 << 42)) + b"\0" * 400
        head = b"riff" + bytes.fromhex("2e91cf11a5d628db04c10000") + struct.pack("<Q", 1 << 42) + b"wave" + guid
        self.path("lies.w64").write_bytes(head + fmt + data)
        self.fails(-51, "signal buffer is needed", "-i", "lies.w64", "out.dsf")

    def test_outputs_that_cannot_be(self):
        wav(self.path("in.wav"), [sine(1000)])
        self.path("folder.dsf").mkdir()
        os.symlink("in.wav", self.path("link.dsf"))
        self.fails(-52, "does not exist", "-i", "in.wav", "none/out.dsf")
        self.fails(-52, "directory", "-i", "in.wav", "folder.dsf")
        self.fails(-52, "input itself", "-i", "in.wav", "link.dsf")
        if os.geteuid() != 0:
            os.chmod(self.path("folder.dsf"), 0o500)
            self.fails(-52, "cannot write", "-i", "in.wav", "folder.dsf/out.dsf")

    def test_full_disks(self):
        wav(self.path("in.wav"), [sine(100000)] * 2)
        os.symlink("/dev/full", self.path("full.dsf"))
        result = run("-i", "in.wav", "full.dsf", cwd=self.folder)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("No space left", result.stderr)
        self.assertTrue(pathlib.Path("/dev/full").is_char_device() and self.path("full.dsf").is_symlink())
        with open("/dev/full", "wb") as full:
            result = subprocess.run([TESK, "-i", "in.wav", "--pipe"], stdout=full, stderr=subprocess.PIPE, cwd=self.folder)
        self.assertEqual(result.returncode, shell_status(-60))
        self.assertIn(b"Pipe write error", result.stderr)

    def test_a_disk_that_fills_up_loses_nothing(self):
        # A file size limit stands in for the small disk: no mount needed.
        wav(self.path("in.wav"), [sine(200000)] * 2)
        self.path("out.dsf").write_bytes(b"precious")
        result = subprocess.run(["bash", "-c", f"trap '' XFSZ; ulimit -f 1000; exec {TESK} -i in.wav out.dsf"],
                                capture_output=True, text=True, cwd=self.folder)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("fwrite failed", result.stderr)
        self.assertEqual(self.path("out.dsf").read_bytes(), b"precious")
        self.assertEqual(self.leftovers(), ["in.wav", "out.dsf"])

    def test_pipes_and_devices_are_written_directly(self):
        wav(self.path("in.wav"), [sine(20000)] * 2)
        run("-i", "in.wav", "file.dsf", cwd=self.folder)
        expected = self.path("file.dsf").read_bytes()
        os.mkfifo(self.path("fifo.dsf"))
        reader = subprocess.Popen(["cp", self.path("fifo.dsf"), self.path("copy.dsf")])
        result = run("-i", "in.wav", "fifo.dsf", cwd=self.folder)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(reader.wait(), 0)
        self.assertEqual(self.path("copy.dsf").read_bytes(), expected)
        self.assertTrue(self.path("fifo.dsf").is_fifo())
        result = subprocess.run([TESK, "-i", "in.wav", "/dev/stdout", "--format", "dsf"], capture_output=True,
                                cwd=self.folder)
        self.assertEqual((result.returncode, result.stdout), (0, expected), result.stderr)

    def test_a_disk_that_is_full_at_the_very_end_says_so(self):
        wav(self.path("in.wav"), [sine(1000)])
        # 8192 + 92 bytes of file, a limit of 8192: the last buffer does not fit.
        result = subprocess.run(["bash", "-c", f"trap '' XFSZ; ulimit -f 8; exec {TESK} -i in.wav out.dsf --title x"],
                                capture_output=True, text=True, cwd=self.folder)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("Error : ", result.stderr)
        self.assertEqual(self.leftovers(), ["in.wav"])

    def test_a_disk_that_fills_at_any_byte_of_the_tag_keeps_the_old_file(self):
        wav(self.path("in.wav"), [sine(20000)])
        self.path("out.dsf").write_bytes(b"precious")
        size = len(self.converted("in.wav", "--title", "x"))
        for limit in range(size - 300, size, 7):
            code = ("import resource, signal, os; signal.signal(signal.SIGXFSZ, signal.SIG_IGN);"
                    f"resource.setrlimit(resource.RLIMIT_FSIZE, ({limit}, {limit}));"
                    f"os.execv('{TESK}', ['tesk', '-i', 'in.wav', 'out.dsf', '--title', 'x'])")
            # The log would hit the limit as well; a folder that does not exist keeps it on the console.
            result = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, cwd=self.folder,
                                    env={**os.environ, "TEMP": "/nonexistent"})
            self.assertNotEqual(result.returncode, 0, f"{limit} of {size}")
            self.assertIn("Error : ", result.stderr)
            self.assertEqual(self.path("out.dsf").read_bytes(), b"precious")
        self.assertEqual(self.leftovers(), ["in.wav", "out.dsf"])

    def converted(self, name, *options):
        """The bytes of a conversion that leaves no trace."""
        run("-i", name, "whole.dsf", *options, cwd=self.folder)
        whole = self.path("whole.dsf").read_bytes()
        self.path("whole.dsf").unlink()
        return whole

    def test_closed_streams_and_scarce_threads_do_no_harm(self):
        wav(self.path("in.wav"), [sine(20000)] * 2)
        expected = self.converted("in.wav")
        for redirections in (">&- 2>&-", "<&- >&- 2>&-"):
            for temp in (os.environ["TEMP"], "/nonexistent"):
                result = subprocess.run(["bash", "-c", f"TEMP={temp} {TESK} -i in.wav out.dsf {redirections}"],
                                        cwd=self.folder)
                self.assertEqual(result.returncode, 0)
                self.assertEqual(self.path("out.dsf").read_bytes(), expected)
        if "sanitized" not in os.environ.get("TESK_KIND", ""):
            # Threads until the address space is used up: the music may find no room any more, but says so.
            result = subprocess.run(["bash", "-c", f"ulimit -v 2000000; TESK_ENGINE_THREADS=4000 {TESK} -i in.wav out.dsf"],
                                    capture_output=True, text=True, cwd=self.folder)
            self.assertIn(result.returncode, (0, shell_status(-51)), result.stderr)
            self.assertIn("end. retun", result.stderr)

    def test_long_names(self):
        wav(self.path("in.wav"), [sine(500)])
        for name in ("\u97f3" * 83 + ".dsf", "x" * 251 + ".dsf"):
            result = run("-i", "in.wav", name, cwd=self.folder)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertTrue(Dsf(self.path(name)).consistent)

    def test_a_cut_recording_is_converted_with_a_word(self):
        whole = wav(self.path("whole.wav"), [sine(5000)] * 2).read_bytes()
        self.path("cut.wav").write_bytes(whole[:1000])
        result = run("-i", "cut.wav", "out.dsf", cwd=self.folder)
        self.assertEqual(result.returncode, 0)
        self.assertIn("the header declares 5000 frames, the file holds 239", result.stderr)

    def test_a_closed_pipe_is_an_error_text(self):
        wav(self.path("in.wav"), [sine(300000)] * 2)
        process = subprocess.Popen([TESK, "-i", "in.wav", "-", "-os", "256"], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, cwd=self.folder)
        process.stdout.read(1000)
        process.stdout.close()
        self.assertIn(b"Pipe write error", process.stderr.read())
        self.assertEqual(process.wait(), shell_status(-60))
        process.stderr.close()

    def test_ctrl_c_keeps_what_was_written(self):
        wav(self.path("in.wav"), [sine(44100)] * 2, bits=24)
        subprocess.run(["sox", "in.wav", "long.wav", "repeat", "200"], check=True, cwd=self.folder)
        moments = set()
        for delay, request in ((0.0, signal.SIGINT), (0.02, signal.SIGTERM), (0.1, signal.SIGHUP),
                               (0.6, signal.SIGINT), (1.5, signal.SIGHUP)):
            process = subprocess.Popen([TESK, "-i", "long.wav", "stop.dsf"], stderr=subprocess.PIPE,
                                       stdout=subprocess.PIPE, cwd=self.folder)
            time.sleep(0.03 + delay)
            process.send_signal(request)
            if request == signal.SIGHUP:
                process.send_signal(request)  # from the shell and from the kernel
            error = process.communicate(timeout=60)[1]
            self.assertEqual(process.returncode, shell_status(-61), error)
            self.assertEqual(error.count(b"conversion aborted, output is incomplete"), 1)
            self.assertIn(b"Error end. retun -61.", error)
            moments.add(self.path("stop.dsf").exists())
            if self.path("stop.dsf").exists():
                dsf = Dsf(self.path("stop.dsf"))
                self.assertFalse(dsf.consistent, "the header claims what was expected")
                self.assertEqual(len(dsf.data) % 8192, 0)
                self.path("stop.dsf").unlink()
            self.assertEqual(self.leftovers(), ["in.wav", "long.wav"])
        self.assertIn(True, moments)

    def test_what_comes_later_is_refused_before_anything_is_opened(self):
        self.path("out.dsf").write_bytes(b"precious")
        for words in (["--record"], ["--lufs", "-14"], ["--dsee"]):
            self.fails(-55, words[0], "-i", "missing.wav", "out.dsf", *words)

    def test_refusals_name_the_mistake(self):
        self.fails(1, "looks like DSD", "-i", "song.DSF", "out.dsf")
        self.fails(1, "Oversampling must be a power of two", "-i", "a.wav", "out.dsf", "-os", "96")
        self.fails(1, "Oversampling value is NULL.", "-i", "a.wav", "out.dsf", "-os")
        self.fails(1, "unfound --oversmapling options", "-i", "a.wav", "out.dsf", "--oversmapling", "64")
        self.fails(1, "--oversampling", "-i", "a.wav", "out.dsf", "--oversmapling", "64")
        self.fails(1, "unsupported PDM output extension '.mp3'", "-i", "a.wav", "out.mp3")


if __name__ == "__main__":
    unittest.main()
