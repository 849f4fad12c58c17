"""mirvoctl's driver: what each operation sends and gives."""

import re

import pytest
import zrmirvo

MANAGER = [
    (lambda c: c.startup(), "startup", {}),
    (lambda c: c.shutdown(), "shutdown", {}),
    (lambda c: c.connect("-a # b"), "connect", {"arg": "-a # b"}),
    (lambda c: c.connect("a\r\v\fb"), "connect", {"arg": "a\r\v\fb"}),
    (lambda c: c.disconnect(), "disconnect", {"arg": ""}),
    (lambda c: c.config_file("/etc/a b"), "setConfigFile", {"path": "/etc/a b"}),
    (
        lambda c: c.bluetooth("Head unit", -1),
        "setBluetoothConfig",
        {"text": "Head unit", "value": -1},
    ),
    (lambda c: c.ids(), "getIds", {}),
    (lambda c: c.hid_descriptor(), "getHidDescriptor", {}),
    (lambda c: c.versions(), "getVersion", {}),
]
DEVICE = [
    (lambda d: d.key("back", "down"), "sendKeyEvent", {"keyCode": 4, "flag": True}),
    (lambda d: d.key(4, "up"), "sendKeyEvent", {"keyCode": 4, "flag": False}),
    (lambda d: d.cook_key("back", "up"), "cookKeyEvent", {"keyCode": 4, "flag": False}),
    (
        lambda d: d.touch("down", (0, 12, 30), (1, 4, 5), time=9),
        "sendTouchEvent",
        {"time": 9, "array2": [12, 4], "array3": (30, 5)},
    ),
    (lambda d: d.cook_touch("move", (0, 1, 2)), "cookTouchEvent", {"array2": [1]}),
    (lambda d: d.calibrate(), "sendCalibrateEvent", {}),
    (lambda d: d.cook_calibrate(), "cookCalibrateEvent", {}),
    (lambda d: d.landscape(True), "sendForceLandscape", {"flag": True}),
    (lambda d: d.focus(3, False), "sendVideoFocus", {"focus": 3, "flag": False}),
    (lambda d: d.pairing(True), "sendOnReadyForPairing", {"flag": True}),
    (lambda d: d.display(-1, 2, 3, 4, 5), "sendDisplayConfiguration", {"value1": -1, "value5": 5}),
    (lambda d: d.feature(2, b"\xca\xfe"), "setFeature", {"feature": 2, "data": b"\xca\xfe"}),
    (lambda d: d.feature(3), "setFeature", {"feature": 3, "data": b""}),
    (lambda d: d.time_date(), "sendTimeDateInquiry", {}),
]


def test_performs_every_operation(emulator, mirvoctl):
    emulator.ids(7)
    for perform, operation, arguments in MANAGER:
        result = perform(mirvoctl)
        assert (result.ok, result.exit, result.error) == (True, 0, None)
        emulator.expect(operation, **arguments)
    for perform, operation, arguments in DEVICE:
        result = perform(mirvoctl.device(7))
        assert (result.operation, result.ok) == (operation, True)
        emulator.expect(operation, accessory=7, **arguments)


def test_has_a_method_for_every_command(zrmirvo_tools):
    text = zrmirvo_tools.run(zrmirvo_tools.find("mirvoctl"), "--help").stdout
    commands = set(re.findall(r"^  ([a-z-]+)", text.partition("\nCommands:")[2], re.M))
    text = zrmirvo_tools.run(zrmirvo_tools.find("mirvoctl"), "device", "--help").stdout
    commands |= set(re.findall(r"^  ([a-z-]+)", text.partition("\nCommands:")[2], re.M))
    methods = {name.replace("_", "-") for name in (*dir(zrmirvo.Ctl), *dir(zrmirvo.Device))}
    assert len(commands) > 20
    recordings = {"recording", "replay", "show", "stats", "diff", "script"}
    assert commands - methods == {"help", "monitor", "shell", "version", *recordings}


def test_says_what_went_wrong(mirvoctl):
    refused = mirvoctl.device(9).calibrate()
    assert (refused.ok, refused.exit, refused.status) == (False, 1, None)
    assert "9" in refused.error
    misspelt = mirvoctl.command("flatten")
    assert (misspelt.operation, misspelt.exit) == (None, 2)


def test_gives_each_call_its_own_result(emulator, mirvoctl):
    emulator.once.delay("startup", 0.2)
    with pytest.raises(zrmirvo.ToolEnded, match="does not answer in 0.05 s: startup"):
        mirvoctl.command("startup", within=0.05)
    with pytest.raises(ValueError, match="is given no command"):
        mirvoctl.command(" \f# no command")
    mirvoctl.process.write("startup")
    assert mirvoctl.ids()["ids"] == []
    mirvoctl.close()
    with mirvoctl:
        assert mirvoctl.versions().operation == "getVersion"


def test_monitor_shows_and_waits(emulator, monitor):
    emulator.attach(7)
    monitor.wait_watching(7)
    emulator.hid(7, b"a")
    emulator.hid(7, b"b")
    monitor.process.wait_until(lambda: len(monitor.events) == 3 or None)
    with pytest.raises(
        AssertionError, match="onHidEvent data='63' did not come in 0.05 s"
    ) as error:
        monitor.expect("onHidEvent", data=b"c", within=0.05)
    assert "onHidEvent accessory=7 data='62' text='b'" in str(error.value)
    monitor.expect("onHidEvent", accessory=7, data=b"a")
    monitor.expect_none("onHidEvent", within=0.05)
    assert next(iter(monitor)).fields["text"] == "b"
    assert [event.name for event in monitor.events] == ["onAttach", "onHidEvent", "onHidEvent"]
    with pytest.raises(AssertionError, match="does not watch accessory 8"):
        monitor.wait_watching(8, within=0.05)


def test_monitor_follows_the_service_through_a_loss(emulator, zrmirvo_tools):
    environment = emulator.environment
    with zrmirvo.Monitor(tools=zrmirvo_tools, environment=environment, follow=True) as monitor:
        for _ in range(2):
            emulator.attach(7)
            monitor.wait_watching(7)
            emulator.hid(7, b"B")
            monitor.expect("onHidEvent", accessory=7, data=b"B")
            emulator.die()
            monitor.expect("onError")
            monitor.expect("lost", reason="the service is gone")
            emulator.restart()
