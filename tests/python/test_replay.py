"""Recordings that are shown, compared, turned into scripts and played again, by the tools."""

import json
import os
import pathlib
import re
import shlex
import signal
import tempfile

import pytest
import zrmirvo

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
PRESS = "mirvoctl device 7 key menu down"
BACK = "mirvoctl device 7 key back down"


class Bench:
    """Runs command lines in a folder of their own, whose files they name."""

    def __init__(self, tools, folder):
        # Programs start one another, by their names.
        path = f"{tools.folder}{os.pathsep}{os.environ['PATH']}"
        self.tools = tools.with_environment(
            PATH=path, SERVICE_FRAMEWORK_DIR=folder, ZRMIRVO_LOG="fatal"
        )

    def run(self, line):
        tool, *words = shlex.split(line)
        return self.tools.run(self.tools.find(tool), *words)

    def start(self, *command):
        return zrmirvo.Application(command, tools=self.tools)

    def serve(self, options, line):
        return self.run(f"mirvo-emulator --quiet {options} -- {line}")

    def record(self, script, name, line):
        pathlib.Path("script").write_text(script)
        return self.serve("--script script", f"mirvo-record -o {name} -- {line}")

    def record_event(self, name):
        with zrmirvo.Emulator(self.tools, folder=os.getcwd()) as emulator:
            emulator.ids(7)
            watch = ("mirvoctl", "monitor", "7", "--count", "1")
            with self.start("mirvo-record", "-o", name, "--", *watch) as monitor:
                monitor.expect_line("accessories=[7]")
                emulator.state(7, 1)
                assert monitor.wait() == 0

    def diff(self, words):
        ended = self.run(f"mirvoctl recording diff {words}")
        assert (ended.returncode, ended.stdout == "") in ((0, True), (1, False)), ended
        return plain(ended.stdout)


def plain(text):
    """The lines without their times."""
    return re.sub(r"^\[[^]]*\] | \([^()]* ms\)$", "", text, flags=re.M)


def blocks_of(recording):
    """The blocks of a recording, and the kind of each."""
    blocks = []
    while recording:
        size = int.from_bytes(recording[4:8], "little")
        blocks.append(bytearray(recording[:size]))
        recording = recording[size:]
    kinds = [int.from_bytes(block[62:64], "little") if block[0] == 6 else 0 for block in blocks]
    return kinds, blocks


def with_early_removal(recording):
    """The same, but a listener was removed just before its event was recorded."""
    kinds, blocks = blocks_of(recording)
    event, removed = kinds.index(6), kinds.index(105)
    blocks[removed][44:52] = blocks[event - 1][44:52]
    blocks.insert(event, blocks.pop(removed))
    return b"".join(blocks)


def with_event_at_once(recording):
    """The same, but the last listener was set half a second late, and had its event at once."""
    kinds, blocks = blocks_of(recording)
    listening = len(kinds) - 1 - kinds[::-1].index(104)
    kind_and_listener = [(kind, block[40:44]) for kind, block in zip(kinds, blocks)]
    event = blocks.pop(kind_and_listener.index((6, blocks[listening][40:44])))
    event[44:52] = blocks[listening][44:52]
    time = int.from_bytes(event[44:52], "little") + 500_000_000
    blocks[listening][44:52] = time.to_bytes(8, "little")
    blocks.insert(listening + 1, event)
    return b"".join(blocks)


def with_requests_in_callbacks(recording, threads):
    """The same, but its last requests were made in callbacks, on these threads."""
    kinds, blocks = blocks_of(recording)
    events, ends = ([i for i, k in enumerate(kinds) if k == kind] for kind in (6, 107))
    asked = [i for i, kind in enumerate(kinds) if kind == 1][-len(events) :]
    listener = blocks[events[0]][40:44]
    moved = {}
    for thread, event, request, end in zip(threads, events, asked, ends):
        for place in (event, request, request + 1, end):
            blocks[place][32:36] = thread.to_bytes(4, "little")
            moved[place] = blocks[place]
        blocks[event][40:44] = listener
    rest = [block for place, block in enumerate(blocks) if place not in moved]
    return b"".join(rest + list(moved.values()))


def with_late_loss(recording):
    """The same, but the loss is recorded half a second after the next service has answered."""
    kinds, blocks = blocks_of(recording)
    lost = kinds.index(106)
    answered = kinds.index(2, kinds.index(101, lost))
    time = int.from_bytes(blocks[answered][44:52], "little") + 500_000_000
    between, late = [], []
    for kind, block in zip(kinds[lost : answered + 1], blocks[lost:]):
        # A reply that was under way when the service was lost is not late.
        is_late = kind > 100 and block[36:40] == blocks[lost][36:40]
        (late if is_late else between).append(block)
    for block in late:
        block[44:52] = time.to_bytes(8, "little")
    return b"".join(blocks[:lost] + between + late + blocks[answered + 1 :])


