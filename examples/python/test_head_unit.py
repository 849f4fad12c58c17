"""Tests of the example head unit, as one would write them for an application of one's own.

    pytest --zrmirvo-bin build/release/bin examples/python/test_head_unit.py
"""

import pytest

# The example gives up after 10 s whatever it waits for.
pytestmark = pytest.mark.usefixtures("emulator")


@pytest.fixture
def started(head_unit):
    """The example, with the timeout of a request at a second, so that a hung service is short."""
    return head_unit("head_unit", SERVICE_FRAMEWORK_TIMEOUT_MS="1000")


def plug_in(emulator):
    """Lets the head unit introduce itself and plugs phone 7 in."""
    emulator.expect("getIds")
    emulator.attach(7)
    emulator.expect("sendVideoFocus", accessory=7, flag=True)


def use(emulator):
    """What the example needs to be content with a phone, from its focus to its end."""
    emulator.hid(7, b"\x01\x80")
    emulator.expect("sendTimeDateInquiry", accessory=7)
    emulator.detach(7)


def test_introduces_itself_before_it_starts_the_service(emulator, started):
    emulator.expect("setBluetoothConfig", text="Head unit", value=1)
    emulator.expect("setConfigFile", path="/etc/head_unit/projection.conf")
    emulator.expect("startup")
    emulator.expect("connect", arg="usb")
    emulator.expect_none("getMirvo", within=0.3)


def test_prepares_a_phone_that_is_plugged_in(emulator, started):
    plug_in(emulator)
    display = next(r for r in emulator.requests if r.operation == "sendDisplayConfiguration")
    assert list(display.arguments.values()) == [1280, 720, 160, 60, 0]
    assert [request.operation for request in emulator.requests if request.accessory == 7] == [
        "getMirvo",
        "setNotifier",
        "sendDisplayConfiguration",
        "sendForceLandscape",
        "setFeature",
        "sendOnReadyForPairing",
        "sendVideoFocus",
    ]


def test_sends_a_key_down_and_up(emulator, started):
    plug_in(emulator)
    emulator.hid(7, b"\x01")
    emulator.expect("sendKeyEvent", accessory=7, keyCode=4, flag=True)
    emulator.expect("sendKeyEvent", accessory=7, keyCode=4, flag=False, within=2.0)


def test_shows_what_the_phone_sends(emulator, started):
    plug_in(emulator)
    emulator.hid(7, b"\x01\x80\x02\xe0\x01")
    started.expect_line("onHidEvent data=018002E001", within=2.0)


def test_goes_on_when_the_service_hangs(emulator, started):
    plug_in(emulator)
    emulator.once.silent("sendKeyEvent", accessory=7)
    emulator.hid(7, b"\x01\x80")
    emulator.expect("sendKeyEvent", accessory=7, flag=True)
    emulator.expect("sendKeyEvent", accessory=7, flag=False)
    emulator.expect("sendTimeDateInquiry", accessory=7)
    emulator.detach(7)
    started.expect_line("sendKeyEvent back down = 1")
    started.expect_line("ReleaseMirvoInstance")


def test_finds_the_service_again_after_a_crash(emulator, started):
    plug_in(emulator)
    use(emulator)
    emulator.wait_for("disconnect")
    emulator.die()
    emulator.restart()
    plug_in(emulator)
    use(emulator)
    assert started.wait() == 0
    started.expect_line("all went well")


def test_ends_when_the_service_has_another_version(emulator, head_unit):
    emulator.version("4.0.1")
    application = head_unit("head_unit")
    assert application.wait() == 1
    application.expect_line("GetInstance = null")
