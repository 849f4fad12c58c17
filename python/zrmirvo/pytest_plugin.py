"""Fixtures for tests of a head unit. pytest loads this by itself."""

from __future__ import annotations

import hashlib
import os
import re
import shlex
from typing import Any, Callable, Generator, Iterator, List, NamedTuple, Optional

import pytest

from .application import Application
from .ctl import Ctl
from .emulator import Emulator
from .monitor import Monitor
from .process import Tools, how_ended


def pytest_addoption(parser: pytest.Parser) -> None:
    """Adds the options: where the tools are, and what is kept."""
    group = parser.getgroup("zrmirvo")
    group.addoption("--zrmirvo-bin", metavar="DIR", help="where the tools are; without it, PATH")
    group.addoption(
        "--zrmirvo-target",
        metavar="PREFIX",
        default="",
        help="a command before each tool, such as 'ssh target'",
    )
    group.addoption(
        "--zrmirvo-record",
        metavar="DIR",
        help="record each application under test, and keep the recordings of failed tests here",
    )


class _Started(NamedTuple):
    program: str
    application: Application
    recording: Optional[str]


_STARTED = pytest.StashKey[List[_Started]]()
_FAILED = pytest.StashKey[bool]()


@pytest.hookimpl(trylast=True)  # type: ignore[misc]
def pytest_runtest_call(item: pytest.Item) -> None:
    """Fails a test that has passed when its application crashed or a sanitizer reported."""
    for started in item.stash.get(_STARTED, []):
        started.application.stop()
        started.application.check()


@pytest.hookimpl(hookwrapper=True)  # type: ignore[misc]
def pytest_runtest_makereport(
    item: pytest.Item, call: "pytest.CallInfo[None]"
) -> Generator[None, Any, None]:
    """Shows the logs of a failed test's applications, and keeps or removes their recordings."""
    report = (yield).get_result()
    if report.failed:
        item.stash[_FAILED] = True
    for program, application, recording in item.stash.get(_STARTED, []):
        if report.failed:
            status = application.child.poll()
            how = "still runs" if status is None else how_ended(status)
            title = f"Log of {program}, which {how}"
            report.sections.append((title, application.log))
            if recording is not None:
                report.sections.append(("Recording", recording))
        elif call.when == "teardown" and recording is not None and _FAILED not in item.stash:
            _tools(item.config).run("rm", "-f", recording, f"{recording}.old")


def _tools(config: pytest.Config) -> Tools:
    prefix = shlex.split(config.getoption("--zrmirvo-target"))
    return Tools(config.getoption("--zrmirvo-bin"), prefix)


@pytest.fixture(scope="session")
def zrmirvo_tools(pytestconfig: pytest.Config) -> Tools:
    """Returns the tools that the options name."""
    return _tools(pytestconfig)


@pytest.fixture
def emulator(zrmirvo_tools: Tools) -> Iterator[Emulator]:
    """A service of the test's own."""
    with Emulator(zrmirvo_tools) as running:
        yield running


@pytest.fixture
def mirvoctl(zrmirvo_tools: Tools, emulator: Emulator) -> Iterator[Ctl]:
    """Every operation of the library, against the test's service."""
    with Ctl(zrmirvo_tools, environment=emulator.environment) as ctl:
        yield ctl


@pytest.fixture
def monitor(zrmirvo_tools: Tools, emulator: Emulator) -> Iterator[Monitor]:
    """The events of all accessories of the test's service."""
    with Monitor(tools=zrmirvo_tools, environment=emulator.environment) as running:
        yield running


StartApplication = Callable[..., Application]


@pytest.fixture
def head_unit(
    request: pytest.FixtureRequest, zrmirvo_tools: Tools, emulator: Emulator
) -> Iterator[StartApplication]:
    """Starts the application under test: `head_unit("path/to/it", "argument", NAME="value")`.

    It finds the test's service, and is stopped at the end. Its log is shown when the test fails,
    and the test fails when it crashed or a sanitizer reported.
    """
    record: Optional[str] = request.config.getoption("--zrmirvo-record")
    started: List[_Started] = []
    request.node.stash[_STARTED] = started

    def start(program: str, *arguments: str, **environment: str) -> Application:
        command = [program, *arguments]
        file = None
        if record is not None:
            zrmirvo_tools.run("mkdir", "-p", record)
            file = _recording(record, request.node, len(started))
            command = ["mirvo-record", "-o", file, "--", zrmirvo_tools.find(program), *arguments]
        application = Application(command, {**emulator.environment, **environment}, zrmirvo_tools)
        emulator.watch(application)
        application.start()
        started.append(_Started(program, application, file))
        return application

    yield start
    for each in started:
        each.application.stop()


def _recording(folder: str, node: pytest.Item, number: int) -> str:
    # The parameters of a test may be long, and may differ only in characters that the name of a
    # file cannot have.
    test, parameters, _ = node.nodeid.partition("[")
    name = re.sub(r"[^A-Za-z0-9_.-]+", "_", test)[-180:]
    if parameters:
        name += "-" + hashlib.sha256(node.nodeid.encode()).hexdigest()[:8]
    return os.path.join(folder, f"{name}-{number}.pcapng")