def with_loss_before_last_request(recording):
    """The same, but the service was lost before that, half a second after the other requests."""
    kinds, blocks = blocks_of(recording)
    last = len(kinds) - 1 - kinds[::-1].index(1)
    time = int.from_bytes(blocks[last][44:52], "little") + 500_000_000
    lost = blocks[kinds.index(104)][:80] + (2).to_bytes(4, "little")
    lost += (len(lost) + 4).to_bytes(4, "little")
    fields = ((4, len(lost)), (20, 56), (24, 56), (62, 0xFFFF006A), (66, 0xFFFF), (72, 4))
    for place, value in fields:
        lost[place : place + 4] = value.to_bytes(4, "little")
    # There was no reply to the request.
    blocks[last + 1][62:64] = (3).to_bytes(2, "little")
    for block in (lost, *blocks[last:]):
        block[44:52] = time.to_bytes(8, "little")
    return b"".join(blocks[:last] + [lost] + blocks[last:])


@pytest.fixture
def bench(zrmirvo_tools, monkeypatch):
    with tempfile.TemporaryDirectory(dir="/tmp") as folder:
        monkeypatch.chdir(folder)
        yield Bench(zrmirvo_tools, folder)
        monkeypatch.undo()


def test_plays_the_demo_in_both_directions(bench):
    # The service crashes in it and is found again.
    serve = ("mirvo-emulator", "--script")
    scenario = str(EXAMPLES / "head_unit.scenario")
    with zrmirvo.Emulator(bench.tools, script=scenario, folder=os.getcwd()) as service:
        with bench.start("mirvo-record", "-o", "a", "--", "head_unit") as application:
            assert service.process.wait() == -9
            with bench.start(*serve, str(EXAMPLES / "head_unit_recovery.scenario")):
                assert application.wait() == 0
    for speed in ("1", "max"):
        replayed = f"a --patience 60000 --speed {speed}"
        replay = f"--strict --replay {replayed}"
        again = bench.serve(replay, "mirvo-record -o b -- head_unit")
        assert "otherwise=0 missing=0 events=17 early=0" in again.stdout, again
        other = bench.serve(replay, f"mirvo-record -o c -- mirvoctl replay {replayed}")
        assert "otherwise=0 " in other.stdout, other
        assert (again.returncode, other.returncode) == (0, 0), other
        assert bench.diff("a b") == bench.diff("a c") == ""

    # It binds to the next service when this one is lost, not before.
    pathlib.Path("late").write_bytes(with_late_loss(pathlib.Path("a").read_bytes()))
    late = "late --patience 60000"
    other = bench.serve(f"--replay {late} --strict", f"mirvoctl replay {late}")
    assert other.returncode == 0, other


def test_answers_nothing_after_the_loss(bench):
    # The application is quicker than when it was recorded, so its last request comes before it.
    bench.record("ids 7", "a", "mirvoctl device 7 key menu")
    recording = pathlib.Path("a").read_bytes()
    pathlib.Path("lost").write_bytes(with_loss_before_last_request(recording))
    again = bench.serve("--replay lost --strict", "mirvoctl device 7 key menu")
    assert "asked=5 again=0 otherwise=0 missing=0" in again.stdout, again
    assert (again.returncode, again.stdout.count("ok")) == (1, 1), again
    assert bench.serve("--replay lost --strict", "mirvoctl replay lost").returncode == 0


def test_an_event_comes_while_its_listener_is_set(bench):
    bench.record_event("a")
    recording = pathlib.Path("a").read_bytes()
    # None is waited for after its listener was removed, and none leaves before that is set.
    for changed in (with_early_removal, with_event_at_once):
        pathlib.Path("b").write_bytes(changed(recording))
        replay = "b --patience 5000"
        other = bench.serve(f"--replay {replay} --strict", f"mirvoctl replay {replay}")
        assert (other.returncode, "missed=0" in other.stdout) == (0, True), (changed, other)


