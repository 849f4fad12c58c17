"""Collects what a process reports, and waits for what a test expects of it."""

from __future__ import annotations

import time
from dataclasses import dataclass, field
from typing import Any, Callable, Generic, Iterator, List, Optional, Tuple, TypeVar

from .process import PATIENCE, Json, JsonProcess

# How long what an application has done may still be on its way once that has ended, in seconds.
_LATEST = 2.0

# How many of the last items are shown when an expectation is not met.
_SHOWN = 10


@dataclass(frozen=True)
class Request:
    """A request that the emulator has received, with its answer."""

    operation: str
    accessory: Optional[int]
    arguments: Json
    answer: Optional[Json]
    pid: int
    connection: int
    # Milliseconds since the emulator was started.
    time: int

    def value(self, name: str) -> Any:
        """Returns an argument, or the accessory."""
        return self.accessory if name == "accessory" else self.arguments.get(name)

    def __str__(self) -> str:
        return shown(self.operation, self.accessory, self.arguments)


@dataclass(frozen=True)
class Event:
    """A callback that mirvoctl's monitor has received."""

    name: str
    accessory: Optional[int]
    fields: Json = field(default_factory=dict)
    # Milliseconds since the monitor was started.
    time: int = 0

    def value(self, name: str) -> Any:
        """Returns a field, or the accessory."""
        return self.accessory if name == "accessory" else self.fields.get(name)

    def __str__(self) -> str:
        return shown(self.name, self.accessory, self.fields)


def shown(name: str, accessory: Optional[int], values: Json) -> str:
    """Returns a name with an accessory and values, as messages show them."""
    at = "" if accessory is None else f" accessory={accessory}"
    return name + at + "".join(f" {key}={value!r}" for key, value in values.items())


def _as_json(value: Any) -> Any:
    """Returns a value as the tools print it: bytes as hexadecimal digits."""
    if isinstance(value, (bytes, bytearray)):
        return value.hex().upper()
    return list(value) if isinstance(value, tuple) else value


Item = TypeVar("Item", Request, Event)


class Growing(Generic[Item]):
    """Items in the order in which they came, and a cursor after the last one that was expected."""

    def __init__(self, name_of: Callable[[Item], str]) -> None:
        self.items: List[Item] = []
        self._cursor = 0
        self._name_of: Callable[[Item], str] = name_of

    def expect(
        self,
        process: JsonProcess,
        name: str,
        within: float,
        values: Json,
        why_none: Callable[[], Optional[str]] = lambda: None,
    ) -> Item:
        """Returns the first match after the cursor, which has come already or comes in time.

        `why_none` says why nothing more will come, once that is so.
        """
        __tracebackhide__ = True
        until = time.monotonic() + within

        def look() -> Optional[Item]:
            for index in range(self._cursor, len(self.items)):
                if self._matches(self.items[index], name, values):
                    self._cursor = index + 1
                    return self.items[index]
            return None

        def look_around() -> Optional[Tuple[Optional[Item], Optional[str]]]:
            item, reason = look(), why_none()
            return (item, reason) if item or reason else None

        item, reason = process.wait_until(look_around, within) or (None, None)
        if item is None and reason is not None:
            item = process.wait_until(look, min(_LATEST, until - time.monotonic()))
        if item is None:
            why = f": {reason}" if reason else f" in {within} s"
            raise AssertionError(f"{_wanted(name, values)} did not come{why}; {self.last()}")
        return item

    def expect_none(self, process: JsonProcess, name: str, within: float, values: Json) -> None:
        """Raises an AssertionError when a match comes from now on, within this time."""
        __tracebackhide__ = True
        begin = len(self.items)

        def look() -> Optional[Item]:
            matching = (i for i in self.items[begin:] if self._matches(i, name, values))
            return next(matching, None)

        found = process.wait_until(look, within)
        if found is not None:
            raise AssertionError(f"{found} came; {self.last()}")

    def iterate(self, process: JsonProcess, within: float = PATIENCE) -> Iterator[Item]:
        """Yields each item after the cursor, and ends when none comes within this time."""
        while True:
            found = process.wait_until(
                lambda: self.items[self._cursor] if self._cursor < len(self.items) else None,
                within,
            )
            if found is None:
                return
            self._cursor += 1
            yield found

    def _matches(self, item: Item, name: str, values: Json) -> bool:
        if self._name_of(item) != name:
            return False
        return all(item.value(key) == _as_json(value) for key, value in values.items())

    def last(self) -> str:
        """Returns the last items, for a message."""
        if not self.items:
            return "nothing has come"
        return "the last were:" + "".join(f"\n  {item}" for item in self.items[-_SHOWN:])


def _wanted(name: str, values: Json) -> str:
    return shown(name, None, {key: _as_json(value) for key, value in values.items()})
