"""The application under test as a process."""

from __future__ import annotations

import os
import signal
import subprocess
import threading
import time
from typing import Callable, List, Mapping, Optional, Sequence

from .errors import ToolEnded
from .process import PATIENCE, SSH_FAILED, Tools, how_ended
from .supervisor import Child, Supervisor

# What the sanitizers print before they describe a finding.
_SANITIZERS = (
    "ERROR: AddressSanitizer",
    "ERROR: HWAddressSanitizer",
    "ERROR: LeakSanitizer",
    "WARNING: MemorySanitizer",
    "WARNING: ThreadSanitizer",
    ": runtime error: ",
)

# How long nothing has to follow a line without an end, in seconds, before it counts as a line.
_SETTLED = 0.1

# How much is read at once.
_CHUNK = 65536

_SIGNALS = {each.value: each.name for each in signal.Signals}


class Application:
    """A program under test, which is ended when the context is left.

    Leaving the context raises an AssertionError when the program crashed or a sanitizer reported
    a finding. A program without a folder in its name is looked for where the tools are. It gets
    the environment of this process, to which that of `tools` and `environment` are added.
    """

    def __init__(
        self,
        command: Sequence[str],
        environment: Optional[Mapping[str, str]] = None,
        tools: Optional[Tools] = None,
    ) -> None:
        tools = (tools or Tools()).with_environment(**(environment or {}))
        self.command = tools.command(*command)
        self._behind_prefix = bool(tools.prefix)
        self._environment = {**os.environ, **tools.environment}
        self._supervisor = Supervisor.of_process()
        self._child: Optional[Child] = None
        self._changed = threading.Condition()
        self._lines: List[str] = []
        # What has come behind the last end of a line, and when something came last.
        self._open = bytearray()
        self._came = 0.0
        self._ended = False
        self._on_end: List[Callable[[], None]] = []
        self._seen = 0
        self._reader = threading.Thread(target=self._read, daemon=True)

    def __enter__(self) -> "Application":
        return self.start()

    def start(self) -> "Application":
        """Starts the program."""
        self._child = self._supervisor.start(
            self.command,
            self._environment,
            subprocess.DEVNULL,
            subprocess.PIPE,
            subprocess.STDOUT,
        )
        self._reader.start()
        return self

    def __exit__(self, kind: object, error: object, trace: object) -> None:
        self.stop()
        if error is None:
            self.check()

    def _read(self) -> None:
        assert self.child.stdout is not None
        while chunk := os.read(self.child.stdout.fileno(), _CHUNK):
            first, *others = chunk.split(b"\n")
            with self._changed:
                self._open += first
                for begun in others:
                    self._lines.append(self._open.decode(errors="replace"))
                    self._open = bytearray(begun)
                self._came = time.monotonic()
                self._changed.notify_all()
        # Its output ends a moment before it does.
        self.child.wait()
        with self._changed:
            self._ended = True
            self._changed.notify_all()
        for call in self._on_end:
            call()

    def on_end(self, call: Callable[[], None]) -> None:
        """Has `call` made when it ends, on a thread of its own. To be said before start()."""
        self._on_end.append(call)

    @property
    def runs(self) -> bool:
        """Whether it has not ended."""
        return self.child.poll() is None

    @property
    def failure(self) -> Optional[str]:
        """How it has ended, when it has failed by itself."""
        status = self.child.poll()
        return f"the application {how_ended(status)}" if status and not self._was_ended else None

    @property
    def _was_ended(self) -> bool:
        return bool(self.child.sent & {signal.SIGTERM, signal.SIGKILL})

    @property
    def child(self) -> Child:
        """Returns the process."""
        if self._child is None:
            raise ToolEnded("the application has not been started")
        return self._child

    @property
    def log(self) -> str:
        """Returns what the program has printed so far, standard error included."""
        with self._changed:
            return "\n".join([*self._lines, *self._open_line()])

    def _open_line(self) -> List[str]:
        return [self._open.decode(errors="replace")] if self._open else []

    def expect_line(self, part: str, within: float = PATIENCE) -> str:
        """Waits for a line that contains `part`, after the last expected one, and returns it.

        A line without an end counts when nothing follows it for a moment. Whatever comes behind it
        later belongs to the same line.
        """
        __tracebackhide__ = True
        until = time.monotonic() + within
        with self._changed:
            begin = self._seen
            while True:
                now = time.monotonic()
                over = self._ended or now >= until
                settles = self._came + _SETTLED
                settled = over or now >= settles
                lines = self._lines[begin:]
                if settled and begin <= len(self._lines):
                    lines += self._open_line()
                for index, line in enumerate(lines, begin):
                    if part in line:
                        self._seen = index + 1
                        return line
                begin = max(begin, len(self._lines))
                if over:
                    raise AssertionError(f"the application did not print {part!r}:\n{self.log}")
                self._changed.wait((until if settled else min(until, settles)) - now)

    def wait(self, within: float = PATIENCE) -> int:
        """Waits until the program ends by itself. Returns its exit status.

        Raises an AssertionError when it still runs after this time.
        """
        try:
            return self.child.wait(within)
        except subprocess.TimeoutExpired:
            problem = f"the application still runs after {within} s:\n{self.log}"
            raise AssertionError(problem) from None

    def stop(self, within: float = PATIENCE) -> None:
        """Asks the program to end, and kills it if it does not. Does nothing when it has ended."""
        self._supervisor.end(self.child, within)
        self._reader.join(within)

    def check(self) -> None:
        """Raises an AssertionError when it has crashed or a sanitizer has reported a finding."""
        status = self.child.returncode or 0
        # A shell, and a program such as ssh before the command, add 128 to the number of a signal.
        number = -status if status < 0 else status - 128
        if (status < 0 or number in _SIGNALS) and number not in self.child.sent:
            name = _SIGNALS.get(number, f"signal {number}")
            raise AssertionError(f"the application crashed with {name}:\n{self.log}")
        # ssh ends with this status for any signal, and also when its connection was lost.
        if self._behind_prefix and status == SSH_FAILED and not self._was_ended:
            raise AssertionError(f"the application crashed, or its connection did:\n{self.log}")
        if any(mark in self.log for mark in _SANITIZERS):
            raise AssertionError(f"a sanitizer has reported:\n{self.log}")
