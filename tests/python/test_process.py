"""What the operating system and the interpreter do to the module: signals, exits, forks."""

import copy
import os
import pickle
import signal
import subprocess
import sys

import pytest

import kavelin

LIVE = """
import kavelin, os, signal, sys, threading
layout = kavelin.Layout({"layouts": [{"name": "l", "filters": [
    {"name": "rec", "type": "FilterCsvReader", "properties": {"File Name": sys.argv[1]}},
    {"name": "out", "type": "FilterCsvWriter", "properties": {"File Name": sys.argv[1] + ".out"}}]}],
    "connections": [{"from": "rec:3a", "to": "out:3a"}]})
def start_in_thread():
    thread = threading.Thread(target=layout.run, daemon=True)
    thread.start()
    while thread.is_alive() and not any(os.path.realpath(f"/proc/self/fd/{fd}") == sys.argv[1]
                                        for fd in os.listdir("/proc/self/fd")):
        pass
    sys.stdin.readline()  # until the test has opened the other end
"""
HEADER = "t,ax (m/s^2),ay (m/s^2),az (m/s^2)\n"


def open_when_read(path, child):
    while child.poll() is None:
        try:
            return open(os.open(path, os.O_WRONLY | os.O_NONBLOCK), "w", buffering=1)
        except OSError:  # nobody reads yet
            pass
    raise AssertionError(child.stderr.read())


