"""A real server for each test that asks for one."""

from __future__ import annotations

import os
import pathlib
import signal
import subprocess
from typing import Iterator, List

import pytest

import zel_processor

BUILD = pathlib.Path(os.environ["ZEL_BUILD_DIR"])


class Server:
    """zel-server with the tasks for tests, in directories of its own."""

    def __init__(self, place: pathlib.Path, *options: str) -> None:
        self.requests = place / "requests"
        self.output = place / "output"
        self.requests.mkdir(exist_ok=True)
        self.output.mkdir(exist_ok=True)
        self.place = place
        self._options = options
        self.start()

    def start(self) -> None:
        command: List[str] = [str(BUILD / "bin" / "zel-server"), "--request-dir", str(self.requests)]
        command += ["--output-dir", str(self.output), "--components", str(BUILD / "bin" / "test-plugins")]
        with open(self.place / "server.log", "ab") as log:
            self.process = subprocess.Popen([*command, *self._options], stdout=subprocess.PIPE, stderr=log, text=True)
        assert self.process.stdout is not None
        for line in self.process.stdout:
            if line.startswith("zel-server: ready"):
                return
        raise RuntimeError((self.place / "server.log").read_text())

    def kill(self) -> None:
        self.process.kill()
        self.process.wait()

    def stop(self) -> None:
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(30)
            except subprocess.TimeoutExpired:
                self.kill()

    def client(self, **options: float) -> zel_processor.Client:
        return zel_processor.Client(self.requests, self.output, **options)  # type: ignore[arg-type]


@pytest.fixture
def server(tmp_path: pathlib.Path) -> Iterator[Server]:
    running = Server(tmp_path, "--slots", "4")
    yield running
    running.stop()


@pytest.fixture
def client(server: Server) -> Iterator[zel_processor.Client]:
    with server.client() as opened:
        yield opened


@pytest.fixture
def gate(tmp_path: pathlib.Path) -> Iterator[pathlib.Path]:
    """The file that a request of the type Gate waits for; there at the latest when the test ends."""
    path = tmp_path / "gate"
    yield path
    path.touch()
