"""Drives the emulated projection service, mirvoctl and applications under test as processes."""

from .application import Application
from .commands import Answers
from .ctl import Ctl, Device, Result
from .emulator import Emulator
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
from .monitor import Monitor
from .process import Tools
from .recording import Message, Recording
from .version import __version__

__all__ = [
    "Answers",
    "Application",
    "Ctl",
    "Device",
    "Emulator",
    "Event",
    "Message",
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
