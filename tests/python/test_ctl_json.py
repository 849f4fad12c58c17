"""mirvoctl's shell answers each line by one object, and finds each service that comes."""

import zrmirvo

LINES = [
    ("version", {"operation": "getVersion", "ok": True, "status": 0}),
    ("connect x", {"operation": "connect", "ok": True, "status": None}),
    ("ids", {"ids": [7]}),
    ("hid-descriptor", {"operation": "getHidDescriptor", "ok": True}),
    ("bluetooth name 3 # sent", {"operation": "setBluetoothConfig", "ok": True}),
    ("device 7 key back", {"steps": [{"status": 0}, {"status": 0}]}),
    ("device 7 cook-touch down 1,2,3", {"operation": "cookTouchEvent", "ok": True}),
    ("device 7 time-date", {"operation": "sendTimeDateInquiry", "ok": True, "status": 0}),
    ("device 7 pairing on", {"operation": "sendOnReadyForPairing", "ok": False, "status": 5}),
    ("device 9 calibrate", {"operation": "sendCalibrateEvent", "ok": False, "status": None}),
    ('no "such', {"operation": None, "ok": False, "error": "a quote stays open"}),
    ("stratup", {"operation": None, "ok": False}),
    ("device 7 key", {"operation": "sendKeyEvent", "ok": False, "status": None}),
    ("startup --help", {"operation": "startup", "ok": True}),
    ("monitor --for 300 --count 9", {"operation": "monitor", "ok": False}),
]
EVENTS = [
    *("state 7 1", "unavailable 7", "orientation 7 2", "request 7 1 2", "request-data 7 41"),
    *("time-date 7 1 2 3 4 5 6 7 8 9", "descriptor 7", "hid 7 42", "attach 8", "detach 8"),
    "response 7",
]


def test_answers_every_line_by_one_object(emulator, mirvoctl, lines, validators):
    emulator.ids(7)
    emulator.answer("sendOnReadyForPairing", 5)
    emulator.mistype("shutdown")
    for line, answer in LINES:
        assert mirvoctl.command(line).values.items() >= answer.items(), line
    steps = mirvoctl.command("device 7 cook-key 4")["steps"]
    assert [sorted(step) for step in steps] == [["bytes", "status", "text"]] * 2
    assert "shutdown failed with status 1: " in mirvoctl.shutdown().error
    assert "\n  device ID COMMAND...  Perform a" in mirvoctl.command("help")["text"]

    printed = lines["mirvoctl"]
    before = len(printed)
    mirvoctl.process.write(f"monitor --count {len(EVENTS)}")
    mirvoctl.process.wait_until(lambda: printed[before:] or None)
    for command in EVENTS:
        emulator.command(command)
    assert mirvoctl.command("quit").ok
    assert mirvoctl.process.wait() == 4
    # What the monitor shows stands before its own answer.
    kinds = [line.get("event", line.get("operation")) for line in printed[before:]]
    kinds = [kind for kind in kinds if kind != "monitoring"]
    assert len(kinds) == len(EVENTS) + 2 and kinds[-2:] == ["monitor", "quit"]

    # What the schema does not describe is found.
    for wrong in (
        {"time": 1, "event": "onAttach", "accessoryId": 7},
        {"time": 1, "operation": "startup", "ok": True, "status": 0, "error": None, "exit": 1},
    ):
        assert not validators["mirvoctl"].is_valid(wrong)


def attempt(mirvoctl):
    """Whether the service serves, or the sentence about its version; None while it is lost."""
    try:
        return mirvoctl.startup().ok or None
    except zrmirvo.NoService:
        return None
    except zrmirvo.WrongVersion as error:
        return str(error)


def test_finds_each_service_and_looks_at_its_version(emulator, mirvoctl):
    for version, fits in (("3.7.2", False), ("3.6.1", True), ("4.6.0", False), ("3.6.6", True)):
        emulator.version(version)
        emulator.ids(7)
        # The loss of the service before is told on a thread of its own.
        answer = next(filter(None, (attempt(mirvoctl) for _ in range(10000))))
        if fits:
            assert answer is True and mirvoctl.device(7).calibrate().ok
        else:
            assert answer.startswith(f"the service has version {version} and the library 3.6.6")
        emulator.die()
        emulator.restart()
