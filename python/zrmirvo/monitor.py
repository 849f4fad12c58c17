"""The callbacks of the library, as a process of mirvoctl's monitor reports them."""

from __future__ import annotations

from typing import Iterator, List, Optional, Sequence

from .connection import Connection
from .errors import ToolEnded
from .expecting import Event, Growing
from .process import PATIENCE, Json, Tools


class Monitor(Connection):
    """The callbacks of the library, as events.

        with Monitor(7, environment=emulator.environment) as monitor:
            monitor.expect("onHidEvent", accessory=7, data=b"Hi", within=2.0)

    Without accessories it watches all. Its callbacks are registered when the context is entered.
    With `follow`, a loss of the service is the event "lost", and it goes on with the next service.
    """

    def __init__(
        self,
        *accessories: int,
        follow: bool = False,
        tools: Optional[Tools] = None,
        environment: Optional[dict[str, str]] = None,
        arguments: Sequence[str] = (),
    ) -> None:
        options = ["--follow"] if follow else []
        words = [*arguments, "monitor", *options, *map(str, accessories)]
        super().__init__(tools, environment, words)
        self._events: Growing[Event] = Growing(lambda event: event.name)
        self._watched: List[List[int]] = []

    def _receive(self, value: Json) -> None:
        fields = dict(value)
        name = fields.pop("event", None)
        time = fields.pop("time", 0)
        if name == "monitoring":
            self._watched.append(fields["accessories"])
        elif name is not None:
            if name == "lost":
                self._watched.append([])
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
        """Returns all events so far, as a list that grows."""
        return self._events.items

    def expect(self, name: str, *, within: float = PATIENCE, **fields: object) -> Event:
        """Returns the first matching event after the last one that was expected.

        Raises an AssertionError when it does not come in time.
        """
        __tracebackhide__ = True
        return self._events.expect(self.process, name, within, dict(fields))

    def expect_none(self, name: str, *, within: float, **fields: object) -> None:
        """Raises an AssertionError if a matching event comes from now on, within this time."""
        __tracebackhide__ = True
        self._events.expect_none(self.process, name, within, dict(fields))

    def __iter__(self) -> Iterator[Event]:
        return self._events.iterate(self.process)
