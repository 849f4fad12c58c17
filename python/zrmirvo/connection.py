"""A process of mirvoctl that stays connected."""

from __future__ import annotations

import re
from typing import Optional, Sequence, TypeVar

from .errors import NoService, ToolEnded, WrongVersion
from .process import Json, JsonProcess, Tools

# The exit status when there is no service.
NO_SERVICE = 3
Self = TypeVar("Self", bound="Connection")


def no_service(sentence: str) -> Exception:
    """Returns the error when mirvoctl says that there is no service, or none that fits."""
    # The sentence alone tells a service that is not there from one that does not fit.
    fits = re.search("the service (has|gives no) version", sentence) is None
    return NoService(sentence) if fits else WrongVersion(sentence)


class Connection:
    """A process of mirvoctl, which ends when the context is left."""

    def __init__(
        self,
        tools: Optional[Tools],
        environment: Optional[dict[str, str]],
        arguments: Sequence[str],
    ) -> None:
        self._tools = (tools or Tools()).with_environment(**(environment or {}))
        self._arguments = list(arguments)
        self._process: Optional[JsonProcess] = None

    def __enter__(self: Self) -> Self:
        self._process = JsonProcess(
            self._tools.fitting("mirvoctl", "--json", *self._arguments),
            self._tools.environment,
            self._receive,
            lambda status, errors: no_service(errors) if status == NO_SERVICE else None,
        )
        try:
            self._started()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, kind: object, error: object, trace: object) -> None:
        self.close()

    def close(self) -> None:
        """Ends the process."""
        if self._process is not None:
            self._process.close()
            self._process = None

    @property
    def process(self) -> JsonProcess:
        """Returns the process that runs now."""
        if self._process is None:
            raise ToolEnded("mirvoctl has not been started")
        return self._process

    def _receive(self, value: Json) -> None:
        raise NotImplementedError

    def _started(self) -> None:
        pass
