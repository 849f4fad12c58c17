"""The emulator's driver, against the emulator, with mirvoctl as its client."""

import os
import re
import select

import pytest
import zrmirvo

EVENTS = [
    (lambda e: e.state(7, -2), "onRunningStateChange", {"state": -2}),
    (lambda e: e.orientation(7, 2), "onScreenOrientationChange", {"orientation": 2}),
    (lambda e: e.request(7, 3, 1), "onDeviceRequest", {"param1": 3, "param2": 1}),
    (lambda e: e.request_data(7, b"He"), "onDeviceRequestData", {"data": b"He", "text": "He"}),
    (lambda e: e.response(7), "onDeviceResponse", {}),
    (lambda e: e.descriptor(7, b"\x05\xc0"), "onHidReportDescriptor", {"data": b"\x05\xc0"}),
    (lambda e: e.hid(7, b"\x01\xab"), "onHidEvent", {"data": b"\x01\xab"}),
    (
        lambda e: e.time_date(7, 1, 2, 3, 4, 5, 6, 7, 8, 9),
        "onTimeDateResponse",
        {"date1": 1, "hour": 4, "fraction": 7, "dayOfWeek": 9},
    ),
    (lambda e: e.unavailable(7), "onControlUnavailable", {}),
    (lambda e: e.detach(7), "onDetach", {}),
]


def test_sends_every_event(emulator, monitor):
    emulator.attach(7)
    monitor.expect("onAttach", accessory=7)
    monitor.wait_watching(7)
    for send, name, fields in EVENTS:
        send(emulator)
        monitor.expect(name, accessory=7, **fields)


def test_has_a_method_for_every_command(zrmirvo_tools):
    text = zrmirvo_tools.run(zrmirvo_tools.find("mirvo-emulator"), "--help").stdout
    commands = set(re.findall(r"^  ([a-z-]+)", text.partition("\nEvents:")[2], re.M))
    methods = {name.replace("_", "-") for name in (*dir(zrmirvo.Emulator), "once")}
    # What a test in Python does itself.
    own = {"arrived", "end", "expect-idle", "expect-no", "help", "include", "repeat", "wait"}
    assert commands - methods == own


@pytest.mark.parametrize(
    "change, status, later",
    [
        (lambda e: e.answer("startup", 5), 5, 5),
        (lambda e: e.once.answer("startup", -6), -6, 0),
        (lambda e: e.no_reply("startup"), 1, 1),
        (lambda e: e.mistype("startup"), 1, 1),
        (lambda e: e.once.silent("startup"), 1, 0),
        (lambda e: e.delay("startup", 5), 1, 1),
    ],
)
def test_answers_as_it_is_told(emulator, zrmirvo_tools, change, status, later):
    environment = {**emulator.environment, "SERVICE_FRAMEWORK_TIMEOUT_MS": "1500"}
    with zrmirvo.Ctl(zrmirvo_tools, environment=environment) as mirvoctl:
        change(emulator)
        assert [mirvoctl.startup().status, mirvoctl.startup().status] == [status, later]
        emulator.normal("startup")
        assert mirvoctl.startup().ok


def test_answers_for_one_accessory_and_with_bytes(emulator, mirvoctl):
    emulator.ids(7, 8)
    emulator.answer("sendKeyEvent", 5, accessory=7)
    emulator.answer("cookKeyEvent", data=b"\xca\xfe")
    emulator.descriptor_bytes(b"\x05")
    assert mirvoctl.device(7).key("back", "down").status == 5
    assert mirvoctl.device(8).key("back", "down").ok
    assert mirvoctl.device(8).cook_key("back", "down")["bytes"] == "CAFE"
    assert mirvoctl.hid_descriptor()["bytes"] == "05"
    assert mirvoctl.ids()["ids"] == [7, 8]


