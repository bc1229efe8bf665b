#!/usr/bin/env python3
"""Converts a recording and draws a bar of its own. Ctrl-C stops, and keeps what was written.

    examples/host.py LIBRARY ARGUMENTS...
    examples/host.py libteskengine.so.1 -i song.flac song.dsf --headroom auto
"""
import contextlib
import ctypes
import os
import re
import signal
import sys
import threading

STOPPED = -61
PROGRESS = re.compile(rb"\[PROGRESS\] (\d+\.\d)%")
READ_LINE = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int32)


class Control:
    """The channel: a pipe of lines that the engine's own thread reads. `arguments` tells the engine of it."""

    def __init__(self):
        self._reading, self._writing = os.pipe()
        self._lines = os.fdopen(self._reading, "rb")
        self._ended = threading.Event()
        self._function = READ_LINE(self._read_line)  # kept: the engine holds nothing but its address
        address = ctypes.cast(self._function, ctypes.c_void_p).value
        # The queue is not used, but a 0 would mean that there is none.
        self.arguments = ["-inproc-host", "-inproc-ctl", "1", "-inproc-ctl-fn", str(address)]

    def stop(self):
        os.write(self._writing, b"stop\n")

    def close(self):
        """Waits for the engine's thread: behind this, no native code calls back into Python."""
        os.close(self._writing)
        self._ended.wait(2)
        self._lines.close()

    def _read_line(self, _queue, buffer, size):
        line = self._lines.readline(size)
        ctypes.memmove(buffer, line, len(line))
        if not line or line == b"stop\n":  # behind either the engine asks no more
            self._ended.set()
        return len(line)


@contextlib.contextmanager
def captured_output():
    """Standard output of the whole process as a pipe; yields the end to read and a function that puts the old one
    back, which is also the end of the pipe."""
    libc = ctypes.CDLL(None)
    sys.stdout.flush()
    libc.fflush(None)
    before = os.dup(1)
    reading, writing = os.pipe()
    os.dup2(writing, 1)
    os.close(writing)

    def restore():
        libc.fflush(None)
        os.dup2(before, 1)

    try:
        with os.fdopen(reading, "rb") as lines:
            yield lines, restore
    finally:
        restore()
        os.close(before)


def run(library, arguments, on_progress, on_text):
    """Runs one job and returns the engine's status. Main thread only: it takes Ctrl-C while the job runs."""
    engine = ctypes.CDLL(library)
    control = Control()
    gui = [] if "--reverse" in arguments else ["--gui"]  # the way back knows no --gui
    words = [os.fsencode(word) for word in ["host", *control.arguments, *gui, *arguments]]
    argv = (ctypes.c_char_p * (len(words) + 1))(*words)
    status = []

    # The engine gets a thread of its own. Python's signal handlers run in the main thread, and only between
    # instructions of Python: inside a call of the engine, Ctrl-C would wait for its end.
    def engine_thread(restore):
        status.append(engine.tesk_engine_main(len(words), argv))
        restore()

    earlier = signal.signal(signal.SIGINT, lambda *_: control.stop())
    try:
        with captured_output() as (lines, restore):
            worker = threading.Thread(target=engine_thread, args=(restore,))
            worker.start()
            try:
                for line in lines:
                    found = PROGRESS.match(line)
                    if found:
                        on_progress(float(found.group(1)))
                    else:
                        on_text(line.decode(errors="replace").rstrip("\n"))
            except BaseException:
                control.stop()
                for _ in lines:  # read on: the engine must not get stuck at a full pipe
                    pass
                raise
            finally:
                worker.join()
    finally:
        signal.signal(signal.SIGINT, earlier)
        control.close()
    return status[0]


def draw_bar(percent):
    """On standard error: standard output is the engine's while a job runs."""
    print(f"\r[{'#' * int(percent * 0.4):<40}] {percent:5.1f}%", end="", file=sys.stderr, flush=True)


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    text = []
    status = run(sys.argv[1], sys.argv[2:], draw_bar, text.append)
    for line in text:
        print(line)
    told = {0: "done", STOPPED: "stopped; the file is readable up to there"}.get(status, "failed")
    print(f"\n{told}, status {status}", file=sys.stderr)
    sys.exit(0 if status == 0 else 1)


if __name__ == "__main__":
    main()
