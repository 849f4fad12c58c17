"""Recordings: what they hold, and a service that plays one."""

import pytest
import zrmirvo

WATCH = ("monitor", "--until", "onHidEvent")


@pytest.fixture
def recorded(emulator, zrmirvo_tools, tmp_path):
    """A recording of a monitor of phone 7, in a file whose name is awkward."""
    file = str(tmp_path / "räd io.pcapng")
    command = ["mirvo-record", "-o", file, "--", zrmirvo_tools.find("mirvoctl"), *WATCH]
    emulator.ids(7)
    with zrmirvo.Application(command, emulator.environment, zrmirvo_tools) as monitor:
        monitor.expect_line("accessories=[7]")
        emulator.hid(7, b"A")
        assert monitor.wait() == 0
    return file


def test_iterates_over_a_recording(recorded, zrmirvo_tools):
    messages = list(zrmirvo.Recording(recorded, zrmirvo_tools))
    asked = {(m.name, m.accessory): m for m in messages if m.kind == "request"}
    assert asked["getVersion", None].fields == {"version": ""}
    assert asked["getIds", None].answer == {"ids": [7]}
    assert asked["getMirvo", 7].answer == {"result": 0}
    assert 0 < asked["getMirvo", 7].duration < 60
    events = [m for m in messages if m.kind == "event"]
    assert {(str(m), m.answer) for m in events} == {("onHidEvent accessory=7 data='41'", None)}
    assert {m.name for m in messages if m.kind == "record"} >= {"recording", "bound", "unbound"}
    assert [m.time for m in messages] == sorted(m.time for m in messages)
    # A reader that stops early leaves no process, and whoever comes later begins anew.
    assert str(next(iter(zrmirvo.Recording(recorded, zrmirvo_tools)))).startswith("recording ")


@pytest.mark.parametrize("content", [None, b"", b"no recording"])
def test_says_why_there_is_no_recording(zrmirvo_tools, tmp_path, content):
    file = tmp_path / "file"
    if content is not None:
        file.write_bytes(content)
    with pytest.raises(zrmirvo.Refused, match="file is no recording: "):
        list(zrmirvo.Recording(str(file), zrmirvo_tools))


def test_plays_a_recording(recorded, zrmirvo_tools):
    # The event must not overtake the monitor between its last request and its callback.
    slowly = ["--strict", "--speed", "0.05"]
    with zrmirvo.Emulator(zrmirvo_tools, replay=recorded, arguments=slowly) as emulator:
        with zrmirvo.Application(["mirvoctl", *WATCH], emulator.environment, zrmirvo_tools) as same:
            assert same.wait() == 0
        emulator.expect("getMirvo", accessory=7)
    assert emulator.replayed["asked"] == len(emulator.requests)
    assert (emulator.replayed["missing"], emulator.replayed["events"]) == (0, 1)

    with pytest.raises(
        AssertionError, match="the application asked startup, but the recording has"
    ):
        with zrmirvo.Emulator(zrmirvo_tools, replay=recorded, arguments=["--strict"]) as emulator:
            with zrmirvo.Ctl(zrmirvo_tools, environment=emulator.environment) as other:
                assert other.startup().ok
