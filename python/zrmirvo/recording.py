"""Recordings, read through mirvoctl."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Iterator, List, Optional

from .errors import Refused, ToolEnded
from .expecting import shown
from .process import PATIENCE, Json, JsonProcess, Tools

# The members of a line that are no fields of an event.
_OF_ALL = ("time", "wall", "thread", "binding", "duration", "accessory", "command")


@dataclass(frozen=True)
class Message:
    """A request with its answer, an event, or another record, such as "lost"."""

    # "request", "event" or "record".
    kind: str
    name: str
    accessory: Optional[int]
    # The arguments of a request, or the fields of an event.
    fields: Json
    # None when there is no answer: the recording ends before it, or this is no request.
    answer: Optional[Json]
    # Milliseconds since the recording began.
    time: int
    # How long the request or the callback took, in seconds.
    duration: Optional[float]
    # The number that the system gave the application's thread.
    thread: Optional[int]
    # Everything that mirvoctl prints about this message.
    values: Json

    def __str__(self) -> str:
        return shown(self.name, self.accessory, self.fields)


class Recording:
    """A file of recorded messages, on the target when the tools are there.

    for message in Recording("trip.pcapng"):
        print(message.time, message, message.answer)
    """

    def __init__(self, path: str, tools: Optional[Tools] = None) -> None:
        self.path = path
        self._tools = tools or Tools()

    def __iter__(self) -> Iterator[Message]:
        """Reads the file anew. Raises Refused when it cannot be read or is no recording."""
        lines: List[Json] = []
        process = JsonProcess(
            self._tools.fitting("mirvoctl", "--json", "recording", "show", "--", self.path),
            self._tools.environment,
            lines.append,
        )
        try:
            position = 0
            while True:
                line = process.wait_until(lambda: next(iter(lines[position : position + 1]), None))
                if line is None:
                    raise ToolEnded(f"mirvoctl prints nothing for {PATIENCE} s: {self.path}")
                # The last line is the outcome of the command itself.
                if "operation" in line:
                    if not line["ok"]:
                        raise Refused(line["error"])
                    return
                yield _message(line)
                position += 1
        finally:
            process.close()


def _message(line: Json) -> Message:
    kind = next(kind for kind in ("request", "event", "record") if kind in line)
    fields = {name: value for name, value in line.items() if name not in {kind, *_OF_ALL}}
    return Message(
        kind,
        line[kind],
        line.get("accessory"),
        line.get("arguments", fields),
        line.get("answer"),
        line["time"],
        line["duration"] / 1e9 if "duration" in line else None,
        line.get("thread"),
        line,
    )