def test_takes_a_recording_to_another_framework_and_back(bench):
    # This framework delivers inside a request.
    other = pathlib.Path(bench.tools.folder).parent / "tests" / "library"
    if not other.is_dir():
        pytest.skip("there is no other framework beside these tools")
    here = bench.tools
    bench.tools = here.with_environment(LD_LIBRARY_PATH=str(other))
    assert bench.run("mirvo-record -o a -- other_framework_test").returncode == 0
    there = bench.run("mirvoctl replay a")
    bench.tools = here
    assert there.stdout == "requests=2 otherwise=0 events=1 missed=0 others=0\n", there
    for line in ("other_framework_test", "mirvoctl replay a"):
        ended = bench.serve("--replay a --strict", f"mirvo-record -o b -- {line}")
        assert "otherwise=0 missing=0 events=1" in ended.stdout, ended
        assert ended.returncode == 0, ended
    # The application does not wait for the event, but its replay does.
    assert bench.diff("a b") == ""


REFUSED = "sendKeyEvent accessory=7 keyCode=2 flag=true -> result=5\n"


def test_shows_what_the_emulator_prints(bench, validators):
    script = "ids 7\nanswer sendKeyEvent 5\non sendKeyEvent\nstate 7 1\nend"
    assert bench.record(script, "a", PRESS).returncode == 1
    bench.record("ids 7", "b", PRESS)
    shown = {"--failed": REFUSED}
    shown["--accessory 7 --only getMirvo --only sendKeyEvent"] = (
        "getMirvo accessory=7 -> result=0\n" + REFUSED
    )
    for none in ("--accessory 8", "--thread 1", "--slower 100000", "--from 100000"):
        shown[none] = ""
    for options, lines in shown.items():
        assert plain(bench.run(f"mirvoctl recording show a {options}").stdout) == lines, options
    stats = bench.run("mirvoctl recording stats a").stdout
    assert "\nsendKeyEvent                        1          1 " in stats
    assert "the end of the recording\n" in stats

    for line, status, part in (
        ("recording show a", 0, '{"keyCode":2,"flag":true},"answer":{"result":5}'),
        ("recording stats a", 0, '"operation":"recording stats"'),
        ("recording diff a b", 1, '"difference":"answer","thread":1,"accessory":7'),
        ("recording script a", 0, '"operation":"recording script"'),
        ("replay a --patience 10", 1, '"answer":{"result":0},"recorded":{"result":5}'),
    ):
        # The script is still that of a healthy service.
        ended = bench.serve("--script script", f"mirvoctl --json {line}")
        assert ended.returncode == status and part in ended.stdout, ended
        for text in ended.stdout.splitlines()[1:]:
            validators["mirvoctl"].validate(json.loads(text))


def test_tells_differences(bench):
    for name, script, line in (
        ("a", "ids 7\non sendKeyEvent\nstate 7 1\nend", PRESS),
        ("b", "ids 7\nanswer sendKeyEvent 5", PRESS),
        ("c", "ids 7", BACK),
        ("d", "ids 7", "mirvoctl device 7 touch down 1,2,3"),
        ("e", "ids 7", "mirvoctl device 7 touch down 1,2,3 --time 9"),
    ):
        bench.record(script, name, line)
    assert "sendKeyEvent accessory=7 keyCode=2 flag=true -> result=0\n" in bench.diff("a b")
    assert "keyCode=2" in bench.diff("b c")
    assert "sendKeyEvent" not in bench.diff("b c --ignore keyCode --ignore result")
    assert bench.diff("d e") == ""


def test_counts_what_callbacks_ask_as_one_thread(bench):
    # The framework delivers on any of its threads.
    bench.record_event("a")
    recording = pathlib.Path("a").read_bytes()
    for name, threads in (("b", (1, 1)), ("c", (1, 2))):
        _, blocks = blocks_of(with_requests_in_callbacks(recording, threads))
        # The recording may end before the last callback does.
        pathlib.Path(name).write_bytes(b"".join(blocks[: -threads[1] + 1 or None]))
    assert bench.diff("b c") == ""


def test_notices_another_application(bench):
    # It asks otherwise, more often, less often, or too late.
    bench.record("ids 7\nanswer sendKeyEvent 5", "a", PRESS)
    bench.record_event("b")
    otherwise = (
        "the application asked sendKeyEvent accessory=7 keyCode=4 flag=true, but the recording"
        " has sendKeyEvent accessory=7 keyCode=2 flag=true"
    )
    for options, line, status, said in (
        ("a", BACK, 0, "otherwise=1 missing=1"),
        ("a --ignore keyCode --strict", BACK, 1, "otherwise=0 missing=0"),
        ("a --strict", BACK, 4, otherwise),
        ("a --strict", "mirvoctl version", 4, "recorded requests have not come"),
        ("a", f"sh -c '{PRESS}; {PRESS}'", 1, "again=5 otherwise=0 missing=0"),
        ("b --patience 10", "mirvoctl version", 0, "events=1 early=1\n"),
        ("b --patience 10 --strict", "mirvoctl version", 4, "mirvo-emulator: "),
    ):
        ended = bench.serve(f"--replay {options}", line)
        assert ended.returncode == status, (options, ended)
        assert said in ended.stdout + ended.stderr, (options, ended)


