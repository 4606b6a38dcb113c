"""The client: hands requests over, and tells its jobs how they get on."""

from __future__ import annotations

import asyncio
import atexit
import ctypes
import itertools
import os
import pathlib
import queue
import threading
import time
import weakref
import xml.etree.ElementTree as ElementTree
from types import TracebackType
from typing import Any, Dict, List, Mapping, Optional, Tuple, Type, Union

from . import _library
from .errors import CLASSES, ClientClosed, Error, NoServer
from .job import Job, Progress
from .request import text_of

Path = Union[str, "os.PathLike[str]"]
Request = Union[str, "os.PathLike[str]", bytes, ElementTree.Element, ElementTree.ElementTree, Mapping[str, Any]]

_CODES = {"timeout": 1, "stopped": 2, "unknown-request": 6, "canceled": 11, "failed": 12, "no-server": 17}
_PRESENCE_NONE = 1

_open_clients: "weakref.WeakSet[Client]" = weakref.WeakSet()


@atexit.register
def _close_all() -> None:
    """The library must not call back into an interpreter that ends."""
    for client in list(_open_clients):
        client.close()


def _utf8(text: Path) -> bytes:
    try:
        encoded = os.fspath(text).encode("utf-8")
    except UnicodeEncodeError:
        raise ValueError(f"{text!r} cannot be written in UTF-8") from None
    if b"\0" in encoded:
        raise ValueError(f"{text!r} holds a zero")
    return encoded


def _decoded(text: Optional[bytes]) -> str:
    return (text or b"").decode("utf-8", "replace")


