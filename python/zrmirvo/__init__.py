"""Drives the emulated projection service, mirvoctl and applications under test as processes."""

from .application import Application
from .ctl import Ctl, Device, Monitor, Result
from .emulator import Answers, Emulator
from .errors import (
    NoService,
    NotJson,
    Refused,
    ToolEnded,
    ToolNotFound,
    WrongVersion,
    ZrmirvoError,
)
from .expecting import Event, Request
from .process import Tools
from .recording import Recording
from .version import __version__

__all__ = [
    "Answers",
    "Application",
    "Ctl",
    "Device",
    "Emulator",
    "Event",
    "Monitor",
    "NoService",
    "NotJson",
    "Recording",
    "Refused",
    "Request",
    "Result",
    "ToolEnded",
    "ToolNotFound",
    "Tools",
    "WrongVersion",
    "ZrmirvoError",
    "__version__",
]
