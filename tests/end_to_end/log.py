"""Where text goes: console, log file, nowhere; and what standard output may carry."""
import os
import pty
import re
import subprocess
import unittest

from support import Case, TESK, run, sine, wav


class Log(Case):
    def setUp(self):
        super().setUp()
        wav(self.path("in.wav"), [sine(44100)] * 2)

    def on_terminal(self, *arguments, **options):
        """Runs tesk with both streams on a terminal; answers its text."""
        master, slave = pty.openpty()
        process = subprocess.Popen([TESK, *arguments], stdout=slave, stderr=slave, cwd=self.folder, **options)
        os.close(slave)
        text = b""
        while True:
            try:
                part = os.read(master, 65536)
            except OSError:
                break
            if not part:
                break
            text += part
        os.close(master)
        return process.wait(), text.decode(errors="replace").replace("\r\n", "\n")

    def test_in_a_pipe_everything_goes_to_the_log_but_how_it_ended(self):
        result = self.convert("-i", "in.wav", "out.dsf")
        self.assertEqual(result.stdout, "")
        lines = result.stderr.splitlines()
        self.assertRegex(lines[0], r"^SIMD: {15}\t")
        self.assertRegex(lines[1], r"^Report {14}\tDetected pipe output, redirecting logs to: .*TeskEngine_\d+\.log$")
        self.assertIn("\nOK.", result.stderr)
        log = self.log()
        self.assertIn("\nEnd Conversion.    \n", log)
        self.assertIn("Report                                  READ PCM              WRITE DSD\n", log)
        self.assertIn("\nend. retun 0.\n\nOK.                \n", log)
        self.assertIn("PCM Base SampleRate:\t44100 (Hz)\n", log)
        self.assertIn("DSD SampleRate:     \t2.8224MHz (DSD64)\n", log)
        self.assertNotIn("[PROGRESS]", log)
        self.assertNotIn("Progress:", log)

    def test_on_a_terminal_there_is_no_log_and_a_progress_line(self):
        status, text = self.on_terminal("-i", "in.wav", "out.dsf")
        self.assertEqual(status, 0)
        self.assertEqual(self.log(), "")
        self.assertIn("\nOK.", text)
        self.assertRegex(text, r"Progress:           \t\d+ / 44228 .*x .*left")
        self.assertRegex(text, r"Residual: RMS=0\.\d+, Peak=0\.\d+, SNR=\d+\.\d dB")

    def test_the_residual_knows_every_delay_on_the_way(self):
        wav(self.path("mono.wav"), [sine(44100)], bits=24)
        for words, least in (([], 100), (["-m"], 60), (["-t", "1000"], 70), (["--lal"], 100), (["--cifb", "11"], 80),
                             (["--lal", "--cifb", "7", "-m", "-t", "1000"], 50)):
            text = self.on_terminal("-i", "mono.wav", "out.dsf", *words)[1]
            self.assertGreater(float(re.search(r"Residual: .* SNR=([-\d.]+) dB", text)[1]), least, words)

    def test_quiet_leaves_errors_and_the_closing_lines(self):
        status, text = self.on_terminal("-i", "in.wav", "out.dsf", "--quiet")
        self.assertEqual(status, 0)
        self.assertNotIn("Loaded audio file", text)
        self.assertIn("\nOK.", text)
        status, text = self.on_terminal("-i", "missing.wav", "out.dsf", "--quiet")
        self.assertIn("missing.wav", text)
        self.assertIn("Error end. retun -51.", text)
        status, text = self.on_terminal("-i", "in.wav", "out.dsf", "--quiet", "-v")
        self.assertIn("Loaded audio file", text)

    def test_pipe_mode_keeps_standard_output_clean(self):
        for words in (["--pipe"], ["-"], ["--pipe", "--gui"]):
            result = subprocess.run([TESK, "-i", "in.wav", *words], capture_output=True, cwd=self.folder)
            self.assertEqual(result.returncode, 0)
            self.assertEqual(len(result.stdout) % (2 * 4704), 0)
            self.assertNotIn(b"Report", result.stdout)
            self.assertNotIn(b"PROGRESS", result.stdout)
        self.assertIn("Using stdout for DSD data output (pipe mode)", self.log())
        status, text = self.on_terminal("-i", "in.wav", "--pipe")
        self.assertEqual(status, 0)
        self.assertIn("Stdout is not a pipe, but pipe mode was requested", text)
        self.assertLess(len(text), 10000, "no DSD bytes on a terminal")

    def test_trace(self):
        environment = {**os.environ, "TESK_ENGINE_TRACE": "1"}
        result = run("-i", "in.wav", "out.dsf", cwd=self.folder, env=environment)
        self.assertTrue(result.stderr.startswith("[trace] entry\n"))
        environment["TESK_ENGINE_TRACE"] = str(self.path("trace.txt"))
        for _ in range(2):
            run("-i", "in.wav", "out.dsf", cwd=self.folder, env=environment)
        self.assertEqual(self.path("trace.txt").read_text(), "[trace] entry\n" * 2)

    def test_a_log_that_cannot_be_written_falls_back_to_the_console(self):
        environment = {**os.environ, "TEMP": "/nonexistent/folder"}
        result = run("-i", "in.wav", "out.dsf", cwd=self.folder, env=environment)
        self.assertEqual(result.returncode, 0)
        self.assertRegex(result.stderr, r"Warning {13}\tCannot open log file /nonexistent/folder/TeskEngine_\d+\.log, "
                                        r"falling back to stdout")
        self.assertIn("Loaded audio file", result.stderr)

    def test_without_temp_the_log_is_here(self):
        environment = {k: v for k, v in os.environ.items() if k not in ("TEMP", "TMP")}
        run("-i", "in.wav", "out.dsf", cwd=self.folder, env=environment)
        self.assertEqual(len([n for n in self.leftovers() if re.fullmatch(r"TeskEngine_\d+\.log", n)]), 1)

    def test_help_and_version(self):
        for words in (["--help"], ["-h"], ["--version"]):
            status, text = self.on_terminal(*words)
            self.assertEqual(status, 0)
            self.assertIn("Tesk", text)


if __name__ == "__main__":
    unittest.main()
