"""The command-line tool as a process: every operation of the library."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, List, Optional, Sequence, Union

from .connection import NO_SERVICE, Connection, no_service
from .errors import ToolEnded
from .process import SHOWN, Json, Tools


@dataclass(frozen=True)
class Result:
    """The result of an operation."""

    operation: str
    ok: bool
    # The status of the operation; None when it has none or was not performed.
    status: Optional[int]
    # What went wrong and what to do about it.
    error: Optional[str]
    # The exit status that mirvoctl would end with.
    exit: int
    # Everything that was printed, such as "ids" or "data".
    values: Json

    def __getitem__(self, name: str) -> Any:
        return self.values[name]


# What mirvoctl takes for blanks between words.
_BLANKS = " \t\r\v\f"


def _word(value: object) -> str:
    text = str(value)
    if '"' in text or "\n" in text:
        raise ValueError(f"mirvoctl cannot be given a quote or an end of line: {text!r}")
    return f'"{text}"' if text == "" or any(c in text for c in _BLANKS + "#") else text


def _on(flag: bool) -> str:
    return "on" if flag else "off"


class Ctl(Connection):
    """Every operation of the library, on one connection, which is renewed after a loss.

    with Ctl(environment=emulator.environment) as mirvoctl:
        assert mirvoctl.startup().ok
        assert mirvoctl.device(7).key("back", "down").ok
    """

    def __init__(
        self,
        tools: Optional[Tools] = None,
        *,
        environment: Optional[dict[str, str]] = None,
        arguments: Sequence[str] = (),
    ) -> None:
        super().__init__(tools, environment, [*arguments, "shell"])
        self._results: List[Result] = []

    def _started(self) -> None:
        self._results = []

    def _receive(self, value: Json) -> None:
        if "event" in value:
            return
        self._results.append(
            Result(
                value["operation"],
                value["ok"],
                value["status"],
                value["error"],
                value["exit"],
                value,
            )
        )

    def command(self, line: str, within: float = 60.0) -> Result:
        """Performs any command and returns its result.

        Raises NoService or WrongVersion when there is no service, or none that fits.
        """
        if line.lstrip(_BLANKS)[:1] in ("", "#"):
            raise ValueError(f"mirvoctl is given no command: {line!r}")
        # Each line has one result, also a line whose result nobody has waited for to the end.
        number = self.process.write(line)
        result = self.process.wait_until(
            lambda: self._results[number - 1] if len(self._results) >= number else None,
            within,
        )
        if result is None:
            raise ToolEnded(f"mirvoctl does not answer in {within} s: {line[:SHOWN]}")
        if result.exit == NO_SERVICE:
            raise no_service(result.error or "")
        return result

    def _run(self, *words: object) -> Result:
        return self.command(" ".join(_word(word) for word in words))

    def versions(self) -> Result:
        """Returns the versions of library and service."""
        return self._run("version")

    def startup(self) -> Result:
        """Starts the projection service."""
        return self._run("startup")

    def shutdown(self) -> Result:
        """Stops the projection service."""
        return self._run("shutdown")

    def connect(self, text: str = "") -> Result:
        """Connects. The service decides what the text means. The result has no status."""
        return self._run("connect", "--", text)

    def disconnect(self, text: str = "") -> Result:
        """Disconnects. The result has no status."""
        return self._run("disconnect", "--", text)

    def config_file(self, path: str) -> Result:
        """Sends the path of the configuration file."""
        return self._run("config-file", "--", path)

    def bluetooth(self, text: str, value: int) -> Result:
        """Sends a Bluetooth setting."""
        return self._run("bluetooth", "--", text, value)

    def ids(self) -> Result:
        """Lists the accessories, as `result["ids"]`."""
        return self._run("ids")

    def hid_descriptor(self) -> Result:
        """Reads the HID descriptor."""
        return self._run("hid-descriptor")

    def device(self, accessory: int) -> "Device":
        """Returns the operations of one accessory."""
        return Device(self, accessory)


class Device:
    """The operations of one accessory. Keys and actions are names or Android's numbers."""

    def __init__(self, ctl: Ctl, accessory: int) -> None:
        self._ctl = ctl
        self.accessory = accessory

    def _run(self, *words: object) -> Result:
        line = " ".join(_word(word) for word in words)
        return self._ctl.command(f"device {self.accessory} {line}")

    def key(self, key: Union[str, int], direction: str = "") -> Result:
        """Sends a key "down" or "up"; without a direction, both one after the other."""
        return self._run("key", key, *([direction] if direction else []))

    def cook_key(self, key: Union[str, int], direction: str = "") -> Result:
        """Asks the service to turn a key into bytes."""
        return self._run("cook-key", key, *([direction] if direction else []))

    def _touch(self, what: str, action: Union[str, int], pointers: object, time: int) -> Result:
        assert isinstance(pointers, tuple)
        words = [",".join(str(number) for number in pointer) for pointer in pointers]
        return self._run(what, action, *words, "--time", time)

    def touch(
        self, action: Union[str, int], *pointers: tuple[int, int, int], time: int = 0
    ) -> Result:
        """Sends a touch of pointers, each an id, x and y; the time is in milliseconds."""
        return self._touch("touch", action, pointers, time)

    def cook_touch(
        self, action: Union[str, int], *pointers: tuple[int, int, int], time: int = 0
    ) -> Result:
        """Asks the service to turn a touch into bytes."""
        return self._touch("cook-touch", action, pointers, time)

    def calibrate(self) -> Result:
        """Sends a calibration event."""
        return self._run("calibrate")

    def cook_calibrate(self) -> Result:
        """Asks the service to turn a calibration event into bytes."""
        return self._run("cook-calibrate")

    def landscape(self, flag: bool) -> Result:
        """Forces landscape orientation, or stops forcing it."""
        return self._run("landscape", _on(flag))

    def focus(self, focus: int, flag: bool) -> Result:
        """Gives or takes the video focus."""
        return self._run("focus", focus, _on(flag))

    def pairing(self, flag: bool) -> Result:
        """Says whether the head unit is ready for pairing."""
        return self._run("pairing", _on(flag))

    def time_date(self) -> Result:
        """Asks for the accessory's date and time, and waits for the answer."""
        return self._run("time-date")

    def display(self, *values: int) -> Result:
        """Describes the display by five numbers."""
        return self._run("display", "--", *values)

    def feature(self, feature: int, data: bytes = b"") -> Result:
        """Sets a feature to these bytes."""
        return self._run("feature", feature, *([data.hex()] if data else []))
