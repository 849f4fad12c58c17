"""The emulated service as a process."""

from __future__ import annotations

import os
import secrets
import signal
import tempfile
from typing import List, Optional, Sequence

from .application import Application
from .commands import Commands, at
from .errors import Refused, ToolEnded
from .expecting import Growing, Request
from .process import PATIENCE, Json, JsonProcess, Tools
from .supervisor import Supervisor

# The exit status when a script or a command expected what did not come.
_NOT_MET = 4

# A socket's path is short; this is what there is room for before the names of folder and socket.
_LONGEST_PLACE = 48


def _place(tools: Tools) -> str:
    place = tempfile.gettempdir()
    return "/tmp" if tools.prefix or len(place) > _LONGEST_PLACE else place


class Emulator(Commands):
    """The service of a test.

        with Emulator() as emulator:
            emulator.attach(7)
            emulator.expect("sendKeyEvent", accessory=7, keyCode=4, within=2.0)

    Without `folder` it makes one of its own, where programs that get `environment` find it.
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
        self._arguments = ["--json", "--keep-going", "--dir", self.folder, *arguments]
        self._replay = replay
        if replay is not None:
            self._arguments += ["--replay", replay]
        self._script = script
        self._requests: Growing[Request] = Growing(lambda request: request.operation)
        self._process: Optional[JsonProcess] = None
        # Of the process that runs now: its first line, the number of lines that it was given, and
        # what they have come to by the number of the line.
        self._ready: Optional[Json] = None
        self._lines = 0
        self._outcomes: dict[int, Json] = {}
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
        # A script ends the service when it is not met; a replay is judged when the service ends.
        unmet = self._script is not None and self.process.returncode == _NOT_MET
        process = self.process
        self._clear_up()
        unmet = unmet or self._replay is not None and process.returncode == _NOT_MET
        if error is None and unmet:
            raise AssertionError(process.errors)

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
            # One that hangs takes the signal that ends it once it goes on.
            self._signal(signal.SIGTERM)
            self._signal(signal.SIGCONT)
        self._process.close()

    def start(self) -> None:
        """Starts the service and returns when clients can find it."""
        arguments = list(self._arguments)
        if self._script is not None:
            arguments += ["--script", self._script_file(self._script), "--then-prompt"]
        command = self._tools.fitting("mirvo-emulator", *arguments)
        self._ready = None
        self._lines = 0
        self._outcomes = {}
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
            # What a script has come to has the name of its file.
            place, _, number = value.get("place", "").rpartition(":")
            if place == "<stdin>":
                self._outcomes[int(number)] = value

    @staticmethod
    def _why_ended(status: int, errors: str) -> Optional[Exception]:
        return AssertionError(errors) if status == _NOT_MET else None

    @property
    def process(self) -> JsonProcess:
        """The process that runs now."""
        if self._process is None:
            raise ToolEnded("the emulator has not been started")
        return self._process

    @property
    def environment(self) -> dict[str, str]:
        """What a program needs in its environment to find this service."""
        return {"SERVICE_FRAMEWORK_DIR": self.folder}

    def _signal(self, number: signal.Signals) -> None:
        if not self._tools.prefix:
            self.process.signal(number)
        elif self._ready is not None:
            self._tools.run("kill", f"-{number.name[3:]}", str(self._ready["pid"]))

    def hang(self) -> None:
        """Stops as a process that hangs, until resume()."""
        self._signal(signal.SIGSTOP)
        if not self._tools.prefix:
            self.process.wait_stopped()

    def resume(self) -> None:
        """Goes on after hang()."""
        self._signal(signal.SIGCONT)

    def die(self) -> None:
        """Ends as by a crash."""
        if self._script is None:
            # Its own command first prints what there is to print, and is read when it goes on.
            self.process.write("die")
            self._signal(signal.SIGCONT)
        else:
            self._signal(signal.SIGKILL)
        self.process.wait()

    def quit(self) -> None:
        """Ends in order, when what was sent has been taken."""
        self.process.write("quit")
        self.process.wait()

    def restart(self) -> None:
        """Starts the service anew, after ending it if it runs. `requests` goes on growing."""
        self._end()
        self.start()

    # Commands.

    def command(self, *lines: str, within: float = PATIENCE) -> Json:
        """Gives the emulator any command, or the lines of a block, and answers the outcome.

        Raises Refused when it is not understood, and an AssertionError when it is an expectation
        that is not met.
        """
        for line in lines:
            self.process.write(line)
        self._lines += len(lines)
        number = self._lines
        outcome = self.process.wait_until(lambda: self._outcomes.get(number), within)
        if outcome is None:
            raise Refused(f"the emulator has not done in {within} s: {lines[0]}")
        # A line of a block that is wrong has an outcome of its own.
        for line_number in range(number - len(lines) + 1, number + 1):
            outcome = self._outcomes.get(line_number, outcome)
            if not outcome["ok"]:
                error = AssertionError if outcome["exit"] == _NOT_MET else Refused
                raise error(outcome["error"])
        return outcome

    def wait_for_script(self, within: float = PATIENCE) -> None:
        """Waits until the script is over; an AssertionError when it is not met, or not over."""
        try:
            self.command("wait 0", within=within)
        except Refused as refused:
            raise AssertionError(f"the script is not over: {refused}") from None

    def clients(self) -> List[Json]:
        """The clients that are connected, each with "pid", "connections" and "listens"."""
        self.command("clients")
        return self._clients

    # What the application does.

    @property
    def requests(self) -> List[Request]:
        """All requests so far, in the order in which they came. It grows."""
        return self._requests.items

    def expect(self, operation: str, *, within: float = PATIENCE, **arguments: object) -> Request:
        """The first such request behind the last one that was expected, or an AssertionError.

        It may have come already. `accessory` and any arguments are compared; bytes as bytes.
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
        """Fails if such a request comes from now on, within this time."""
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
        """Waits until so many such requests have been answered since the service was started.

        A request is in `requests` before its answer has left; here the answer has left.
        """
        wanted = at(operation, accessory)
        limit = round(within * 1000)
        try:
            self.command(f"wait-for {wanted} {count} within {limit}", within=within + PATIENCE)
        except AssertionError as failure:
            raise AssertionError(f"{failure}; {self._requests.last()}") from None