def test_expects_requests_in_their_order(emulator, mirvoctl, monkeypatch):
    emulator.ids(7)
    mirvoctl.device(7).key("back")
    mirvoctl.device(7).key("menu", "down")
    first = emulator.expect("sendKeyEvent", accessory=7, keyCode=4)
    assert first.arguments == {"keyCode": 4, "flag": True}
    assert first.answer == {"result": 0}
    emulator.expect("sendKeyEvent", keyCode=4, flag=False)
    with pytest.raises(AssertionError) as failure:
        emulator.expect("sendKeyEvent", keyCode=4, within=0.05)
    assert "sendKeyEvent keyCode=4 did not come in 0.05 s" in str(failure.value)
    assert "\n  sendKeyEvent accessory=7 keyCode=4 flag=False\n" in str(failure.value)
    # What came before the call does not matter to expect_none, and the cursor stays.
    emulator.expect_none("sendKeyEvent", within=0.05)
    emulator.expect("sendKeyEvent", flag=True, within=0)
    wait_until = emulator.process.wait_until

    def connect_and_wait(look, within):
        # What came before counts no more.
        mirvoctl.process.write("connect a")
        mirvoctl.process.write("connect b")
        return wait_until(look, within)

    monkeypatch.setattr(emulator.process, "wait_until", connect_and_wait)
    with pytest.raises(AssertionError, match="^connect arg='b' came"):
        emulator.expect_none("connect", arg="b", within=10)
    names = [request.operation for request in emulator.requests]
    assert names.count("sendKeyEvent") == 3


def test_waits_for_requests_that_were_answered(emulator, mirvoctl):
    with pytest.raises(AssertionError, match="came 0 times instead of 1 .* the last were:"):
        mirvoctl.versions()
        emulator.wait_for("startup", within=0.05)
    mirvoctl.startup()
    emulator.wait_for("startup")
    mirvoctl.startup()
    for count in (1, 2, 2):
        emulator.wait_for("startup", count)
    with pytest.raises(AssertionError, match="instead of 1 .*; 2 had come before; the last"):
        emulator.wait_for("startup", 3, within=0.05)
    emulator.restart()
    with pytest.raises(AssertionError, match="came 0 times instead of 1 "):
        emulator.wait_for("startup", within=0.05)


def test_reacts_before_the_next_request(emulator, mirvoctl, monitor, lines):
    for accessory in (7, 8):
        emulator.attach(accessory)
        monitor.wait_watching(accessory)
    emulator.on("sendCalibrateEvent", "hid 7 01")
    emulator.on("sendCalibrateEvent", "hid 7 02", accessory=8)
    emulator.on_next("startup", "answer shutdown 5")
    emulator.on("shutdown", "normal shutdown")
    # All at once, so that nothing but the reaction comes between an answer and the next request.
    words = ("startup", "shutdown", "shutdown", "startup", "shutdown")
    for line in (*words, "device 8 calibrate", "device 7 calibrate"):
        mirvoctl.process.write(line)
    monitor.expect("onHidEvent", accessory=7, data=b"\x02")
    monitor.expect("onHidEvent", accessory=7, data=b"\x01")

    def statuses():
        return [line["status"] for line in lines["mirvoctl"] if "operation" in line]

    mirvoctl.process.wait_until(lambda: len(statuses()) == 7 or None)
    assert statuses() == [0, 5, 0, 0, 0, 0, 0]


def test_knows_its_clients(emulator, mirvoctl, monitor):
    mirvoctl.startup()
    listening = [client["pid"] for client in emulator.clients() if client["listens"]]
    [watcher] = set(listening) - {emulator.expect("startup").pid}
    emulator.to(watcher, "attach 9")
    monitor.expect("onAttach", accessory=9)
    emulator.drop(watcher)
    with pytest.raises(zrmirvo.NoService, match="cut this process off"):
        monitor.expect("onDetach")


