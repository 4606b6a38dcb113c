"""A request on its way: a future that tells how it gets on."""

from __future__ import annotations

import asyncio
import concurrent.futures
import dataclasses
import enum
import os
import pathlib
import sys
import threading
import time
from typing import TYPE_CHECKING, AsyncIterator, Callable, Generator, Iterator, List, Optional, Union

from .errors import ClientClosed, RequestCancelled, RequestFailed, RequestUnknown, TooLate, WaitTimeout, printable
from .response import Response

if TYPE_CHECKING:
    from .client import Client

# There a wait for a lock does not hear of Ctrl-C, so it is one of many short ones.
_LONGEST_WAIT = 0.2 if sys.platform == "win32" else threading.TIMEOUT_MAX


class State(enum.IntEnum):
    """Where a request is. Newer servers may have other numbers."""

    UNKNOWN = -1
    CLIENT_ERROR = 0
    SERVER_ERROR = 1
    SERVER_TIMEOUT = 2
    SENT = 3
    NOT_REQUESTED = 4
    WAITING = 5
    STARTED = 6
    PARSING = 7
    CALCULATING = 8
    GETTING_DATA = 9
    PREPARING = 10
    CANCELED = 11
    PAUSED = 12
    DONE = 13


_RUNNING = (State.STARTED, State.PARSING, State.CALCULATING, State.GETTING_DATA, State.PREPARING)


@dataclasses.dataclass(frozen=True)
class Progress:
    """How far a request is."""

    state: int
    """A number of :class:`State`, or another one of a newer server."""
    state_name: str
    """The same as a word for programs, as ``"getting-data"``."""
    percent: Optional[int]
    """None when the task does not tell."""
    comment: str
    """Words of server or task as they came: they may have several lines, or what a terminal would obey."""
    ended: bool
    changed: float
    """When this was written, in seconds since 1970."""

    def __str__(self) -> str:
        percent = "" if self.percent is None else f" {self.percent} %"
        return f"{self.state_name}{percent} {printable(self.comment)}".rstrip()


