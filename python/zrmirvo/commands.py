"""The emulator's commands, each as a method."""

from __future__ import annotations

from typing import Callable, Optional

from .process import PATIENCE, Json


def at(operation: str, accessory: Optional[int]) -> str:
    """Returns how a command names an operation, for one accessory or for all of them."""
    return operation if accessory is None else f"{operation}@{accessory}"


def _quoted(text: str) -> str:
    if '"' in text or "\n" in text:
        raise ValueError(f"the emulator cannot be given a quote or an end of line: {text!r}")
    return f'"{text}"'


class Answers:
    """Sets how requests are answered: the emulator itself for good, `once` for one request."""

    def __init__(self, perform: Callable[[str], Json], before: str) -> None:
        self._perform = perform
        self._before = before

    def _set(self, *words: object) -> None:
        self._perform(self._before + " ".join(map(str, words)))

    def answer(
        self,
        operation: str,
        result: Optional[int] = None,
        *,
        data: Optional[bytes] = None,
        accessory: Optional[int] = None,
    ) -> None:
        """Answers with this result, with these bytes, or with both."""
        if result is None and data is None:
            raise TypeError("answer() needs a result or data")
        if result is not None:
            self._set("answer", at(operation, accessory), result)
        if data is not None:
            self._set("answer", at(operation, accessory), "bytes", data.hex())

    def silent(self, operation: str, *, accessory: Optional[int] = None) -> None:
        """Does not answer: the client waits for its timeout."""
        self._set("silent", at(operation, accessory))

    def no_reply(self, operation: str, *, accessory: Optional[int] = None) -> None:
        """Tells the client at once that there is no reply."""
        self._set("no-reply", at(operation, accessory))

    def mistype(self, operation: str, *, accessory: Optional[int] = None) -> None:
        """Answers with a message of the wrong class."""
        self._set("mistype", at(operation, accessory))

    def delay(self, operation: str, seconds: float, *, accessory: Optional[int] = None) -> None:
        """Answers this many seconds later."""
        self._set("delay", at(operation, accessory), round(seconds * 1000))


class Commands(Answers):
    """The commands that the emulator understands."""

    def __init__(self) -> None:
        super().__init__(self.command, "")
        self.once = Answers(self.command, "once ")

    def command(self, *lines: str, within: float = PATIENCE) -> Json:
        """Performs a command, or the lines of a block."""
        raise NotImplementedError

    def on(self, operation: str, *commands: str, accessory: Optional[int] = None) -> None:
        """Performs commands after each request of this operation, when its answer has left."""
        self.command(f"on {at(operation, accessory)}", *commands, "end")

    def on_next(self, operation: str, *commands: str, accessory: Optional[int] = None) -> None:
        """Performs commands after the next request of this operation, when its answer has left."""
        self.command(f"on-next {at(operation, accessory)}", *commands, "end")

    def attach(self, accessory: int) -> None:
        """Reports that the accessory has come; it is known from now on."""
        self.command(f"attach {accessory}")

    def detach(self, accessory: int) -> None:
        """Reports that the accessory has gone."""
        self.command(f"detach {accessory}")

    def unavailable(self, accessory: int) -> None:
        """Reports that the accessory cannot be controlled."""
        self.command(f"unavailable {accessory}")

    def state(self, accessory: int, state: int) -> None:
        """Reports another running state."""
        self.command(f"state {accessory} {state}")

    def orientation(self, accessory: int, orientation: int) -> None:
        """Reports another orientation of the screen."""
        self.command(f"orientation {accessory} {orientation}")

    def error(self, accessory: int, code: int) -> None:
        """Reports an error of the accessory."""
        self.command(f"error {accessory} {code}")

    def request(self, accessory: int, param1: int, param2: int) -> None:
        """Reports a request of the accessory with two numbers."""
        self.command(f"request {accessory} {param1} {param2}")

    def request_data(self, accessory: int, data: bytes) -> None:
        """Reports a request of the accessory with at most 36 bytes."""
        self.command(f"request-data {accessory} {data.hex()}")

    def response(self, accessory: int) -> None:
        """Reports a response of the accessory."""
        self.command(f"response {accessory}")

    def time_date(
        self,
        accessory: int,
        date1: int,
        date2: int,
        date3: int,
        hour: int,
        minute: int,
        second: int,
        fraction: int,
        week: int,
        dayOfWeek: int,
    ) -> None:
        """Reports the accessory's date and time. The arguments are named as the event's fields."""
        numbers = (date1, date2, date3, hour, minute, second, fraction, week, dayOfWeek)
        self.command(f"time-date {accessory} {' '.join(map(str, numbers))}")

    def descriptor(self, accessory: int, data: bytes) -> None:
        """Sends a HID report descriptor."""
        self.command(f"descriptor {accessory} {data.hex()}")

    def hid(self, accessory: int, data: bytes) -> None:
        """Sends a HID event."""
        self.command(f"hid {accessory} {data.hex()}")

    def raw(self, accessory: int, sub_code: int, data: bytes) -> None:
        """Sends any notification with bytes, sensible or not."""
        self.command(f"raw {accessory} {sub_code} {data.hex()}")

    def notify(self, accessory: int, sub_code: int, value: int) -> None:
        """Sends any notification with a value, sensible or not."""
        self.command(f"notify {accessory} {sub_code} {value}")

    def normal(self, operation: str, *, accessory: Optional[int] = None) -> None:
        """Answers as if nothing had been set."""
        self.command(f"normal {at(operation, accessory)}")

    def ids(self, *accessories: int) -> None:
        """Makes exactly these accessories known, without an event."""
        self.command("ids " + " ".join(map(str, accessories)))

    def descriptor_bytes(self, data: bytes) -> None:
        """Sets the HID descriptor that clients read."""
        self.command(f"descriptor-bytes {data.hex()}")

    def version(self, text: str) -> None:
        """Sets the version of the service."""
        self.command(f"version {_quoted(text)}")

    def drop(self, pid: int) -> None:
        """Closes all connections of a client."""
        self.command(f"drop {pid}")

    def to(self, pid: int, event: str) -> None:
        """Sends an event to one client only; the event is a command, such as "attach 7"."""
        self.command(f"to {pid} {event}")
