"""The example programs that run the engine in process: the one in Python, and the one in C++ as a project that finds the
engine where it was installed."""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

from support import BUILD, Case, Dsf, run, sine, wav

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"


def build_outside(folder):
    """Installs the engine and builds the examples against it, without the tree around them."""
    def cmake(*words):
        subprocess.run(["cmake", *map(str, words)], check=True, stdout=subprocess.DEVNULL)
    shutil.copytree(EXAMPLES, folder / "examples")
    cmake("--install", BUILD, "--prefix", folder / "prefix")
    cmake("-S", folder / "examples", "-B", folder / "build", f"-DCMAKE_PREFIX_PATH={folder / 'prefix'}")
    cmake("--build", folder / "build")
    return folder / "build" / "tesk_example_host"


class Hosts(Case):
    @classmethod
    def setUpClass(cls):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="tesk_hosts_"))
        cls.addClassCleanup(shutil.rmtree, folder, ignore_errors=True)
        cls.hosts = {"python": [sys.executable, EXAMPLES / "host.py", BUILD / "lib" / "libteskengine.so"],
                     "c++": [build_outside(folder)]}

    def test_a_conversion_is_the_one_of_the_program(self):
        wav(self.path("in.wav"), [sine(20000)] * 2)
        run("-i", "in.wav", "truth.dsf", cwd=self.folder)
        for name, host in self.hosts.items():
            with self.subTest(name):
                result = subprocess.run([*host, "-i", "in.wav", f"{name}.dsf"], cwd=self.folder, capture_output=True,
                                        text=True)
                self.assertEqual((result.returncode, result.stdout), (0, ""), result.stderr)
                percents = [float(found) for found in re.findall(r"\] +([\d.]+)%", result.stderr)]
                self.assertGreater(len(percents), 10)
                self.assertEqual((percents, percents[-1]), (sorted(percents), 100.0))
                self.assertIn("\ndone, status 0\n", result.stderr)
                self.assertEqual(self.path(f"{name}.dsf").read_bytes(), self.path("truth.dsf").read_bytes())

    def test_ctrl_c_keeps_what_was_written(self):
        wav(self.path("in.wav"), [sine(44100)] * 2)
        subprocess.run(["sox", "in.wav", "long.wav", "repeat", "200"], check=True, cwd=self.folder)
        for name, host in self.hosts.items():
            with self.subTest(name):
                process = subprocess.Popen([*host, "-i", "long.wav", f"{name}.dsf", "-os", "256"], cwd=self.folder,
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                seen = b""
                while b" 0.5%" not in seen:
                    seen += os.read(process.stderr.fileno(), 4096) or self.fail(seen)
                process.send_signal(signal.SIGINT)
                error = process.communicate(timeout=20)[1]
                self.assertEqual(process.returncode, 1, error)
                self.assertIn(b"status -61\n", error)
                dsf = Dsf(self.path(f"{name}.dsf"))
                self.assertEqual(len(dsf.data) % 8192, 0)
                self.assertTrue(0 < len(dsf.data) * 4 < dsf.samples, "less than announced, and not nothing")
                decoded = subprocess.run(["ffmpeg", "-v", "error", "-i", f"{name}.dsf", "-f", "s16le", "-ar", "44100", "-"],
                                         cwd=self.folder, capture_output=True, check=True).stdout
                self.assertGreater(len(decoded), 4 * 44100 // 2, "half a per cent of 201 s is a second")

    def test_failures_are_told(self):
        wav(self.path("in.wav"), [sine(3000)])
        for name, host in self.hosts.items():
            for status, words in ((-51, ["-i", "missing.wav", "x.dsf"]), (1, ["--no-such-option"]), (1, [])):
                with self.subTest(name, words=words):
                    result = subprocess.run([*host, *words], cwd=self.folder, capture_output=True, text=True)
                    self.assertEqual(result.returncode, 1)
                    self.assertIn(f"\nfailed, status {status}\n", result.stderr)


if __name__ == "__main__":
    unittest.main()
