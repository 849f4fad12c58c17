"""Finds the tools, and runs them as processes."""

from __future__ import annotations

import json
import os
import queue
import re
import shlex
import shutil
import subprocess
import tempfile
import threading
import time
from typing import Any, Callable, Mapping, Optional, Sequence, TypeVar

from .errors import NotJson, ToolEnded, ToolNotFound, WrongVersion
from .supervisor import Supervisor
from .version import __version__

Json = dict[str, Any]
Found = TypeVar("Found")

_TOOLS = ("mirvo-emulator", "mirvoctl", "mirvo-record")

# How long to wait, in seconds, for everything that has no limit of its own.
PATIENCE = 10.0

# The status of ssh when it has none of the program.
SSH_FAILED = 255

# How much is shown of a line, which may be long.
SHOWN = 300

# The longest time, in seconds, for a command that only answers a question, even on a slow target.
_LONGEST_RUN = 60.0


def how_ended(status: int) -> str:
    """Returns the exit status of a process in words."""
    return f"was killed by signal {-status}" if status < 0 else f"ended with status {status}"


class Tools:
    """Where the tools are and how they are started.

    `folder` holds the programs; without it they are looked for in PATH. `prefix` is put before each
    command, such as ["ssh", "target"]; the programs are then those of the target. `environment` is
    added to that of this process; with a prefix, the program `env` sets it on the target.
    """

    def __init__(
        self,
        folder: Optional[str] = None,
        prefix: Sequence[str] = (),
        environment: Optional[Mapping[str, str]] = None,
    ) -> None:
        self.folder = os.path.abspath(folder) if folder and not prefix else folder
        self.prefix = list(prefix)
        self.environment = dict(environment or {})
        self._fitting: set[str] = set()

    def with_environment(self, **more: str) -> "Tools":
        """Returns the same tools with more in their environment."""
        tools = Tools(self.folder, self.prefix, {**self.environment, **more})
        tools._fitting = self._fitting
        return tools

    def find(self, name: str) -> str:
        """Returns the path of a program.

        A program that is none of the tools may also be in PATH. A path is returned as it is.
        """
        if "/" in name:
            return name
        if self.prefix:
            return os.path.join(self.folder, name) if self.folder else name
        path = shutil.which(name, path=self.folder)
        if path is None and name not in _TOOLS:
            path = shutil.which(name)
        if path is None:
            place = f"in {self.folder}" if self.folder else "in PATH"
            raise ToolNotFound(
                f"{name} is not {place}; say where it is with --zrmirvo-bin or Tools(folder=…)"
            )
        return path

    def command(self, name: str, *arguments: str) -> list[str]:
        """Returns the whole command line of a program."""
        return self._prefixed(self.find(name), *arguments)

    def fitting(self, name: str, *arguments: str) -> list[str]:
        """Returns the command line of a tool. Raises WrongVersion when its version does not fit."""
        if name not in self._fitting:
            self._check_version(name)
            self._fitting.add(name)
        return self.command(name, *arguments)

    def run(self, *command: str) -> "subprocess.CompletedProcess[str]":
        """Runs a short command where the tools run. Returns what it printed, and its status."""
        supervisor = Supervisor.of_process()
        whole = self._prefixed(*command)
        child = supervisor.start(
            whole,
            {**os.environ, **self.environment},
            subprocess.DEVNULL,
            subprocess.PIPE,
            subprocess.PIPE,
        )
        try:
            printed = child.communicate(timeout=_LONGEST_RUN)
        except subprocess.TimeoutExpired:
            sentence = f"{shlex.join(whole)} has not ended after {_LONGEST_RUN} s"
            raise ToolEnded(sentence) from None
        finally:
            supervisor.end(child, PATIENCE)
        output, errors = (text.decode(errors="replace") for text in printed)
        return subprocess.CompletedProcess(whole, child.returncode, output, errors)

    def _prefixed(self, *command: str) -> list[str]:
        if not self.prefix or not self.environment:
            return [*self.prefix, *command]
        settings = (f"{name}={value}" for name, value in self.environment.items())
        return [*self.prefix, "env", *settings, *command]

    def _check_version(self, name: str) -> None:
        answer = self.run(self.find(name), "--version")
        # A shell ends with 127 when it does not find a program, and ssh passes that on.
        if answer.returncode == 127:
            raise ToolNotFound(f"{name} is not there: {answer.stderr.strip()}")
        if self.prefix and answer.returncode == SSH_FAILED:
            raise ToolEnded(f"{shlex.join(self.prefix)} failed: {answer.stderr.strip()}")
        found = re.search(r"(\d+\.\d+)\.\d+", answer.stdout)
        wanted = ".".join(__version__.split(".")[:2])
        if answer.returncode != 0 or found is None or found[1] != wanted:
            said = (answer.stdout + answer.stderr).strip() or "nothing"
            raise WrongVersion(
                f"{name} is not of version {wanted}, for which this package is made;"
                f" asked for its version, it said: {said}"
            )


