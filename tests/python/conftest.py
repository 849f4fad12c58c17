"""Every object that the driver reads in these tests has to be as the tool's schema says."""

import collections
import json
import os
import pathlib

import jsonschema
import pytest
import zrmirvo.process

FOLDER = pathlib.Path(__file__).resolve().parents[2] / "docs" / "schema"
SCHEMAS = {
    tool: json.loads((FOLDER / f"{tool}.schema.json").read_text())
    for tool in ("mirvo-emulator", "mirvoctl")
}
VALIDATORS = {tool: jsonschema.Draft202012Validator(schema) for tool, schema in SCHEMAS.items()}


@pytest.fixture
def schemas():
    """The schemas by the name of the tool."""
    return SCHEMAS


@pytest.fixture
def validators():
    """What checks an object by the name of the tool."""
    return VALIDATORS


@pytest.fixture
def lines():
    """What the tools have printed, by the name of the tool."""
    return collections.defaultdict(list)


@pytest.fixture(autouse=True)
def schema_errors(monkeypatch, lines):
    """What does not fit the schemas; a test that wants nonsense clears it."""
    errors = []
    start = zrmirvo.process.JsonProcess.__init__

    def checked(self, command, environment, receive, *more):
        tool = next(os.path.basename(word) for word in command if "mirvo" in os.path.basename(word))

        def validate(value):
            errors.extend(error.message for error in VALIDATORS[tool].iter_errors(value))
            lines[tool].append(value)
            receive(value)

        start(self, command, environment, validate, *more)

    monkeypatch.setattr(zrmirvo.process.JsonProcess, "__init__", checked)
    yield errors
    assert errors == []