def test_is_judged_when_it_is_ended(bench):
    # Without a program, that is the only end of a replay.
    bench.record("ids 7", "a", PRESS)
    for line, status in ((PRESS, 0), ("mirvoctl version", 4)):
        with bench.start("mirvo-emulator", "--replay", "a", "--strict") as service:
            service.expect_line("ready: ")
            bench.run(line)
            service.child.send_signal(signal.SIGINT)
            assert service.wait() == status, service.log
        assert ("recorded requests have not come" in service.log) == (status == 4), service.log


def test_ends_with_its_service_and_by_a_signal(bench):
    bench.record_event("a")
    with zrmirvo.Emulator(bench.tools, folder=os.getcwd()) as emulator:
        emulator.ids(7)
        for signalled, status, said in (
            (True, 4, "mirvoctl: a signal came after "),
            (False, 3, "mirvoctl: the service was lost after "),
        ):
            # It waits for the event, which does not come.
            with bench.start("mirvoctl", "replay", "a", "--patience", "60000") as player:
                emulator.expect("setNotifier")
                if signalled:
                    player.child.send_signal(signal.SIGINT)
                else:
                    emulator.die()
                assert player.wait() == status, player.log
            assert said in player.log


def test_ends_when_it_cannot_start_as_many_threads(bench):
    limits = "ulimit -s 1000000 && ulimit -v 8000000 && exec mirvoctl"
    if bench.run(f"sh -c '{limits} --version'").returncode != 0:
        pytest.skip("these tools do not start with so little memory")
    bench.record("ids 7", "a", PRESS)
    _, blocks = blocks_of(pathlib.Path("a").read_bytes())
    for thread, block in enumerate(blocks):
        if block[0] == 6:
            block[32:36] = thread.to_bytes(4, "little")
    pathlib.Path("b").write_bytes(b"".join(blocks))
    ended = bench.serve("--replay b", f"sh -c '{limits} replay b'")
    assert (ended.returncode, "can be started here: " in ended.stderr) == (4, True), ended


def test_its_application_meets_the_script_of_a_recording(bench):
    keys = "device 7 key menu\ndevice 7 cook-key menu down\n"
    # The text is not UTF-8.
    text = f"{keys}device 8 calibrate\ndevice 9 calibrate\nids\nconnect a\udcff\n"
    pathlib.Path("input").write_text(text, errors="surrogateescape")
    shell = "sh -c 'mirvoctl --wait 1 shell <input'"
    answers = "once answer sendKeyEvent 5\nanswer cookKeyEvent bytes 0A0B\n"
    script = f"ids 7 8\nversion 3.6.9\n{answers}no-reply sendCalibrateEvent"
    assert bench.record(script, "a", shell).returncode == 1
    script = bench.run("mirvoctl recording script a").stdout
    assert "version 3.6.9\nids 7 8\n" in script and "answer sendKeyEvent@7 5\n" in script
    assert "answer cookKeyEvent@7 bytes 0A0B\nno-reply sendCalibrateEvent@8\n" in script
    assert "getMirvo@9 " not in script and "\ufffd" not in script
    bench.record(script, "b", shell)
    assert bench.diff("a b") == ""


def test_refuses_what_cannot_be_replayed(bench):
    bench.record("ids 7", "a", f"env ZRMIRVO_RECORDING_WITHOUT=text {PRESS}")
    for name in ("good", "other"):
        bench.record("ids 7", name, PRESS)
    bench.tools.run("sh", "-c", "cat good other >two; echo no recording >text")
    damaged = bytearray(pathlib.Path("good").read_bytes())
    end = len(damaged)
    for _ in range(2):
        end -= int.from_bytes(damaged[end - 4 : end], "little")
    # The last packet but one is days later than the last.
    damaged[end + 28 + 16 + 6] ^= 1
    pathlib.Path("damaged").write_bytes(damaged)
    for name, sentence in (
        ("none", "the file cannot be read"),
        ("text", "this is no pcapng file"),
        ("a", "without all contents"),
        ("damaged", "its times go back"),
        ("two", "more than one process"),
    ):
        for line in (f"mirvo-emulator --replay {name}", f"mirvoctl replay {name}"):
            ended = bench.run(line)
            assert ended.returncode == 2 and sentence in ended.stderr, (line, ended)
    assert bench.run("mirvoctl recording script good --life 2").returncode == 2
    assert bench.run("mirvoctl replay good --patience 10").returncode == 3
