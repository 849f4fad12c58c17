"""Recordings, read through mirvoctl."""

from __future__ import annotations

import json
import subprocess
from typing import Iterator, Optional

from .errors import NotJson, Refused
from .process import Json, Tools


class Recording:
    """A file of recorded messages; iterates over them as objects.

    for message in Recording("drive.pcapng"):
        print(message["time"], message.get("request"))
    """

    def __init__(self, path: str, tools: Optional[Tools] = None) -> None:
        self.path = path
        self._tools = tools or Tools()

    def __iter__(self) -> Iterator[Json]:
        command = self._tools.command("mirvoctl", "recording", "show", self.path, "--json")
        run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        if run.returncode != 0:
            raise Refused(run.stderr.decode(errors="replace").strip())
        for line in run.stdout.splitlines():
            try:
                yield json.loads(line)
            except ValueError:
                text = line.decode(errors="replace")
                raise NotJson(f"mirvoctl printed what is no JSON: {text}") from None
