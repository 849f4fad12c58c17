"""The emulated service as a process."""

from __future__ import annotations

import os
import secrets
import signal
import tempfile
from types import TracebackType
from typing import List, Optional, Sequence, Type

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


def _at(operation: str, accessory: Optional[int]) -> str:
    return operation if accessory is None else f"{operation}@{accessory}"


def _quoted(text: str) -> str:
    if '"' in text or "\n" in text:
        raise ValueError(f"the emulator cannot be given a quote or an end of line: {text!r}")
    return f'"{text}"'


class Answers:
    """How requests are answered. The emulator itself sets it for good, `once` for one request."""

    def __init__(self, emulator: "Emulator", before: str) -> None:
        self._target = emulator
        self._before = before

    def _set(self, *words: object) -> None:
        self._target.command(self._before + " ".join(str(word) for word in words if word != ""))

    def answer(
        self,
        operation: str,
        result: Optional[int] = None,
        *,
        data: Optional[bytes] = None,
        accessory: Optional[int] = None,
    ) -> None:
        """Answers with this result or these bytes; with both, both are set."""
        if result is not None:
            self._set("answer", _at(operation, accessory), result)
        if data is not None:
            self._set("answer", _at(operation, accessory), "bytes", data.hex())

    def silent(self, operation: str, *, accessory: Optional[int] = None) -> None:
        """Does not answer: the client waits for its timeout."""
        self._set("silent", _at(operation, accessory))

    def no_reply(self, operation: str, *, accessory: Optional[int] = None) -> None:
        """Tells the client at once that there is no reply."""
        self._set("no-reply", _at(operation, accessory))

    def mistype(self, operation: str, *, accessory: Optional[int] = None) -> None:
        """Answers with a message of the wrong class."""
        self._set("mistype", _at(operation, accessory))

    def delay(self, operation: str, seconds: float, *, accessory: Optional[int] = None) -> None:
        """Answers that much later."""
        self._set("delay", _at(operation, accessory), round(seconds * 1000))


class Emulator(Answers):
    """The service of a test.

        with Emulator() as emulator:
            emulator.attach(7)
            emulator.expect("sendKeyEvent", accessory=7, keyCode=4, within=2.0)

    Without `folder` it makes one of its own, where programs that get `environment` find it.
    `script` is a file, or the commands themselves, one a line; `replay` is a recording.
    """

    def __init__(
        self,
        tools: Optional[Tools] = None,
        *,
        script: Optional[str] = None,
        replay: Optional[str] = None,
        folder: Optional[str] = None,
        arguments: Sequence[str] = (),
    ) -> None:
        super().__init__(self, "")
        self.once = Answers(self, "once ")
        self._tools = tools or Tools()
        self._own_folder = folder is None
        self.folder = folder or os.path.join(_place(self._tools), f"zrmirvo-{secrets.token_hex(8)}")
        self._arguments = ["--json", "--keep-going", "--dir", self.folder, *arguments]
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

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        failure = None
        if error is None and self._script and self.process.returncode == _NOT_MET:
            failure = self._why_ended(_NOT_MET, self.process.errors)
        self._clear_up()
        if failure is not None:
            raise failure

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

    def on(self, operation: str, *commands: str, accessory: Optional[int] = None) -> None:
        """Performs commands after each such request, once its answer has left."""
        self.command(f"on {_at(operation, accessory)}", *commands, "end")

    def on_next(self, operation: str, *commands: str, accessory: Optional[int] = None) -> None:
        """Performs commands after the next such request, once its answer has left."""
        self.command(f"on-next {_at(operation, accessory)}", *commands, "end")

    def clients(self) -> List[Json]:
        """The clients that are connected, each with "pid", "connections" and "listens"."""
        self.command("clients")
        return self._clients

    def attach(self, accessory: int) -> None:
        """Reports that the accessory has come; it is known from now on."""
        self.command(f"attach {accessory}")

    def detach(self, accessory: int) -> None:
        """Reports that the accessory has gone."""
        self.command(f"detach {accessory}")

    def unavailable(self, accessory: int) -> None:
        """Reports that the accessory cannot be controlled."""
        self.command(f"unavailable {accessory}")

    def state(self, accessory: int, state: int) -> None:
        """Reports another running state."""
        self.command(f"state {accessory} {state}")

    def orientation(self, accessory: int, orientation: int) -> None:
        """Reports another orientation of the screen."""
        self.command(f"orientation {accessory} {orientation}")

    def error(self, accessory: int, code: int) -> None:
        """Reports an error of the accessory."""
        self.command(f"error {accessory} {code}")

    def request(self, accessory: int, param1: int, param2: int) -> None:
        """Lets the accessory request something with two numbers."""
        self.command(f"request {accessory} {param1} {param2}")

    def request_data(self, accessory: int, data: bytes) -> None:
        """Lets the accessory request something with at most 36 bytes."""
        self.command(f"request-data {accessory} {data.hex()}")

    def response(self, accessory: int) -> None:
        """Lets the accessory respond."""
        self.command(f"response {accessory}")

    def time_date(self, accessory: int, *numbers: int) -> None:
        """Lets the accessory respond with a date and a time, nine numbers."""
        self.command(f"time-date {accessory} {' '.join(map(str, numbers))}")

    def descriptor(self, accessory: int, data: bytes) -> None:
        """Sends a HID report descriptor."""
        self.command(f"descriptor {accessory} {data.hex()}")

    def hid(self, accessory: int, data: bytes) -> None:
        """Sends a HID event."""
        self.command(f"hid {accessory} {data.hex()}")

    def raw(self, accessory: int, sub_code: int, data: bytes) -> None:
        """Sends any notification with bytes, sensible or not."""
        self.command(f"raw {accessory} {sub_code} {data.hex()}")

    def notify(self, accessory: int, sub_code: int, value: int) -> None:
        """Sends any notification with a value, sensible or not."""
        self.command(f"notify {accessory} {sub_code} {value}")

    def normal(self, operation: str, *, accessory: Optional[int] = None) -> None:
        """Answers as if nothing had been set."""
        self.command(f"normal {_at(operation, accessory)}")

    def ids(self, *accessories: int) -> None:
        """Knows exactly these accessories, without an event."""
        self.command("ids " + " ".join(map(str, accessories)))

    def descriptor_bytes(self, data: bytes) -> None:
        """Has this HID descriptor."""
        self.command(f"descriptor-bytes {data.hex()}")

    def version(self, text: str) -> None:
        """Has this version."""
        self.command(f"version {_quoted(text)}")

    def drop(self, pid: int) -> None:
        """Closes all connections of a client."""
        self.command(f"drop {pid}")

    def to(self, pid: int, event: str) -> None:
        """Sends an event to one client only; the event is a command, such as "attach 7"."""
        self.command(f"to {pid} {event}")

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
        return self._requests.expect(self.process, operation, within, dict(arguments))

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
        wanted = _at(operation, accessory)
        limit = round(within * 1000)
        try:
            self.command(f"wait-for {wanted} {count} within {limit}", within=within + PATIENCE)
        except AssertionError as failure:
            raise AssertionError(f"{failure}; {self._requests.last()}") from None