@pytest.fixture
def live(tmp_path):
    """Runs code that runs a layout on a pipe; returns it when it reads, with the writing end."""
    def start(code):
        os.mkfifo(tmp_path / "pipe")
        child = subprocess.Popen([sys.executable, "-c", LIVE + code, str(tmp_path / "pipe")], text=True,
                                 stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        pipe = open_when_read(tmp_path / "pipe", child)
        pipe.write(HEADER + "0,0,0,9.81\n1,0,0,9.81\n")
        return child, pipe
    return start


@pytest.mark.parametrize("threads", [False, True])
def test_ctrl_c_ends_a_layout_that_waits_and_keeps_the_rows(live, tmp_path, threads):
    child, pipe = live(f"""
try:
    layout.run(threads={threads})
except KeyboardInterrupt:
    print("interrupted", signal.getsignal(signal.SIGINT) is signal.default_int_handler)
""")
    child.send_signal(signal.SIGINT)
    out, err = child.communicate(timeout=60)
    assert (out, err, child.returncode) == ("interrupted True\n", "", 0)
    # The signal may come before the rows are read: then there is no table.
    rows = (tmp_path / "pipe.out").read_text().splitlines() if (tmp_path / "pipe.out").exists() else []
    assert rows in ([], ["t,3a.x,3a.y,3a.z"], ["t,3a.x,3a.y,3a.z", "0,0,0,9.81"],
                    ["t,3a.x,3a.y,3a.z", "0,0,0,9.81", "1,0,0,9.81"])
    pipe.close()


def test_ctrl_c_ends_a_filter_that_computes():
    child = subprocess.Popen([sys.executable, "-c", """
import kavelin, numpy as np
t, a = np.arange(200000.0), np.ones((200000, 3))
f = kavelin.Filter("FilterSO3Attitude")
try:
    print("go", flush=True)
    while True:
        f.command("Reset")
        f.run(t, {"3a": a, "3g": a}, ["flag_rest"])
except KeyboardInterrupt:
    f.command("Reset")
    print(len(f.run(t[:9], {"3a": a[:9], "3g": a[:9]})["flag_rest"].t))
"""], text=True, stdout=subprocess.PIPE)
    assert child.stdout.readline() == "go\n"
    child.send_signal(signal.SIGINT)
    assert child.communicate(timeout=60)[0] == "9\n"


def has_open(child, path):
    folder = f"/proc/{child.pid}/fd"
    for fd in os.listdir(folder):
        try:
            if os.readlink(f"{folder}/{fd}") == str(path):
                return True
        except OSError:  # closed meanwhile
            pass
    return False


@pytest.mark.parametrize("call", ["fuse(sys.argv[1])", "fuse(sys.argv[2], reference=sys.argv[1])",
                                  "fuse(sys.argv[2]).errors(sys.argv[1])", "read(sys.argv[1])"])
def test_ctrl_c_ends_the_wait_for_the_writer_of_a_pipe(tmp_path, call):
    os.mkfifo(tmp_path / "pipe")
    child = subprocess.Popen([sys.executable, "-c", f"""
import kavelin, sys
try:
    kavelin.{call}
except KeyboardInterrupt:
    print(len(kavelin.read(sys.argv[2])))
""", tmp_path / "pipe", os.environ["KAVELIN_SOURCE_DIR"] + "/examples/walk.csv"], text=True, stdout=subprocess.PIPE)
    while not has_open(child, tmp_path / "pipe"):
        assert child.poll() is None
    child.send_signal(signal.SIGINT)
    assert child.communicate(timeout=60)[0] == "4000\n"


def test_a_subinterpreter_is_refused(python):
    interpreters = pytest.importorskip("_xxsubinterpreters")
    refused = python(f"""
import {interpreters.__name__} as interpreters
other = interpreters.create()
try:
    interpreters.run_string(other, "import kavelin")
except interpreters.RunFailedError as error:
    print(error)
interpreters.destroy(other)
import kavelin
print(len(kavelin.filters()) > 0)
""")
    assert "main interpreter only" in refused.stdout and refused.stdout.endswith("True\n"), refused.stderr


def test_what_is_bound_to_its_process_says_so():
    walk = os.environ["KAVELIN_SOURCE_DIR"] + "/examples/walk.csv"
    layout = kavelin.Layout(os.environ["KAVELIN_SOURCE_DIR"] + "/examples/imu.json")
    for thing in (kavelin.Filter("FilterCompass"), layout, kavelin.read(walk), kavelin.fuse(walk)):
        name = type(thing).__name__
        copies = [copy.copy, copy.deepcopy] if name in ("Filter", "Layout") else []
        for act in (pickle.dumps, *copies):
            with pytest.raises(kavelin.WrongType, match=f"a {name} can.* pickled: "):
                act(thing)
        assert copies or copy.copy(thing) is copy.deepcopy(thing) is thing
        with pytest.raises(AttributeError):
            thing.typo = 3
    errors = kavelin.fuse(walk).errors()
    assert pickle.loads(pickle.dumps(errors)).rms == errors.rms


def test_a_handler_of_a_signal_cannot_run_what_runs(live):
    child, pipe = live("""
signal.signal(signal.SIGUSR1, lambda *_: layout.run())
try:
    layout.run()
except kavelin.Error as error:
    print(error)
""")
    child.send_signal(signal.SIGUSR1)
    assert child.communicate(timeout=60)[0] == "a run of layouts is in use; a signal handler cannot use it then\n"
    pipe.close()


def test_exit_ends_what_runs_in_threads(live):
    child, pipe = live("""
import numpy as np
a, f = np.ones((100000, 3)), kavelin.Filter("FilterSO3Attitude")
def compute():
    while True:
        f.command("Reset")
        f.run(np.arange(100000.0), {"3a": a, "3g": a}, ["flag_rest"])
threading.Thread(target=compute, daemon=True).start()
threading.Thread(target=lambda: kavelin.Layout("none.json"), daemon=True).start()
start_in_thread()
""")
    out, err = child.communicate(timeout=60)
    assert child.returncode == 0, err
    pipe.close()


@pytest.mark.skipif("libasan" in os.environ.get("LD_PRELOAD", ""),
                    reason="the address sanitizer forks with its heap locked, if another thread is in it")
def test_a_fork_in_the_middle_of_a_run_is_told(live):
    child, pipe = live("""
start_in_thread()
if os.fork() == 0:
    kavelin.Filter("FilterCompass").process()
    try:
        layout.run()
    except kavelin.Error as error:
        print(error, flush=True)
    os._exit(0)
os.wait()
""")
    out = child.communicate(timeout=60)[0]
    assert out == ('a run of layouts was in use in another thread when this process was forked; start processes with the '
                   'method "spawn"\n')
    pipe.close()


@pytest.mark.parametrize("code", [
    "f = kavelin.Filter('FilterSO3Attitude'); r = f.run([0.0], {'3a': [[0, 0, 9.8]]}); x = r['attitude'].value; del f, r",
    "fs = [kavelin.Filter(t) for t in kavelin.filters()]; [str(f) + repr(f) for f in fs]; fs.reverse(); del fs[::2]",
    "kavelin.Filter.__new__(kavelin.Filter).process()",
    "kavelin._kavelin.FilterCore.__new__(kavelin._kavelin.FilterCore).process()",
    "import copy; copy.deepcopy(kavelin.Filter('FilterCompass'))",
    "f = kavelin.Filter('FilterCompass'); f.push('inMag', 0, [0] * 3); f.__init__('FilterSegment'); f.process()",
    "f = kavelin.Filter('FilterResampler'); f.run([], {'a': [], 'b': []}); f.run([0, 1], {'a': [1, 2]}); str(f)",
    "[kavelin.Filter(t).process() for t in kavelin.filters() if 'Csv' not in t and 'XSENS' not in t]",
    "f = kavelin.Filter('FilterCsvReader'); f['File Name'] = '/dev/null'; f.process()",
    "import gc; f = kavelin.Filter('FilterCompass'); f.me = f; del f; gc.collect()",
    "f = kavelin.Filter('FilterCompass'); f['\\udcff']",
    "f = kavelin.Filter('FilterCompass', name='x' * 100000); f.push('inMag', 1e308, [1e308] * 3); f.process()",
    "import sys, atexit; f = kavelin.Filter('FilterCompass'); atexit.register(f.process); sys.modules.clear()",
    "import atexit, builtins; builtins.f = kavelin.Filter('FilterCompass')",
])
def test_no_use_crashes_the_interpreter(python, code):
    ended = python("import kavelin\n" + code)
    assert "terminate called" not in ended.stderr and "AddressSanitizer" not in ended.stderr
