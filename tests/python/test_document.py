"""The document has every fixture, option, method and error, and no other."""

import inspect
import pathlib
import re

import pytest
import zrmirvo
from zrmirvo import pytest_plugin

TEXT = (pathlib.Path(__file__).resolve().parents[2] / "docs" / "python.md").read_text()


def rows(heading):
    """The code in the first cells of the rows of the table that begins with this."""
    table = re.search(rf"^\| {heading} \|.*\n(?:\|.*\n)+", TEXT, re.M)[0]
    cells = [re.split(r"(?<!\\)\|", line)[1] for line in table.splitlines()[2:]]
    return {name for cell in cells for name in re.findall(r"`(?:--)?([\w-]+)", cell)}


def public(*kinds):
    own = {"environment", "folder", "process", "close"}
    names = (name for kind in kinds for name, _ in inspect.getmembers(kind))
    return {name for name in names if not name.startswith("_")} - own


def test_has_every_fixture_and_option():
    fixtures = {n for n, f in vars(pytest_plugin).items() if hasattr(f, "_pytestfixturefunction")}
    assert rows("Fixture") == fixtures
    parser = pytest.Parser(_ispytest=True)
    pytest_plugin.pytest_addoption(parser)
    options = {name for option in parser.getgroup("zrmirvo").options for name in option.names()}
    assert {f"--{name}" for name in rows("Option")} == options


def test_has_every_method():
    described = rows("Methods of `Emulator`") | rows("What the application does")
    assert described == public(zrmirvo.Emulator) | {"once"}
    assert rows("Methods of `Application`") == public(zrmirvo.Application)
    table = re.search(r"^\| Class \|.*\n(?:\|.*\n)+", TEXT, re.M)[0]
    methods = set(re.findall(r"`(\w+)`", table)) - {"Ctl", "Monitor"}
    assert methods == public(zrmirvo.Ctl, zrmirvo.Device, zrmirvo.Monitor)


def test_has_every_error():
    errors = {error.__name__ for error in zrmirvo.ZrmirvoError.__subclasses__()}
    assert rows("Error") == errors