class Client:
    """A client of the server with these two directories.

    Use it in a ``with`` statement, or call :meth:`close`. Requests go on without it; only when the block is left by
    Ctrl-C, or because its asyncio task is cancelled, those of its jobs that have not ended are cancelled, too. All
    methods may be called on any thread. Not for a process that was forked from the one that made it.

    ``server_absence``: for so many seconds a wait goes on without a server, then it raises :class:`NoServer`; 0 is
    without end. ``command_timeout``: so long a server has to answer a command. ``syncing``: what is sent is on the
    storage device when ``submit`` returns. ``checked_watch``: other machines may change the directories.
    ``own_directory``: for files on their way, on the volume of the requests."""

    def __init__(
        self,
        request_dir: Path,
        output_dir: Path,
        *,
        server_absence: float = 30.0,
        command_timeout: float = 10.0,
        syncing: Optional[bool] = None,
        allow_reading: bool = False,
        checked_watch: bool = False,
        own_directory: Optional[Path] = None,
    ) -> None:
        self._library = _library.load()
        self._process = os.getpid()
        self._handle = ctypes.c_void_p()
        self._lock = threading.Lock()
        self._closed = False
        self._jobs: Dict[int, Tuple[Job, Optional[ctypes.c_void_p]]] = {}
        self._numbers = itertools.count(1)
        self._heard: "queue.SimpleQueue[Optional[Tuple[int, Progress]]]" = queue.SimpleQueue()
        self._server_absence = server_absence
        self._missing_since: Optional[float] = None
        self._absent = False
        self._callback = _library.STATUS_CALLBACK(self._on_status)  # alive as long as the library may call it
        self._open(request_dir, output_dir, syncing, allow_reading, checked_watch, command_timeout, own_directory)
        self._thread = threading.Thread(target=self._serve, name="zel_processor", daemon=True)
        self._thread.start()
        _open_clients.add(self)

    def _open(
        self,
        request_dir: Path,
        output_dir: Path,
        syncing: Optional[bool],
        allow_reading: bool,
        checked_watch: bool,
        command_timeout: float,
        own_directory: Optional[Path],
    ) -> None:
        options = _library.ClientOptions()
        self._check(self._library.zel_client_options_init(ctypes.byref(options), ctypes.sizeof(options)))
        if syncing is not None:
            options.syncing = int(syncing)
        options.allow_reading = int(allow_reading)
        options.checked_watch = int(checked_watch)
        options.command_timeout_ms = round(command_timeout * 1000)
        options.server_absence_ms = round(self._server_absence * 1000)
        options.own_directory = None if own_directory is None else _utf8(own_directory)
        self._check(
            self._library.zel_client_open(
                _utf8(request_dir), _utf8(output_dir), ctypes.byref(options), ctypes.byref(self._handle)
            )
        )

    # ---- Requests ----

    def submit(self, request: Request, *, name: Optional[str] = None) -> Job:
        """Hands a request over: a path to a file, bytes of XML, an element or a tree of ``xml.etree``, or a dictionary
        of a task (:func:`zel_processor.element_of`). Returns when it is in the request directory.

        The name ends in .drq or .xml; without one a file has its own, and all else one that nobody else uses. Raises
        :class:`NameInUse`, other :class:`Error`, and ValueError for what is no request."""
        self._check_process()
        sent = ctypes.c_void_p()
        wanted = None if name is None else _utf8(name)
        if isinstance(request, (str, os.PathLike)):
            code = self._library.zel_send_file(self._handle, _utf8(request), wanted, ctypes.byref(sent))
        else:
            text = request if isinstance(request, bytes) else text_of(request)
            code = self._library.zel_send_text(self._handle, text, len(text), wanted, ctypes.byref(sent))
        self._check(code)
        try:
            given = ctypes.string_at(sent.value or 0)
        finally:
            self._library.zel_free(sent)
        return self._follow(given)

    def job(self, name: str) -> Job:
        """The job of a request that was sent before, by whomever."""
        self._check_process()
        return self._follow(_utf8(name))

    def _follow(self, name: bytes) -> Job:
        job = Job(self, _decoded(name))
        number = next(self._numbers)
        follower = ctypes.c_void_p()
        with self._lock:
            if self._closed:
                raise self._error(ClientClosed, "stopped", job.name)
            self._jobs[number] = (job, None)
        try:
            self._check(self._library.zel_follow(self._handle, name, self._callback, number, ctypes.byref(follower)))
        except BaseException:
            with self._lock:
                self._jobs.pop(number, None)
            raise
        with self._lock:
            if number in self._jobs:
                self._jobs[number] = (job, follower)
                return job
        self._library.zel_follower_close(follower)  # it has ended already
        return job

    @property
    def jobs(self) -> List[Job]:
        """Those that have not ended."""
        with self._lock:
            return [job for job, _ in self._jobs.values()]

    # ---- The end ----

    def close(self) -> None:
        """Ends all waits with :class:`ClientClosed`. Requests go on."""
        if self._process != os.getpid():
            return
        with self._lock:
            if self._closed:
                return
            self._closed = True
        self._library.zel_client_close(self._handle)
        self._heard.put(None)
        if threading.current_thread() is not self._thread:
            self._thread.join()
        with self._lock:
            left = list(self._jobs.values())
            self._jobs.clear()
        for job, follower in left:
            if follower is not None:
                self._library.zel_follower_close(follower)
            job._abandon()

    def _cancel_all(self) -> None:
        for job in self.jobs:
            try:
                job.cancel()
            except Error:
                return  # the next one would wait as long for a server that is not there

    def __enter__(self) -> Client:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        try:
            if kind is not None and issubclass(kind, (KeyboardInterrupt, asyncio.CancelledError)):
                self._cancel_all()
        finally:
            self.close()

    # ---- The waiting thread: one for all jobs ----

    def _on_status(self, number: Optional[int], status: Any) -> None:
        """On a thread of the library, which must not wait for what users do in their callbacks."""
        told = status.contents
        progress = Progress(
            told.state,
            _decoded(self._library.zel_state_name(told.state)),
            None if told.percent < 0 else told.percent,
            _decoded(told.comment),
            told.has_ended != 0,
            float(told.changed),
        )
        self._heard.put((number or 0, progress))

    def _serve(self) -> None:
        look_at = 0.0
        while True:
            try:
                heard = self._heard.get(timeout=self._time_to_look(look_at))
            except queue.Empty:
                began = time.monotonic()
                self._look_for_server()
                # The look takes longer the more requests there are, and shall be a small part of the time.
                look_at = time.monotonic() + 20 * (time.monotonic() - began)
                continue
            if heard is None:
                return
            self._missing_since = None
            self._absent = False
            self._dispatch(*heard)

    def _dispatch(self, number: int, progress: Progress) -> None:
        with self._lock:
            job, follower = self._jobs.get(number, (None, None))
            if progress.ended:
                self._jobs.pop(number, None)
        if job is None:
            return
        if progress.ended and follower is not None:
            self._library.zel_follower_close(follower)
        job._tell(progress)

    def _time_to_look(self, look_at: float) -> Optional[float]:
        if not self._server_absence:
            return None
        return max(min(1.0, self._server_absence / 4), look_at - time.monotonic())

    def _look_for_server(self) -> None:
        """Nothing was heard for a while: is there nobody who could tell?"""
        jobs = self.jobs
        info = ctypes.c_void_p()
        if not jobs or self._library.zel_get_server_info(self._handle, ctypes.byref(info)) != 0:
            self._missing_since = None
            self._absent = False
            return
        presence = ctypes.cast(info, ctypes.POINTER(_library.ServerInfo)).contents.presence
        self._library.zel_free(info)
        now = time.monotonic()
        if presence != _PRESENCE_NONE:
            self._missing_since = None
            self._absent = False
        elif self._missing_since is None:
            self._missing_since = now
        elif now - self._missing_since >= self._server_absence and not self._absent:
            self._absent = True
            for job in jobs:
                job._wake()

    # ---- What jobs ask for ----

    def _check_presence(self) -> None:
        if self._absent:
            raise self._error(NoServer, "no-server", f"for {self._server_absence:g} s")

    def _steer(self, function: str, name: str) -> None:
        self._check_process()
        self._check(getattr(self._library, function)(self._handle, _utf8(name)))

    def _receive(self, name: str) -> bytes:
        self._check_process()
        block = ctypes.c_void_p()
        self._check(self._library.zel_receive_bytes(self._handle, _utf8(name), ctypes.byref(block)))
        try:
            received = ctypes.cast(block, ctypes.POINTER(_library.Bytes)).contents
            return ctypes.string_at(received.bytes, received.length)
        finally:
            self._library.zel_free(block)

    def _receive_to(self, name: str, target: pathlib.Path) -> None:
        self._check_process()
        self._check(self._library.zel_receive(self._handle, _utf8(name), _utf8(target)))

    # ---- Errors ----

    def _check_process(self) -> None:
        if self._process != os.getpid():
            raise RuntimeError("a client cannot be used in a process that was forked from its own")

    def _error(self, kind: Type[Error], code: str, reason: str) -> Error:
        return kind(code, _decoded(self._library.zel_code_text(_CODES[code])), reason)

    def _check(self, code: int) -> None:
        if code == 0:
            return
        if self._closed:
            raise self._error(ClientClosed, "stopped", "")
        last = self._library.zel_last_error().contents
        word = _decoded(self._library.zel_code_name(code))
        raise CLASSES.get(word, Error)(word, _decoded(last.text), _decoded(last.detail))
