"""What goes wrong is said in plain words."""

import re

import pytest
import zrmirvo
from zrmirvo import Ctl, Emulator, Monitor, Tools


def tool(folder, name, script):
    """A program that takes the place of a tool and says that it is of the right version."""
    path = folder / name
    path.write_text(f'#!/bin/sh\n[ "$1" = --version ] && echo {name} 3.6.0 && exit\n{script}\n')
    path.chmod(0o755)
    return Tools(str(folder))


def test_a_tool_is_not_found(tmp_path):
    for tools in (Tools(str(tmp_path)), Tools(str(tmp_path), prefix=["env"]), Tools(None, ["/no"])):
        with pytest.raises(
            zrmirvo.ToolNotFound, match="mirvoctl is not|/no cannot be started: No such file"
        ):
            Ctl(tools).__enter__()
    with pytest.raises(zrmirvo.ToolEnded, match="^sh -c .* failed: no route"):
        Ctl(Tools(None, ["sh", "-c", "echo no route >&2; exit 255"])).__enter__()


def test_a_tool_has_another_version(tmp_path, zrmirvo_tools):
    assert (
        zrmirvo.__version__
        in zrmirvo_tools.run(*zrmirvo_tools.command("mirvoctl", "--version")).stdout
    )
    for script in ("echo mirvoctl 3.7.6", "exit 2"):
        (tmp_path / "mirvoctl").write_text(f"#!/bin/sh\n{script}\n")
        (tmp_path / "mirvoctl").chmod(0o755)
        with pytest.raises(zrmirvo.WrongVersion, match="mirvoctl is not of version 3.6"):
            Ctl(Tools(str(tmp_path))).__enter__()


def test_there_is_no_service(zrmirvo_tools, tmp_path):
    tmp_path.chmod(0o700)
    environment = {"SERVICE_FRAMEWORK_DIR": str(tmp_path)}
    sentence = f"there is no service .* in {re.escape(str(tmp_path))}"
    with Ctl(zrmirvo_tools, environment=environment) as mirvoctl:
        with pytest.raises(zrmirvo.NoService, match=sentence):
            mirvoctl.startup()
    with pytest.raises(zrmirvo.NoService, match=sentence):
        Monitor(tools=zrmirvo_tools, environment=environment).__enter__()


@pytest.mark.parametrize("version", ["4.0.1", "nonsense"])
def test_the_service_has_another_version(emulator, zrmirvo_tools, version):
    emulator.version(version)
    with Ctl(zrmirvo_tools, environment=emulator.environment) as mirvoctl:
        with pytest.raises(zrmirvo.WrongVersion, match=re.escape(version)):
            mirvoctl.startup()
    with pytest.raises(zrmirvo.WrongVersion, match=re.escape(version)):
        Monitor(tools=zrmirvo_tools, environment=emulator.environment).__enter__()


@pytest.mark.parametrize(
    "script, error, sentence",
    [
        (
            "echo Segmentation fault; exec sleep 60",
            zrmirvo.NotJson,
            "no JSON.*: Segmentation fault",
        ),
        ("echo '[]'; exec sleep 60", zrmirvo.NotJson, r"no JSON.*: \[\]"),
        ("echo '{\"request\":1}'; exec sleep 60", zrmirvo.NotJson, "no JSON.*: {.request.:1}"),
        ('echo \'{"ok":1,"place":7}\'; exec sleep 60', zrmirvo.NotJson, "no JSON.*:7}"),
        ("printf '%0999dx\\n' 1; exec sleep 60", zrmirvo.NotJson, "no JSON.*: 0{300}$"),
        (
            "echo '{\"event\":1}' >&2; exit 9",
            zrmirvo.ToolEnded,
            'ended with status 9:\n{"event":1}',
        ),
        ("kill -ABRT $$", zrmirvo.ToolEnded, "was killed by signal 6"),
    ],
)
def test_a_tool_that_fails(tmp_path, schema_errors, script, error, sentence):
    with pytest.raises(error, match=sentence):
        Emulator(tool(tmp_path, "mirvo-emulator", script)).__enter__()
    schema_errors.clear()