class JsonProcess:
    """A process that prints one JSON object a line, and reads lines.

    A thread reads what the process prints. Others wait for that thread without polling, and never
    longer than a limit. A second thread writes, since a process that hangs does not read.
    """

    def __init__(
        self,
        command: Sequence[str],
        environment: Mapping[str, str],
        receive: Callable[[Json], None],
        error_of: Callable[[int, str], Optional[Exception]] = lambda status, errors: None,
    ) -> None:
        """Starts the process.

        `receive` gets each object on the reading thread, while no other thread looks at it.
        `error_of` makes the error for an exit status and for the text on standard error. When it
        returns None, the error is ToolEnded.
        """
        self.command = list(command)
        self._error_of = error_of
        self._changed = threading.Condition()
        self._receive = receive
        self._failure: Optional[Exception] = None
        self._ended = False
        self._errors = tempfile.TemporaryFile()
        self._supervisor = Supervisor.of_process()
        self._child = self._supervisor.start(
            self.command,
            {**os.environ, **environment},
            subprocess.PIPE,
            subprocess.PIPE,
            self._errors,
        )
        self._given: "queue.SimpleQueue[Optional[bytes]]" = queue.SimpleQueue()
        self._lines_given = 0
        threading.Thread(target=self._write, daemon=True).start()
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    @property
    def pid(self) -> int:
        """Returns the process id; with a prefix, that of the prefix's program."""
        return self._child.pid

    @property
    def returncode(self) -> Optional[int]:
        """Returns the exit status: negative for a signal, and None while the process runs."""
        return self._child.poll()

    @property
    def errors(self) -> str:
        """Returns what the process has written to standard error so far."""
        # Reading must not move the offset of the file, since the process writes at the same one.
        size = os.fstat(self._errors.fileno()).st_size
        return os.pread(self._errors.fileno(), size, 0).decode(errors="replace").strip()

    def _read(self) -> None:
        assert self._child.stdout is not None
        for line in self._child.stdout:
            with self._changed:
                try:
                    value = json.loads(line)
                    if not isinstance(value, dict):
                        raise ValueError
                    self._receive(value)
                except Exception:  # JSON of another program fails in many ways.
                    text = line[:SHOWN].decode(errors="replace").rstrip()
                    self._failure = NotJson(
                        f"{self._name()} printed what is no JSON of its: {text}"
                    )
                    break
                self._changed.notify_all()
        with self._changed:
            self._ended = True
            self._changed.notify_all()

    def _name(self) -> str:
        return shlex.join(self.command)

    def wait_until(
        self, look: Callable[[], Optional[Found]], within: float = PATIENCE
    ) -> Optional[Found]:
        """Calls `look` whenever something has come. Returns what it finds; None when time is up.

        Raises ToolEnded when the process has ended and nothing was found.
        """
        until = time.monotonic() + within
        with self._changed:
            while True:
                found = look()
                if found is not None:
                    return found
                if self._failure is not None:
                    raise self._failure
                if self._ended:
                    raise self._end_error()
                left = until - time.monotonic()
                if left <= 0:
                    return None
                self._changed.wait(left)

    def wake(self) -> None:
        """Has those who wait look again, since something else than its output has changed."""
        with self._changed:
            self._changed.notify_all()

    def _end_error(self) -> Exception:
        try:
            status = self._child.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            return ToolEnded(f"{self._name()} has closed its standard output")
        text = f"{self._name()} {how_ended(status)}:\n{self.errors}".rstrip(":\n")
        return self._error_of(status, self.errors) or ToolEnded(text)

    def _write(self) -> None:
        assert self._child.stdin is not None
        try:
            with self._child.stdin as pipe:
                for lines in iter(self._given.get, None):
                    pipe.write(lines)
                    pipe.flush()
        except BrokenPipeError:
            # Those who wait for the outcome of a line learn how the process has ended.
            pass

    def write(self, *lines: str) -> int:
        """Gives the process lines, and does not wait until it has read them.

        Returns the number of the last line, counted from 1. Raises ToolEnded when the process has
        ended.
        """
        for line in lines:
            if "\n" in line:
                raise ValueError(f"a command is one line: {line!r}")
        encoded = b"".join(line.encode() + b"\n" for line in lines)
        if self._child.poll() is not None:
            raise self._end_error()
        with self._changed:
            self._lines_given += len(lines)
            self._given.put(encoded)
            return self._lines_given

    def signal(self, number: int) -> None:
        """Sends a signal to the process. Does nothing when it has ended."""
        self._child.send_signal(number)

    def wait_stopped(self) -> None:
        """Waits until SIGSTOP has stopped all threads of the process."""
        try:
            os.waitid(os.P_PID, self.pid, os.WSTOPPED | os.WEXITED | os.WNOWAIT)
        except ChildProcessError:
            raise self._end_error() from None

    def wait(self, within: float = PATIENCE) -> int:
        """Waits until the process ends by itself. Returns its exit status.

        Raises an AssertionError when it still runs after this time.
        """
        try:
            status = self._child.wait(within)
        except subprocess.TimeoutExpired:
            raise AssertionError(f"{self._name()} still runs after {within} s") from None
        # Afterwards its last lines have been read, too.
        self._reader.join(within)
        return status

    def close(self, within: float = PATIENCE) -> int:
        """Ends the process, by force if it does not end by itself. Returns its exit status."""
        assert self._child.stdout is not None
        self._given.put(None)
        status = self._supervisor.end(self._child, within)
        self._reader.join(within)
        self._child.stdout.close()
        return status
