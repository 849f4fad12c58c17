"""The fixtures, in a pytest of their own."""

import os
import pathlib
import re
import select
import signal
import subprocess
import sys
import tempfile

import pytest
import zrmirvo

ROOT = pathlib.Path(__file__).resolve().parents[2]
PYTEST = [sys.executable, "-B", "-m", "pytest", "-p", "no:cacheprovider", "-p", "no:xdist"]


@pytest.fixture
def start(tmp_path, pytestconfig):
    """Starts pytest with a file of tests, and a folder for what would be left behind."""
    # The path of a socket is short.
    left = tempfile.TemporaryDirectory(dir="/tmp")

    def start_pytest(text, *options):
        (tmp_path / "test_inner.py").write_text(text)
        environment = {**os.environ, "TMPDIR": left.name, "PYTHONPATH": str(ROOT / "python")}
        tools = f"--zrmirvo-bin={os.path.abspath(pytestconfig.getoption('--zrmirvo-bin'))}"
        plugin = ["-p", "zrmirvo.pytest_plugin"]
        return subprocess.Popen(
            [*PYTEST, *plugin, tools, *options, str(tmp_path)],
            env=environment,
            cwd=tmp_path,
            text=True,
            stdout=subprocess.PIPE,
        )

    start_pytest.left = left.name
    with left:
        yield start_pytest
        assert os.listdir(left.name) == []


HEAD_UNIT = 'head_unit("sh", "-c", {!r})'
TESTS = """
def test_one(emulator, head_unit):
    application = {}
    {}
"""


@pytest.mark.parametrize(
    "program, test, failed, shown",
    [
        ("echo I begin; sleep 60", "application.expect_line('I begin')", False, "1 passed"),
        ("echo I begin; exit 3", "assert application.wait() == 0", True, "I begin"),
        (
            "echo I fall; kill -SEGV $$",
            "application.wait()",
            True,
            "crashed with SIGSEGV:\nE .*I fall",
        ),
        ("(kill -ABRT $$)", "application.expect_line('it')", True, "sh, which .* signal 6"),
        ("sh -c 'kill -BUS $$'; exit $?", "application.wait()", True, "crashed with SIGBUS"),
        (
            "echo a.cpp:1: runtime error: x; sleep 60",
            "application.expect_line('x')",
            True,
            "a sanitizer",
        ),
        (
            "trap 'echo ERROR: LeakSanitizer; exit' TERM; echo up; while :; do sleep 0.1; done",
            "application.expect_line('up')",
            True,
            "a sanitizer has reported",
        ),
        ("exit 0", "emulator.expect('startup', within=0.1)", True, "startup did not come in 0.1 s"),
        (
            "exit 3",
            "emulator.expect('startup', within=99)",
            True,
            "did not come: .* status 3; noth",
        ),
    ],
)
def test_a_head_unit_fails_its_test(start, program, test, failed, shown):
    with start(TESTS.format(HEAD_UNIT.format(program), test)) as run:
        output, _ = run.communicate(timeout=60)
    assert run.returncode == (1 if failed else 0), output
    assert ("1 failed" in output) == failed
    assert re.search(shown, output), output


def test_every_death_by_a_signal_of_others_is_a_crash():
    for name in ("PIPE", "KILL", "USR1", "XCPU"):
        with pytest.raises(AssertionError, match=f"crashed with SIG{name}"):
            with zrmirvo.Application(["sh", "-c", f"kill -{name} $$"]) as application:
                application.wait()
    with pytest.raises(AssertionError, match="crashed with signal 40"):
        with zrmirvo.Application(["sleep", "60"]) as application:
            os.kill(application.child.pid, 40)
            application.wait()
    with zrmirvo.Application(["sleep", "60"]) as application:
        application.child.send_signal(signal.SIGUSR1)
        assert application.wait() == -signal.SIGUSR1


PROMPT = "trap 'echo go; exit' USR1; printf 'one\nready> '; while :; do sleep 0.02; done"


def test_sees_a_line_without_an_end(monkeypatch):
    with zrmirvo.Application(["sh", "-c", PROMPT]) as application:
        assert application.expect_line("ready>") == "ready> "
        assert application.log == "one\nready> "
        with pytest.raises(AssertionError):
            application.expect_line("ready>", within=0)
        application.child.send_signal(signal.SIGUSR1)
        application.wait()
        with pytest.raises(AssertionError, match="did not print 'ready>':\none\nready> go$"):
            application.expect_line("ready>")
    monkeypatch.setattr("zrmirvo.application._SETTLED", 60)
    with zrmirvo.Application(["sh", "-c", "printf a=1; sleep 0.05; echo 2; printf b"]) as growing:
        assert growing.expect_line("a=") == "a=12"
        assert growing.expect_line("b") == "b"


