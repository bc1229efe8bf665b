"""The engine inside another program: exports, several calls in one process, the control channel."""
import ctypes
import os
import subprocess
import sys
import unittest

from support import BUILD, Case, Dsf, sine, wav

LIBRARY = BUILD / "lib" / "libteskengine.so"

# Runs in a process of its own, because the engine's state is the process's.
HOST = r"""
import ctypes, os, sys
engine = ctypes.CDLL(sys.argv[1])
def main(*words):
    argv = (ctypes.c_char_p * (len(words) + 2))(b"host", *[w.encode() if w is not None else None for w in words])
    return engine.tesk_engine_main(len(words) + 1, argv)
READ = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int32)
def channel(lines):
    left = list(lines)
    def read(queue, buffer, size):
        assert queue == 7 and size == 4095
        if not left: return 0
        line = left.pop(0).encode()
        ctypes.memmove(buffer, line, len(line))
        return len(line)
    keep.append(READ(read))
    return ["-inproc-ctl", "7", "-inproc-ctl-fn", str(ctypes.cast(keep[-1], ctypes.c_void_p).value)]
keep = []
exec(sys.argv[2])
"""


class Host(Case):
    def host(self, code):
        result = subprocess.run([sys.executable, "-c", HOST, LIBRARY, code], capture_output=True, text=True,
                                cwd=self.folder, timeout=120)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result

    def test_nothing_but_the_two_functions_leaves_the_library(self):
        names = subprocess.run(["nm", "-D", "--defined-only", LIBRARY], capture_output=True, text=True, check=True).stdout
        exported = sorted(line.split()[-1].split("@")[0] for line in names.splitlines() if " A " not in line)
        self.assertEqual(exported, ["tesk_engine_main", "tesk_engine_set_process_owner"])
        dynamic = subprocess.run(["readelf", "-d", LIBRARY], capture_output=True, text=True, check=True).stdout
        self.assertIn("libteskengine.so.1", dynamic)

    def test_jobs_in_a_row_share_nothing(self):
        wav(self.path("a.wav"), [sine(5000)] * 2, bits=24)
        wav(self.path("b.wav"), [sine(3000, 96000, 5000)], rate=96000)
        self.host("""
assert engine.tesk_engine_set_process_owner(5) == 1
assert engine.tesk_engine_set_process_owner(0) == 0
assert main("-i", "a.wav", "a1.dsf", "--sos-ef", "5", "-abs", "0.5", "--title", "x") == 0
assert main("-i", "missing.wav", "no.dsf") == -51
assert main("-i", "b.wav", "b1.dsf", None) == 1, "a null word is an empty output name"
assert main("-i", "b.wav", "b1.dsf") == 0
assert main("-i", "a.wav", "a2.dsf") == 0
assert main("--preset-list") == 0
assert main("--preset-save", "mine.json", "-os", "128") == 0
assert main("-i", "missing.wav", "no.dsf") == -51, "lists and presets leave no status for the next call"
assert main("--version") == 0
assert main("-i", "missing.wav", "no.dsf") == 0, "the status left by the version banner"
assert main("-i", "missing.wav", "no.dsf") == -51
""")
        from support import run
        for name in ("a", "b"):
            run("-i", f"{name}.wav", f"{name}.dsf", cwd=self.folder)
        self.assertEqual(self.path("a2.dsf").read_bytes(), self.path("a.dsf").read_bytes())
        self.assertEqual(self.path("b1.dsf").read_bytes(), self.path("b.dsf").read_bytes())
        self.assertNotEqual(self.path("a1.dsf").read_bytes(), self.path("a.dsf").read_bytes())

    def test_control_channel(self):
        wav(self.path("a.wav"), [sine(100000)] * 2)
        for stop in ("stop\\r\\n", "quit\\n", "cancel", "q"):
            result = self.host(f"""
words = channel(["STOP\\n", "stop now\\n", "x\\n", "{stop}"])
import time
assert main(*words, "-inproc-host", "-i", "a.wav", "a.dsf", "-os", "1024") == -61
""")
            for ignored in ("STOP", "stop now", "x"):
                self.assertIn(f"[engine] inproc control: ignored command '{ignored}'", result.stderr)
            self.assertIn("[engine] host requested stop (inproc control channel)\n", result.stderr)
            self.assertIn("Error end. retun -61.", result.stderr)
        result = self.host("""
words = channel(["stop"])
words[3] = "0"
assert main(*words, "-i", "a.wav", "a.dsf") == 0
assert main(*channel([]), "-i", "a.wav", "b.dsf") == 0
""")
        self.assertNotIn("host requested stop", result.stderr)
        self.assertEqual(self.path("a.dsf").read_bytes(), self.path("b.dsf").read_bytes())

    def test_a_stopped_measurement_leaves_the_next_job_alone(self):
        wav(self.path("a.wav"), [sine(100000)] * 2)
        result = self.host("""
assert main("--measure", *["a.wav"] * 300, *channel(["stop"])) == -61
assert main("-i", "a.wav", "a.dsf") == 0
""")
        self.assertIn("[measure] stopped before the end of a.wav\n", result.stderr)
        self.assertLess(result.stdout.count("a.wav"), 300)

    def test_a_stopped_decimation_closes_its_file(self):
        wav(self.path("a.wav"), [sine(44100 * 8)] * 2)
        result = self.host("""
import time, wave
assert main("-i", "a.wav", "a.dsf") == 0
os.environ["TESK_PDM2PCM_BQ_BANK"] = "0"  # the slow form, so that there is something to stop
words = channel(["stop"])
def late(queue, buffer, size):
    time.sleep(0.3)
    ctypes.memmove(buffer, b"stop", 4)
    return 4
keep.append(READ(late))
words[3] = str(ctypes.cast(keep[-1], ctypes.c_void_p).value)
assert main("a.dsf", "a.wav16", "-b", "16", "--reverse", *words) == -61
file = wave.open("a.wav16")
assert 44 + 4 * file.getnframes() == os.path.getsize("a.wav16") and 0 <= file.getnframes() < 44100 * 8 - 64
""")
        self.assertIn("[engine] host requested stop (inproc control channel) -- conversion aborted, output is incomplete\n",
                      result.stderr)

    def test_gui_progress_goes_straight_to_standard_output(self):
        wav(self.path("a.wav"), [sine(10000)])
        result = self.host('assert main("-i", "a.wav", "a.dsf", "--gui") == 0')
        lines = result.stdout.splitlines()
        self.assertTrue(all(line.startswith("[PROGRESS] ") and line.endswith("%") for line in lines), lines)
        self.assertEqual(lines[-1], "[PROGRESS] 100.0%")
        values = [float(line[11:-1]) for line in lines]
        self.assertEqual(values, sorted(values))

    def test_headers_compile_alone_in_c_and_cpp(self):
        root = os.path.join(os.path.dirname(__file__), "..", "..")
        for header in ("tesk_engine.h", "inproc_ctl.h"):
            for compiler, standard in (("cc", "c11"), ("c++", "c++20")):
                subprocess.run([compiler, f"-std={standard}", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only",
                                "-x", "c" if compiler == "cc" else "c++", os.path.join(root, "public", header)], check=True)

    def test_a_host_with_a_decimal_comma(self):
        wav(self.path("a.wav"), [sine(3000)])
        subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8", self.path("de_DE.UTF-8")], check=True)
        os.environ["LOCPATH"] = str(self.folder)
        self.addCleanup(os.environ.pop, "LOCPATH")
        self.host("""
import locale
locale.setlocale(locale.LC_ALL, "de_DE.UTF-8")
assert locale.localeconv()["decimal_point"] == ","
assert main("-i", "a.wav", "a.dsf", "-abs", "0.5", "-b", "7.5") == 0
assert main("-i", "a.wav", "a.dsf", "-abs", "0,5") == 1
assert locale.localeconv()["decimal_point"] == ","
""")
        self.assertIn("\t7.500000\n", self.log())
        self.assertTrue(Dsf(self.path("a.dsf")).consistent)


if __name__ == "__main__":
    unittest.main()
