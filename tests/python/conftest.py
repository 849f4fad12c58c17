"""Every object that the driver reads in these tests has to be as the tool's schema says."""

import json
import os
import pathlib

import jsonschema
import pytest
import zrmirvo.process

SCHEMAS = pathlib.Path(__file__).resolve().parents[2] / "docs" / "schema"
VALIDATORS = {
    tool: jsonschema.Draft202012Validator(json.loads((SCHEMAS / f"{tool}.schema.json").read_text()))
    for tool in ("mirvo-emulator", "mirvoctl")
}


@pytest.fixture(autouse=True)
def schema_errors(monkeypatch):
    """What does not fit the schemas; a test that wants nonsense clears it."""
    errors = []
    start = zrmirvo.process.JsonProcess.__init__

    def checked(self, command, environment, receive, *more):
        tool = next(os.path.basename(word) for word in command if "mirvo" in os.path.basename(word))

        def validate(value):
            errors.extend(error.message for error in VALIDATORS[tool].iter_errors(value))
            receive(value)

        start(self, command, environment, validate, *more)

    monkeypatch.setattr(zrmirvo.process.JsonProcess, "__init__", checked)
    yield errors
    assert errors == []
