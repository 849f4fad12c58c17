"""Clears up what a process leaves behind when it is killed.

The supervisor is a process of its own. It reads from a pipe to which only its owner writes. The
owner writes a line for each program that it starts and for each folder that it makes, and another
line when it has cleared this up itself. When the owner has ended, in whatever way, the pipe ends.
Then the supervisor kills the programs and removes the folders that are left, and ends.
"""

from __future__ import annotations

import json
import os
import shutil
import signal
import subprocess
import sys
import threading
from typing import IO, Any, Optional, Sequence

# Starts a program only after the supervisor knows of it. When the owner is killed before, the pipe
# is closed, and this ends without starting the program.
_WAIT_AND_BEGIN = """
import os, signal, sys
# Python ignores these signals, and what a program ignores goes on to the next one.
for ignored in (signal.SIGPIPE, signal.SIGXFSZ):
    signal.signal(ignored, signal.SIG_DFL)
told = os.read(int(sys.argv[1]), 1)
os.close(int(sys.argv[1]))
if told:
    try:
        os.execvp(sys.argv[2], sys.argv[2:])
    except OSError as error:
        print(f"{sys.argv[2]} cannot be started: {error.strerror}", file=sys.stderr)
        # A shell uses the same status.
        sys.exit(127)
"""


class Child(subprocess.Popen[bytes]):
    """A program, and the signals that it was sent from here."""

    def __init__(self, *arguments: Any, **options: Any) -> None:
        self.sent: set[int] = set()
        super().__init__(*arguments, **options)

    def send_signal(self, sig: int) -> None:
        """Sends a signal, as terminate() and kill() do, too. Does nothing when it has ended."""
        if self.poll() is None:
            self.sent.add(sig)
            super().send_signal(sig)


class Supervisor:
    """The owner's side. Thread-safe; one for each process is enough."""

    _instance: Optional["Supervisor"] = None
    _lock = threading.Lock()

    @classmethod
    def of_process(cls) -> "Supervisor":
        """Returns the supervisor of this process. It is started on first use, also after a fork."""
        with cls._lock:
            if cls._instance is None:
                cls._instance = cls()
            return cls._instance

    @classmethod
    def _leave_to_parent(cls) -> None:
        # A process that is forked would keep the pipe open after its parent, the owner, has ended.
        if cls._instance is not None and cls._instance._process.stdin is not None:
            cls._instance._process.stdin.close()
        cls._instance = None
        cls._lock = threading.Lock()

    def __init__(self) -> None:
        self._left: dict[tuple[str, object], None] = {}
        self._begin()

    def _begin(self) -> None:
        self._process = subprocess.Popen(
            [sys.executable, "-I", "-S", os.path.abspath(__file__)],
            stdin=subprocess.PIPE,
            stdout=subprocess.DEVNULL,
            # A new session keeps Ctrl-C away: it is for the owner, which then clears up or ends.
            start_new_session=True,
        )

    def _tell(self, kind: str, name: object, gone: bool = False) -> None:
        with self._lock:
            if gone:
                self._left.pop((kind, name), None)
            else:
                self._left[kind, name] = None
            try:
                self._write(kind, name, gone)
            except BrokenPipeError:
                # The supervisor itself was killed. Another one learns of everything that is left.
                self._process.wait()
                self._begin()
                for left in self._left:
                    self._write(*left, gone=False)

    def _write(self, kind: str, name: object, gone: bool) -> None:
        assert self._process.stdin is not None
        line = json.dumps({kind: name, "gone": gone}) + "\n"
        os.write(self._process.stdin.fileno(), line.encode())

    def start(
        self,
        command: Sequence[str],
        environment: Optional[dict[str, str]],
        stdin: int,
        stdout: int,
        stderr: int | IO[bytes],
    ) -> Child:
        """Starts a program in a process group of its own, which the supervisor knows."""
        begin, go = os.pipe()
        try:
            child = Child(
                [sys.executable, "-I", "-S", "-c", _WAIT_AND_BEGIN, str(begin), *command],
                env=environment,
                stdin=stdin,
                stdout=stdout,
                stderr=stderr,
                pass_fds=[begin],
                start_new_session=True,
            )
            self._tell("process", child.pid)
            os.write(go, b"\n")
        finally:
            os.close(begin)
            os.close(go)
        return child

    def end(self, child: subprocess.Popen[bytes], within: float) -> int:
        """Asks a program to end, then kills what is left of its group. Returns its exit status."""
        if child.poll() is None:
            child.terminate()
        try:
            child.wait(within)
        except subprocess.TimeoutExpired:
            child.kill()
        status = child.wait()
        _kill_group(child.pid)
        self._tell("process", child.pid, gone=True)
        return status

    def make_folder(self, path: str) -> None:
        """Makes a folder that only this user can enter."""
        self._tell("folder", path)
        os.mkdir(path, 0o700)

    def remove_folder(self, path: str) -> None:
        """Removes a folder of make_folder() with what is in it."""
        shutil.rmtree(path, ignore_errors=True)
        self._tell("folder", path, gone=True)


os.register_at_fork(after_in_child=Supervisor._leave_to_parent)


def _kill_group(leader: int) -> None:
    try:
        os.killpg(leader, signal.SIGKILL)
    except (ProcessLookupError, PermissionError):
        pass


def main() -> None:
    """The supervisor's own side."""
    left: dict[tuple[str, object], None] = {}
    for line in sys.stdin:
        entry = json.loads(line)
        gone = entry.pop("gone")
        [item] = entry.items()
        if gone:
            left.pop(item, None)
        else:
            left[item] = None
    for kind, name in left:
        if kind == "process":
            _kill_group(int(str(name)))
    for kind, name in left:
        if kind == "folder":
            shutil.rmtree(str(name), ignore_errors=True)


if __name__ == "__main__":
    main()