@pytest.fixture
def prefix(tmp_path):
    """As ssh is: another environment, a shell that splits words anew, and 255 for any signal."""
    path = tmp_path / "elsewhere"
    path.write_text(
        '#!/bin/sh\nenv -i PATH="$PATH" sh -c "exec $*"\nstatus=$?\n'
        "[ $status -lt 129 ] && exit $status; exit 255\n"
    )
    path.chmod(0o755)
    return f"--zrmirvo-target={path}"


RECORDED = """
import pytest

@pytest.fixture
def started(head_unit):
    application = head_unit("mirvoctl", "startup")
    assert application.wait() == 0
    yield application
    {}

@pytest.mark.parametrize("name", ["a b", "a/b"])
def test_one(started, name):
    {}
"""


@pytest.mark.parametrize("elsewhere", [False, True])
@pytest.mark.parametrize(
    "teardown, test, kept", [("", "pass", 0), ("", "assert name > 'a.'", 1), ("1 / 0", "pass", 2)]
)
def test_keeps_the_recordings_of_failed_tests(
    start, prefix, zrmirvo_tools, tmp_path, elsewhere, teardown, test, kept
):
    options = ["--zrmirvo-record=kept/here", *([prefix] if elsewhere else [])]
    with start(RECORDED.format(teardown, test), *options) as run:
        output, _ = run.communicate(timeout=60)
    recordings = [str(path) for path in (tmp_path / "kept/here").iterdir()]
    assert len(recordings) == kept, output
    for path in recordings:
        asked = {m.name: m.answer for m in zrmirvo.Recording(path, zrmirvo_tools)}
        assert asked["startup"] == {"result": 0}
        assert os.path.relpath(path, tmp_path) in output


def test_finds_a_crash_behind_a_prefix(start, prefix, tmp_path):
    (tmp_path / "crash").write_text("#!/bin/sh\necho I fall\nkill -SEGV $$\n")
    (tmp_path / "crash").chmod(0o755)
    with start(TESTS.format(f'head_unit("{tmp_path}/crash")', "application.wait()"), prefix) as run:
        output, _ = run.communicate(timeout=60)
    assert "1 failed" in output and "crashed, or its connection did:\nE" in output, output


KILLED = """
import os
import time
from zrmirvo.supervisor import Supervisor

def test_everything(emulator, mirvoctl, monitor, head_unit):
    # Another supervisor has to know what this one knew.
    first = Supervisor.of_process()._process
    first.kill()
    first.wait()
    application = head_unit("sh", "-c", "sleep 60 & echo $!; wait")
    child = int(application.expect_line(""))
    emulator.hang()
    pids = [p.process.pid for p in (emulator, mirvoctl, monitor)] + [application.child.pid, child]
    forked = os.fork()
    if not forked:
        time.sleep(60)
        os._exit(0)
    print("pids", *pids, forked, flush=True)
    application.wait(60)
"""


def test_nothing_is_left_when_pytest_is_killed(start):
    with start(KILLED, "-s") as run:
        line = next(line for line in run.stdout if "pids" in line)
        *pids, forked = (int(word) for word in line.partition("pids")[2].split())
        children = f"/proc/{run.pid}/task/{run.pid}/children"
        supervisors = set(map(int, pathlib.Path(children).read_text().split())) - {*pids, forked}
        assert len(pids) == 5 and len(supervisors) == 1 and os.listdir(start.left)
        ends = select.poll()
        for pid in (*pids, *supervisors):
            ends.register(os.pidfd_open(pid), select.POLLIN)
        run.kill()
    remaining = len(pids) + 1
    while remaining:
        ended = ends.poll(20000)
        assert ended, f"{remaining} processes are left"
        for fd, _ in ended:
            ends.unregister(fd)
            os.close(fd)
            remaining -= 1
    os.kill(forked, signal.SIGKILL)


def test_works_behind_a_prefix(start, prefix):
    text = """
def test_one(emulator, mirvoctl, monitor, head_unit):
    print("folder", emulator.folder)
    application = head_unit("head_unit")
    emulator.expect("connect")
    emulator.expect("getIds")
    emulator.attach(7)
    monitor.expect("onAttach", accessory=7)
    assert mirvoctl.ids()["ids"] == [7]
    emulator.hang()
    emulator.resume()
    emulator.expect("sendVideoFocus", accessory=7)
    emulator.die()
    emulator.restart()
    emulator.hang()
"""
    with start(text, prefix, "-s") as run:
        output, _ = run.communicate(timeout=60)
    assert "1 passed" in output, output
    folder = re.search(r"folder (\S+)", output)[1]
    assert not os.path.exists(folder)
