"""What can go wrong, in plain words. Every error of this package is a ZrmirvoError."""


class ZrmirvoError(Exception):
    """The base of all errors of this package."""


class ToolNotFound(ZrmirvoError):
    """A program is not where it was looked for."""


class WrongVersion(ZrmirvoError):
    """A program has another version than this package was made for."""


class NoService(ZrmirvoError):
    """There is no service where a program looked for it."""


class NotJson(ZrmirvoError):
    """A program printed something that is no JSON."""


class ToolEnded(ZrmirvoError):
    """A program ended although it was still needed, or does not answer."""


class Refused(ZrmirvoError):
    """A program did not understand a command, or cannot use a file."""
