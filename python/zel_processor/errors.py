"""What can go wrong: one class for each kind of failure that a program may want to tell from others."""

from __future__ import annotations

import concurrent.futures
from typing import Dict, Type


class LibraryNotFound(ImportError):
    """The library of ZEL_Processor cannot be loaded; the text names what was tried."""


def printable(text: str) -> str:
    """The text on one line, without what a terminal would obey: comments and reasons may be a stranger's."""
    return "".join(c if c.isprintable() else " " if c.isspace() else f"\\u{ord(c):04x}" for c in text)


class Error(Exception):
    """A call of the library failed, or a request did not end well."""

    def __init__(self, code: str, text: str, reason: str = "") -> None:
        super().__init__(code, text, reason)
        self.code = code
        """The word for programs, as ``"failed"``: the same in all versions."""
        self.text = text
        """A sentence for people, in their language."""
        self.reason = reason
        """What happened to what; of a request that failed, the server's own words as they came."""

    def __str__(self) -> str:
        return printable(f"{self.text} {self.reason}".strip())


class RequestFailed(Error):
    """The request ended with an error; the reason is the server's."""


class RequestCancelled(Error, concurrent.futures.CancelledError):
    """The request was cancelled."""


class RequestUnknown(Error):
    """There is no request of this name, or no longer."""


class WaitTimeout(Error, concurrent.futures.TimeoutError):
    """The time is over; what was waited for may still come."""


class NoServer(Error):
    """No server was there for as long as the client waits for one. The request may still be served."""


class NoAnswer(Error):
    """The server did not answer in the time that it has."""


class ClientClosed(Error):
    """The client was closed."""


class NameInUse(Error):
    """A request, a status or a response of this name is there."""


class TooLate(Error):
    """The request has ended, or has started, already."""


CLASSES: Dict[str, Type[Error]] = {
    "timeout": WaitTimeout,
    "stopped": ClientClosed,
    "name-in-use": NameInUse,
    "unknown-request": RequestUnknown,
    "has-ended": TooLate,
    "has-started": TooLate,
    "canceled": RequestCancelled,
    "failed": RequestFailed,
    "no-answer": NoAnswer,
    "no-server": NoServer,
}
