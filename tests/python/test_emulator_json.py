"""Each kind of line, of request, answer and event is in the emulator's JSON and in its schema."""

import json
import re

import pytest
import zrmirvo

SESSION = (
    *("attach 7", "state 7 -1", "orientation 7 2", "unavailable 7", "error 7 -5", "request 7 1 2"),
    *("request-data 7 48", "response 7", "time-date 7 1 2 3 4 5 6 7 8 9", "descriptor 7 05"),
    *("hid 7 FF", "raw 7 9 01", "notify 7 9 1", "detach 9", "help", "version 3.6.6", "clients"),
    *("repeat 2\nstate 7 3\nend", "on startup\nhid 7 01\nend", "on-next startup\nwait 1\nend"),
    *("ids 7", "descriptor-bytes 05C0", "include @script", "@requests", "clients"),
    *("to @monitor hid 7 02", "silent shutdown", "mistype startup", "no-reply connect"),
    *("delay disconnect 1", "answer getIds 4", "answer cookKeyEvent bytes 41", "version 3.6.5"),
    *("@requests", "wait-for startup", "arrived shutdown", "expect setConfigFile path=/etc/c"),
    *("normal startup", "once silent startup", "flatten 7", "attach", "expect startup flag"),
    *("drop 1", "expect-idle", "expect-no startup within 1", "expect disconnect arg=x"),
    "drop @monitor",
)


def perform_everything(mirvoctl):
    for name in (
        "startup",
        "shutdown",
        "connect",
        "disconnect",
        "ids",
        "hid_descriptor",
        "versions",
    ):
        getattr(mirvoctl, name)()
    mirvoctl.config_file("/etc/c")
    mirvoctl.bluetooth("name", 1)
    phone = mirvoctl.device(7)
    phone.key("back")
    phone.touch("down", (1, 2, 3))
    phone.cook_key(4, "up")
    phone.cook_touch(5, (1, 2, 3))
    phone.display(1, 2, 3, 4, 5)
    phone.feature(3, b"\x0a\x0b")
    phone.landscape(True)
    phone.focus(1, False)
    phone.pairing(True)
    phone.cook_calibrate()
    phone.calibrate()
    mirvoctl.device(8).calibrate()


def test_is_whole(emulator, monitor, zrmirvo_tools, tmp_path, lines, schemas):
    (tmp_path / "script").write_text("hid 7 03\n")
    environment = {**emulator.environment, "SERVICE_FRAMEWORK_TIMEOUT_MS": "200"}
    exits = []
    for entry in SESSION:
        if entry == "@requests":
            with zrmirvo.Ctl(zrmirvo_tools, environment=environment) as mirvoctl:
                perform_everything(mirvoctl)
            continue
        entry = entry.replace("@monitor", str(monitor.process.pid))
        try:
            emulator.command(*entry.replace("@script", str(tmp_path / "script")).splitlines())
        except zrmirvo.Refused:
            exits.append(2)
        except AssertionError:
            exits.append(4)
    assert exits == [2, 2, 2, 4, 4, 4, 4]
    emulator.quit()
    assert emulator.process.returncode == 4

    lines = lines["mirvo-emulator"]
    assert lines[-1].items() >= {"end": True, "exit": 4}.items()
    kinds = {next(key for key in line if key != "time") for line in lines}
    assert kinds == {"ready", "request", "event", "command", "clients", "help", "end"}
    kinds = schemas["mirvo-emulator"]["$defs"]
    answers = {name for line in lines for name in line.get("answer", {})}
    assert answers == set(kinds["request"]["properties"]["answer"]["properties"])
    events = {line["event"] for line in lines if "event" in line}
    assert events == set(kinds["event"]["properties"]["event"]["enum"])
    text = next(line["help"] for line in lines if "help" in line)
    commands = set(re.findall(r"^  ([a-z-]+)", text, re.M))
    given = {line.split()[0] for entry in SESSION for line in entry.splitlines()}
    assert commands - given == {"die", "hang", "quit"}


@pytest.mark.parametrize(
    "arguments, status, place",
    [
        (["--script", "SCRIPT"], 2, "SCRIPT:2"),
        (["--limit", "x"], 2, None),
        (["--dir", "/proc/none"], 1, None),
        (["--output", "/proc/none/file"], 1, None),
        (["--background", "--script", "SCRIPT"], 2, "SCRIPT:2"),
        (["--", "/none"], 2, None),
    ],
)
def test_says_why_it_does_not_serve(
    zrmirvo_tools, tmp_path, monkeypatch, validators, arguments, status, place
):
    monkeypatch.chdir(tmp_path)
    monkeypatch.setenv("SERVICE_FRAMEWORK_DIR", str(tmp_path))
    tmp_path.chmod(0o700)
    (tmp_path / "SCRIPT").write_text("attach\nflatten\n")
    ended = zrmirvo_tools.run(*zrmirvo_tools.command("mirvo-emulator", "--json", *arguments))
    printed = [json.loads(line) for line in ended.stdout.splitlines()]
    for line in printed:
        validators["mirvo-emulator"].validate(line)
    *_, refused, end = printed
    assert (ended.returncode, refused["exit"], end["exit"]) == (status, status, status)
    assert refused.get("place") == place
    assert refused["error"] in ended.stderr