def test_hangs_dies_and_comes_back(emulator, zrmirvo_tools):
    environment = {**emulator.environment, "SERVICE_FRAMEWORK_TIMEOUT_MS": "1500"}
    with zrmirvo.Ctl(zrmirvo_tools, environment=environment) as mirvoctl:
        assert mirvoctl.startup().ok
        emulator.hang()
        assert not mirvoctl.startup().ok
        emulator.resume()
        emulator.wait_for("startup", 2)
        assert mirvoctl.startup().ok
        emulator.die()
        assert emulator.process.returncode == -9
        for late in (lambda: emulator.attach(7), emulator.hang):
            with pytest.raises(zrmirvo.ToolEnded, match="was killed by signal 9"):
                late()
        emulator.restart()
        assert mirvoctl.startup().ok
        emulator.quit()
        assert emulator.process.returncode == 0
    assert [r.operation for r in emulator.requests].count("startup") == 4


def test_leaves_no_folder_and_no_process(zrmirvo_tools):
    for end, status in ((lambda e: e.hang(), 0), (lambda e: e.die(), -9), (lambda e: None, 0)):
        with zrmirvo.Emulator(zrmirvo_tools) as emulator:
            application = zrmirvo.Application(["sh", "-c", "sleep 60 & echo $!; wait"]).start()
            child = os.pidfd_open(int(application.expect_line("")))
            end(emulator)
            application.child.kill()
            application.stop()
            folder, process = emulator.folder, emulator.process
            assert os.path.isdir(folder)
        assert process.returncode == status
        assert not os.path.exists(folder)
        # A process that has ended can be read from.
        assert select.select([child], [], [], 20)[0]
        os.close(child)


def test_refuses_what_it_does_not_understand(emulator):
    for commands, sentence in (
        (["flatten 7"], "no such command: flatten"),
        (["repeat 2", "flatten", "end"], "no such command: flatten"),
    ):
        with pytest.raises(zrmirvo.Refused, match=sentence):
            emulator.command(*commands)
    for wrong in (lambda: emulator.version('3"'), lambda: emulator.on("startup", "ids 7\nids")):
        with pytest.raises(ValueError):
            wrong()
    emulator.attach(7)


def test_waits_no_longer_than_its_limit_for_a_service_that_hangs(emulator):
    emulator.attach(7)
    emulator.hang()
    # It has more bytes than a pipe holds.
    with pytest.raises(zrmirvo.Refused, match="has not done in 0.05 s: hid 7 0{294}$"):
        emulator.command("hid 7 " + "00" * 100000, within=0.05)
    emulator.resume()
    emulator.attach(8)


def test_runs_a_script(zrmirvo_tools, lines):
    script = "ids 7\nexpect startup within 10000\n"
    with zrmirvo.Emulator(zrmirvo_tools, script=script) as emulator:
        with zrmirvo.Ctl(zrmirvo_tools, environment=emulator.environment) as mirvoctl:
            assert mirvoctl.startup().ok
            emulator.wait_for_script()
            assert mirvoctl.ids()["ids"] == [7]
            # This is a matter of the test, not of the script.
            with pytest.raises(AssertionError):
                emulator.wait_for("shutdown", within=0.05)
    # One that still waits has been ended by the test.
    with zrmirvo.Emulator(zrmirvo_tools, script=script):
        pass
    with pytest.raises(AssertionError, match="script:1: expected startup"):
        # The program holds up the end that follows the failure.
        program = ["--", "sh", "-c", "trap 'sleep 0.3; exit' TERM; while :; do sleep 0.02; done"]
        script = "expect startup within 100\n\n"
        with zrmirvo.Emulator(zrmirvo_tools, script=script, arguments=program) as emulator:
            printed = lines["mirvo-emulator"]
            emulator.process.wait_until(lambda: printed[-1].get("exit"))
    with pytest.raises(AssertionError, match="script:1: expected startup, but after [0-9]+ ms"):
        with zrmirvo.Emulator(zrmirvo_tools, script="expect startup within 50\n\n") as emulator:
            emulator.process.wait()
    with pytest.raises(AssertionError, match="the script is not over"):
        with zrmirvo.Emulator(zrmirvo_tools, script="wait 60000\n\n") as emulator:
            emulator.wait_for_script(0.05)
