"""Recordings, read through mirvoctl."""

from __future__ import annotations

import json
from typing import Iterator, Optional

from .errors import NotJson, Refused
from .process import Json, Tools


class Recording:
    """A file of recorded messages; iterates over them as objects.

    for message in Recording("trip.pcapng"):
        print(message["time"], message.get("request"), message.get("answer"))
    """

    def __init__(self, path: str, tools: Optional[Tools] = None) -> None:
        self.path = path
        self._tools = tools or Tools()

    def __iter__(self) -> Iterator[Json]:
        self._tools.fitting("mirvoctl")
        show = ("--json", "recording", "show", self.path)
        run = self._tools.run(self._tools.find("mirvoctl"), *show)
        if run.returncode != 0:
            raise Refused(run.stderr.strip())
        for line in run.stdout.splitlines():
            try:
                message = json.loads(line)
            except ValueError:
                raise NotJson(f"mirvoctl printed what is no JSON: {line}") from None
            # The last line tells what the command has come to.
            if "operation" not in message:
                yield message