class Job(concurrent.futures.Future[Response]):
    """A request that was handed over. It is a ``concurrent.futures.Future`` whose result is a :class:`Response`, so
    ``concurrent.futures.wait`` and ``as_completed`` take it; besides it can be iterated over and awaited.

    Unlike a future of a thread pool it can be cancelled while it runs, and it goes on when this process ends."""

    def __init__(self, client: Client, name: str) -> None:
        super().__init__()
        self.name = name
        """Of the request."""
        self._client = client
        self._changed = threading.Condition()
        self._progress: Optional[Progress] = None
        self._version = 0
        self._listeners: List[Callable[[], None]] = []
        self._receiving = threading.Lock()
        self._response: Optional[Response] = None

    def __repr__(self) -> str:
        return f"<Job {printable(self.name)}: {self._progress or 'sent'}>"

    # ---- What the client's waiting thread tells ----

    def _tell(self, progress: Progress) -> None:
        with self._changed:
            self._progress = progress
            self._version += 1
        if progress.ended:
            self._end(progress)
        self._wake()

    def _end(self, progress: Progress) -> None:
        if self.done():
            return
        if progress.state == State.DONE:
            self.set_result(Response(b""))  # what stands for it until somebody takes it
        elif progress.state == State.CANCELED:
            super().cancel()
            self.set_running_or_notify_cancel()
        elif progress.state == State.NOT_REQUESTED:
            self.set_exception(self._client._error(RequestUnknown, "unknown-request", self.name))
        else:
            self.set_exception(self._client._error(RequestFailed, "failed", progress.comment))

    def _abandon(self) -> None:
        """The client was closed: nobody will tell of the end."""
        if not self.done():
            self.set_exception(self._client._error(ClientClosed, "stopped", self.name))
        self._wake()

    def _wake(self) -> None:
        with self._changed:
            self._changed.notify_all()
            listeners = list(self._listeners)
        for listener in listeners:
            listener()

    # ---- As a future ----

    def _wait(self, timeout: Optional[float]) -> None:
        end = None if timeout is None else time.monotonic() + timeout
        with self._changed:
            while not self.done():
                self._client._check_presence()
                left = _LONGEST_WAIT if end is None else end - time.monotonic()
                if left <= 0:
                    raise self._client._error(WaitTimeout, "timeout", self.name)
                self._changed.wait(min(left, _LONGEST_WAIT))

    def result(self, timeout: Optional[float] = None) -> Response:
        """Waits for the end and takes the response, which is gone from the output directory then.

        Raises :class:`RequestFailed`, :class:`RequestCancelled` or :class:`RequestUnknown` when it ended otherwise,
        :class:`WaitTimeout` or :class:`NoServer` when it has not ended."""
        self._raise_unless_done(timeout)
        with self._receiving:
            if self._response is None:
                self._response = Response(self._client._receive(self.name))
            return self._response

    def save(self, path: Union[str, "os.PathLike[str]"], timeout: Optional[float] = None) -> pathlib.Path:
        """Waits for the end and moves the response to a file, which is replaced: for those that are too large for the
        memory, or that must not be lost with this process. As ``result``; that reads the file afterwards."""
        self._raise_unless_done(timeout)
        target = pathlib.Path(path).absolute()
        with self._receiving:
            if self._response is not None:
                return self._response.save(target)
            self._client._receive_to(self.name, target)
            self._response = _SavedResponse(target)
        return target

    def exception(self, timeout: Optional[float] = None) -> Optional[BaseException]:
        """Waits for the end; None when there is a response. Raises :class:`RequestCancelled`, and as ``result`` when it
        has not ended."""
        self._wait(timeout)
        if self.cancelled():
            raise self._client._error(RequestCancelled, "canceled", self.name)
        return super().exception(0)

    def _raise_unless_done(self, timeout: Optional[float]) -> None:
        error = self.exception(timeout)
        if error is not None:
            raise error

    def running(self) -> bool:
        progress = self._progress
        return not self.done() and progress is not None and progress.state in _RUNNING

    def cancel(self) -> bool:
        """Has the server cancel the request, running or not. True when it will, or did; the end comes when its task
        looks, so wait for that. False when it has ended otherwise. Raises :class:`NoAnswer` when no server answers."""
        if self.done():
            return self.cancelled()
        try:
            self._client._steer("zel_cancel", self.name)
        except (TooLate, RequestUnknown):
            return self.cancelled()
        return True

    # ---- What futures do not have ----

    @property
    def progress(self) -> Optional[Progress]:
        """The last that was heard; None before anything was."""
        return self._progress

    def pause(self) -> None:
        """Keeps it from starting. Raises :class:`TooLate` when it runs or has ended."""
        self._client._steer("zel_pause", self.name)

    def resume(self) -> None:
        """Lets one that is paused start as the next."""
        self._client._steer("zel_resume", self.name)

    def forget(self) -> None:
        """Removes what a request that has ended left in the output directory."""
        self._client._steer("zel_forget", self.name)

    def _news(self, seen: int) -> Optional[Progress]:
        """What was not seen yet; None when there is nothing, or an exception when nothing will come."""
        if self._version != seen:
            return self._progress
        if self.done():
            raise super().exception(0) or RuntimeError("an end that was not told")
        self._client._check_presence()
        return None

    def __iter__(self) -> Iterator[Progress]:
        """Where the request is, and each change until its end; quick ones may come as one. However it ends, the
        iteration just stops: ``result`` tells. Raises :class:`NoServer` and :class:`ClientClosed`."""
        seen = 0
        while True:
            with self._changed:
                progress = self._news(seen)
                while progress is None:
                    self._changed.wait(_LONGEST_WAIT)
                    progress = self._news(seen)
                seen = self._version
            yield progress
            if progress.ended:
                return

    async def __aiter__(self) -> AsyncIterator[Progress]:
        """The same for asyncio."""
        loop = asyncio.get_running_loop()
        changed = asyncio.Event()

        def wake() -> None:
            try:
                loop.call_soon_threadsafe(changed.set)
            except RuntimeError:
                pass  # the loop was closed: nobody waits any more

        with self._changed:
            self._listeners.append(wake)
        try:
            seen = 0
            while True:
                changed.clear()
                with self._changed:
                    progress = self._news(seen)
                    seen = self._version
                if progress is None:
                    await changed.wait()
                    continue
                yield progress
                if progress.ended:
                    return
        finally:
            with self._changed:
                self._listeners.remove(wake)

    async def _outcome(self) -> Response:
        async for _ in self:
            pass
        # It reads a file.
        return await asyncio.get_running_loop().run_in_executor(None, self.result)

    def __await__(self) -> Generator[object, None, Response]:
        """The result. Whoever stops waiting does not cancel the request: others may wait for it, too."""
        return self._outcome().__await__()


class _SavedResponse(Response):
    """One that was moved to a file, and is read when somebody asks for it."""

    def __init__(self, path: pathlib.Path) -> None:
        super().__init__(b"")
        self._path = path

    @property
    def content(self) -> bytes:
        if not self._content:
            self._content = self._path.read_bytes()
        return self._content
