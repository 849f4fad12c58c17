"""The errors of this package, each of which is a ZrmirvoError."""


class ZrmirvoError(Exception):
    """The base of all errors of this package."""


class ToolNotFound(ZrmirvoError):
    """A program was not found in the places where it can be."""


class WrongVersion(ZrmirvoError):
    """A program has another version than this package was made for."""


class NoService(ZrmirvoError):
    """A program found no service in its folder."""


class NotJson(ZrmirvoError):
    """A program printed something that is not JSON."""


class ToolEnded(ZrmirvoError):
    """A program ended although it was still needed, or does not answer."""


class Refused(ZrmirvoError):
    """A program did not understand a command, or cannot use a file."""
