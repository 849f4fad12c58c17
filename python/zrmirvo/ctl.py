"""The command-line tool as a process: its operations and its monitor."""

from __future__ import annotations

import re
from dataclasses import dataclass
from types import TracebackType
from typing import Any, Iterator, List, Optional, Sequence, Type, TypeVar, Union

from .errors import NoService, ToolEnded, WrongVersion
from .expecting import Event, Growing
from .process import PATIENCE, Json, JsonProcess, Tools

_NO_SERVICE = 3
Self = TypeVar("Self", bound="_Connection")


@dataclass(frozen=True)
class Result:
    """What an operation has come to."""

    operation: str
    ok: bool
    # The status of the operation; None where it has none or was not performed.
    status: Optional[int]
    # What went wrong and what to do about it.
    error: Optional[str]
    # What mirvoctl would end with.
    exit: int
    # Everything that was printed, such as "ids" or "data".
    values: Json

    def __getitem__(self, name: str) -> Any:
        return self.values[name]


def _word(value: object) -> str:
    text = str(value)
    if '"' in text or "\n" in text:
        raise ValueError(f"mirvoctl cannot be given a quote or an end of line: {text!r}")
    return f'"{text}"' if text == "" or any(c in text for c in " #\t") else text


def _on(flag: bool) -> str:
    return "on" if flag else "off"


def _no_service(sentence: str) -> Exception:
    # The sentence alone tells a service that is not there from one that does not fit.
    fits = re.search("the service (has|gives no) version", sentence) is None
    return NoService(sentence) if fits else WrongVersion(sentence)


class _Connection:
    """A process of mirvoctl as a context manager."""

    def __init__(
        self,
        tools: Optional[Tools],
        environment: Optional[dict[str, str]],
        arguments: Sequence[str],
    ) -> None:
        self._tools = (tools or Tools()).with_environment(**(environment or {}))
        self._arguments = list(arguments)
        self._process: Optional[JsonProcess] = None

    def __enter__(self: Self) -> Self:
        self._process = JsonProcess(
            self._tools.fitting("mirvoctl", "--json", *self._arguments),
            self._tools.environment,
            self._receive,
            lambda status, errors: _no_service(errors) if status == _NO_SERVICE else None,
        )
        try:
            self._started()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def close(self) -> None:
        """Ends the process."""
        if self._process is not None:
            self._process.close()
            self._process = None

    @property
    def process(self) -> JsonProcess:
        """The process that runs now."""
        if self._process is None:
            raise ToolEnded("mirvoctl has not been started")
        return self._process

    def _receive(self, value: Json) -> None:
        raise NotImplementedError

    def _started(self) -> None:
        pass


class Ctl(_Connection):
    """Every operation of the library, on one connection, made anew after a loss.

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
        """Performs any command and answers its result. Raises NoService or WrongVersion
        when there is no service, or none that fits."""
        before = len(self._results)
        self.process.write(line)
        result = self.process.wait_until(
            lambda: self._results[before] if len(self._results) > before else None,
            within,
        )
        if result is None:
            raise ToolEnded(f"mirvoctl does not answer in {within} s: {line}")
        if result.exit == _NO_SERVICE:
            raise _no_service(result.error or "")
        return result

    def _run(self, *words: object) -> Result:
        return self.command(" ".join(_word(word) for word in words))

    def versions(self) -> Result:
        """The versions of library and service."""
        return self._run("version")

    def startup(self) -> Result:
        """Starts the projection service."""
        return self._run("startup")

    def shutdown(self) -> Result:
        """Stops the projection service."""
        return self._run("shutdown")

    def connect(self, text: str = "") -> Result:
        """Connects; what the text means is the service's. Has no status."""
        return self._run("connect", "--", text)

    def disconnect(self, text: str = "") -> Result:
        """Disconnects. Has no status."""
        return self._run("disconnect", "--", text)

    def config_file(self, path: str) -> Result:
        """Hands over the path of the configuration file."""
        return self._run("config-file", "--", path)

    def bluetooth(self, text: str, value: int) -> Result:
        """Hands over a Bluetooth setting."""
        return self._run("bluetooth", "--", text, value)

    def ids(self) -> Result:
        """Lists the accessories, as `result["ids"]`."""
        return self._run("ids")

    def hid_descriptor(self) -> Result:
        """Reads the HID descriptor."""
        return self._run("hid-descriptor")

    def device(self, accessory: int) -> "Device":
        """The operations of one accessory."""
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
        """Sends a key "down" or "up", without a direction both."""
        return self._run("key", key, *([direction] if direction else []))

    def cook_key(self, key: Union[str, int], direction: str = "") -> Result:
        """Has a key turned into bytes."""
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
        """Has a touch turned into bytes."""
        return self._touch("cook-touch", action, pointers, time)

    def calibrate(self) -> Result:
        """Sends a calibration event."""
        return self._run("calibrate")

    def cook_calibrate(self) -> Result:
        """Has a calibration event turned into bytes."""
        return self._run("cook-calibrate")

    def landscape(self, flag: bool) -> Result:
        """Forces landscape orientation, or no longer."""
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


class Monitor(_Connection):
    """The callbacks of the library, as events.

        with Monitor(7, environment=emulator.environment) as monitor:
            monitor.expect("onHidEvent", accessory=7, data=b"Hi", within=2.0)

    Without accessories it watches all. It begins when its callbacks are registered.
    """

    def __init__(
        self,
        *accessories: int,
        tools: Optional[Tools] = None,
        environment: Optional[dict[str, str]] = None,
        arguments: Sequence[str] = (),
    ) -> None:
        super().__init__(tools, environment, [*arguments, "monitor", *map(str, accessories)])
        self._events: Growing[Event] = Growing(lambda event: event.name)
        self._watched: List[List[int]] = []

    def _receive(self, value: Json) -> None:
        fields = dict(value)
        name = fields.pop("event", None)
        time = fields.pop("time", 0)
        if name == "monitoring":
            self._watched.append(fields["accessories"])
        elif name is not None:
            self._events.items.append(Event(name, fields.pop("accessory", None), fields, time))

    def _started(self) -> None:
        if self.process.wait_until(lambda: self._watched or None) is None:
            raise ToolEnded(f"the monitor has not begun after {PATIENCE} s")

    def wait_watching(self, accessory: int, within: float = PATIENCE) -> None:
        """Waits until the events of this accessory are watched."""
        found = self.process.wait_until(
            lambda: True if self._watched and accessory in self._watched[-1] else None,
            within,
        )
        if found is None:
            raise AssertionError(f"the monitor does not watch accessory {accessory}")

    @property
    def events(self) -> List[Event]:
        """All events so far. It grows."""
        return self._events.items

    def expect(self, name: str, *, within: float = PATIENCE, **fields: object) -> Event:
        """The first such event behind the last one that was expected, or an AssertionError."""
        __tracebackhide__ = True
        return self._events.expect(self.process, name, within, dict(fields))

    def expect_none(self, name: str, *, within: float, **fields: object) -> None:
        """Fails if such an event comes from now on, within this time."""
        __tracebackhide__ = True
        self._events.expect_none(self.process, name, within, dict(fields))

    def __iter__(self) -> Iterator[Event]:
        return self._events.iterate(self.process)
