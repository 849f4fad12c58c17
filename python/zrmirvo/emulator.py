"""The emulated service as a process."""

from __future__ import annotations

import collections
import os
import re
import secrets
import signal
import tempfile
from typing import List, Optional, Sequence

from .application import Application
from .commands import Commands, at
from .errors import Refused, ToolEnded
from .expecting import Growing, Request
from .process import PATIENCE, SHOWN, Json, JsonProcess, Tools
from .supervisor import Supervisor

# The exit status when a script or a command expected something that did not come.
_NOT_MET = 4

# The path of a socket must be short. This is the room before the names of folder and socket.
_LONGEST_PLACE = 48


def _place(tools: Tools) -> str:
    place = tempfile.gettempdir()
    return "/tmp" if tools.prefix or len(place) > _LONGEST_PLACE else place


class Emulator(Commands):
    """The service of a test.

        with Emulator() as emulator:
            emulator.attach(7)
            emulator.expect("sendKeyEvent", accessory=7, keyCode=4, within=2.0)

    Without `folder` it makes a folder of its own; programs that get `environment` find it there.
    `script` is a file, or the commands themselves, one a line; `replay` is a recording.
    """

    # How many requests and events of the recording came, once the service has ended.
    replayed: Optional[Json] = None

    def __init__(
        self,
        tools: Optional[Tools] = None,
        *,
        script: Optional[str] = None,
        replay: Optional[str] = None,
        folder: Optional[str] = None,
        arguments: Sequence[str] = (),
    ) -> None:
        super().__init__()
        self._tools = tools or Tools()
        self._own_folder = folder is None
        self.folder = folder or os.path.join(_place(self._tools), f"zrmirvo-{secrets.token_hex(8)}")
        # The last of the other arguments may be a program.
        self._arguments = list(arguments)
        self._replay = replay
        self._script = script
        self._requests: Growing[Request] = Growing(lambda request: request.operation)
        self._process: Optional[JsonProcess] = None
        # About the process that runs now: its first line, and the outcome of each line that it was
        # given, by its number.
        self._ready: Optional[Json] = None
        self._outcomes: dict[int, Json] = {}
        # How many requests `wait-for` has taken, by what it has named.
        self._taken: collections.Counter[str] = collections.Counter()
        # Why script, replay or limit were not met, also those of a process that has ended.
        self._unmet: Optional[str] = None
        self._clients: List[Json] = []
        self._applications: List[Application] = []

    # Life.

    def __enter__(self) -> "Emulator":
        if self._own_folder and not self._tools.prefix:
            Supervisor.of_process().make_folder(self.folder)
        try:
            self.start()
        except BaseException:
            self._clear_up()
            raise
        return self

    def __exit__(self, kind: object, error: object, trace: object) -> None:
        # What its last lines say counts, too.
        self._clear_up()
        if error is None and self._unmet is not None:
            raise AssertionError(self._unmet)

    def _clear_up(self) -> None:
        self._end()
        self._process = None
        if not self._own_folder:
            return
        if self._tools.prefix:
            self._tools.run("rm", "-rf", self.folder)
        else:
            Supervisor.of_process().remove_folder(self.folder)

    def _end(self) -> None:
        if self._process is None:
            return
        if self._process.returncode is None:
            # A process that hangs receives SIGTERM only when it goes on.
            self._signal(signal.SIGTERM)
            self._signal(signal.SIGCONT)
        self._process.close()

    def start(self) -> None:
        """Starts the service and returns when clients can find it."""
        arguments = ["--json", "--keep-going", "--dir", self.folder]
        if self._replay is not None:
            arguments += ["--replay", self._replay]
        if self._script is not None:
            arguments += ["--script", self._script_file(self._script), "--then-prompt"]
        command = self._tools.fitting("mirvo-emulator", *arguments, *self._arguments)
        self._ready = None
        self._outcomes = {}
        self._taken.clear()
        self._process = JsonProcess(
            command, self._tools.environment, self._receive, self._why_ended
        )
        if self._process.wait_until(lambda: self._ready) is None:
            raise ToolEnded(f"the emulator is not ready after {PATIENCE} s")

    def _script_file(self, script: str) -> str:
        if "\n" not in script:
            return script
        if self._tools.prefix:
            raise ValueError("on a target a script has to be a file of the target")
        path = os.path.join(self.folder, "script")
        with open(path, "w", encoding="utf-8") as file:
            file.write(script)
        return path

    def _receive(self, value: Json) -> None:
        if "ready" in value:
            self._ready = value
        elif "request" in value:
            self._requests.items.append(
                Request(
                    value["request"],
                    value.get("accessory"),
                    value["arguments"],
                    value["answer"],
                    value["pid"],
                    value["connection"],
                    value["time"],
                )
            )
        elif "replay" in value:
            self.replayed = value["replay"]
        elif "clients" in value:
            self._clients = value["clients"]
        elif "ok" in value:
            self._receive_outcome(value)

    def _receive_outcome(self, value: Json) -> None:
        # The outcome of a command in a script names the script's file instead, and that of a replay
        # or of a limit no place.
        place, _, number = value.get("place", "").rpartition(":")
        if place == "<stdin>":
            self._outcomes[int(number)] = value
            waited = re.match(r"wait-for (\S+)(?: (\d+))?", value["command"])
            if waited and value["ok"]:
                self._taken[waited[1]] += int(waited[2] or 1)
        elif value.get("exit") == _NOT_MET:
            self._unmet = f"{value['place']}: {value['error']}" if place else value["error"]

    @staticmethod
    def _why_ended(status: int, errors: str) -> Optional[Exception]:
        return AssertionError(errors) if status == _NOT_MET else None

    @property
    def process(self) -> JsonProcess:
        """Returns the process that runs now."""
        if self._process is None:
            raise ToolEnded("the emulator has not been started")
        return self._process

    @property
    def environment(self) -> dict[str, str]:
        """Returns what a program needs in its environment to find this service."""
        return {"SERVICE_FRAMEWORK_DIR": self.folder}

    def _signal(self, number: signal.Signals) -> None:
        if not self._tools.prefix:
            self.process.signal(number)
        elif self._ready is not None:
            self._tools.run("kill", f"-{number.name[3:]}", str(self._ready["pid"]))

    def hang(self) -> None:
        """Stops the service until resume(), like a process that hangs."""
        self._signal(signal.SIGSTOP)
        if not self._tools.prefix:
            self.process.wait_stopped()

    def resume(self) -> None:
        """Lets the service go on after hang()."""
        self._signal(signal.SIGCONT)

    def die(self) -> None:
        """Ends the service as a crash would."""
        if self._script is None:
            # The command `die` first prints all waiting lines. A service that hangs reads it when
            # it goes on.
            self.process.write("die")
            self._signal(signal.SIGCONT)
        else:
            self._signal(signal.SIGKILL)
        self.process.wait()

    def quit(self) -> None:
        """Ends the service in order, when its clients have taken what was sent."""
        self.process.write("quit")
        self.process.wait()

    def restart(self) -> None:
        """Ends the service if it runs, and starts it again. `requests` keeps what it has."""
        self._end()
        self.start()

    # Commands.

    def command(self, *lines: str, within: float = PATIENCE) -> Json:
        """Gives the emulator any command, or the lines of a block, and returns the outcome.

        Raises Refused when it is not understood, and an AssertionError when it is an expectation
        that is not met.
        """
        number = self.process.write(*lines)
        outcome = self.process.wait_until(lambda: self._outcomes.get(number), within)
        if outcome is None:
            raise Refused(f"the emulator has not done in {within} s: {lines[0][:SHOWN]}")
        # A wrong line of a block has an outcome of its own.
        for line_number in range(number - len(lines) + 1, number + 1):
            outcome = self._outcomes.get(line_number, outcome)
            if not outcome["ok"]:
                error = AssertionError if outcome["exit"] == _NOT_MET else Refused
                raise error(outcome["error"])
        return outcome

    def wait_for_script(self, within: float = PATIENCE) -> None:
        """Waits until the script is over. Raises an AssertionError if it fails or takes longer."""
        try:
            self.command("wait 0", within=within)
        except Refused as refused:
            raise AssertionError(f"the script is not over: {refused}") from None

    def clients(self) -> List[Json]:
        """Returns the connected clients, each with "pid", "connections" and "listens"."""
        self.command("clients")
        return self._clients

    # What the application does.

    @property
    def requests(self) -> List[Request]:
        """Returns all requests so far, in the order in which they came, as a list that grows."""
        return self._requests.items

    def expect(self, operation: str, *, within: float = PATIENCE, **arguments: object) -> Request:
        """Returns the first matching request after the last one that was expected.

        It may have come already; otherwise this waits for it, and raises an AssertionError when
        it does not come in time. `accessory` and any arguments are compared; bytes as bytes.
        """
        __tracebackhide__ = True
        return self._requests.expect(
            self.process, operation, within, dict(arguments), self._why_none
        )

    def watch(self, application: Application) -> None:
        """Has expect() fail without waiting when this application has failed, and none is left.

        To be said before the application is started; the fixture `head_unit` does.
        """
        application.on_end(lambda: self.process.wake())
        self._applications.append(application)

    def _why_none(self) -> Optional[str]:
        if not self._applications or any(each.runs for each in self._applications):
            return None
        return self._applications[-1].failure

    def expect_none(self, operation: str, *, within: float, **arguments: object) -> None:
        """Raises an AssertionError if a matching request comes from now on, within this time."""
        __tracebackhide__ = True
        self._requests.expect_none(self.process, operation, within, dict(arguments))

    def wait_for(
        self,
        operation: str,
        count: int = 1,
        *,
        accessory: Optional[int] = None,
        within: float = PATIENCE,
    ) -> None:
        """Waits until this many requests of the operation were answered since the start.

        A request is in `requests` before its answer has left; here the answers have left.
        """
        wanted = at(operation, accessory)
        limit = round(within * 1000)
        # The emulator counts each request for one `wait-for` only.
        taken = self._taken[wanted]
        if taken >= count:
            return
        try:
            self.command(
                f"wait-for {wanted} {count - taken} within {limit}", within=within + PATIENCE
            )
        except AssertionError as failure:
            before = f"; {taken} had come before" if taken else ""
            raise AssertionError(f"{failure}{before}; {self._requests.last()}") from None
