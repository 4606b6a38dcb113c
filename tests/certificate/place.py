"""A server and its clients as real processes, in a directory of their own."""
import contextlib
import os
import shutil
import signal
import subprocess
import tempfile
import threading
import time
from pathlib import Path

from watcher import Watcher

START_SECONDS = 60  # on a busy machine, under strace
STOP_SECONDS = 30
#: How often a request may begin to run before the server gives it up.
ATTEMPTS = 3


#: The kinds of server that are tried: what each has beside what all have, and how many requests it runs at once.
KINDS = {"": ([], 1), "slots": (["--slots", "4"], 4), "isolated": (["--isolate"], 1)}


class Broken(Exception):
    """The promise is broken, or the certificate itself does not work."""


def environment():
    """That of the programs: one language, and no settings of whoever runs this."""
    kept = {name: value for name, value in os.environ.items() if not name.startswith("ZEL_")}
    return kept | {"LC_ALL": "C.UTF-8", "LANGUAGE": "en"}


class Place:
    """Directories of a server. Leaving it ends what still runs; what failed stays to be looked at."""

    def __init__(self, build, root=None, kind=""):
        self.bin = Path(build) / "bin"
        self.root = Path(tempfile.mkdtemp(prefix="zel-certify-", dir=root))
        self.options, self.slots = KINDS[kind]
        self.has_hosts = "--isolate" in self.options
        self.requests, self.output, self.home = (self.root / name for name in ("requests", "output", "home"))
        for folder in (self.requests, self.output, self.output / "Queue", self.home):
            folder.mkdir()
        self.log = self.root / "server.log"
        self.watcher = Watcher(self.requests, self.output)
        self.server = None
        self.starts = 0
        self.kills = 0
        self.problems = []
        self._clients = []
        self._lock = threading.Lock()
        self._guard = None
        self._guarding = False

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        self._guarding = False
        if self._guard:
            self._guard.join()
        for process in [*self._clients, self.server]:
            if process and process.poll() is None:
                process.kill()
                process.wait()
        self.watcher.close()
        if kind is None and not self.problems:
            shutil.rmtree(self.root, ignore_errors=True)

    # The server

    def command(self):
        """The server's, with resume."""
        return [str(self.bin / "zel-server"), "--request-dir", str(self.requests), "--output-dir", str(self.output),
                "--components", str(self.bin / "test-plugins"), "--resume", "--attempts", str(ATTEMPTS), "--keep", "1",
                *self.options]

    def start(self, prefix=(), wait=True):
        """Starts the server behind a tracer, if there is one, which must leave it this process's own child."""
        self.watcher.tell("Start")
        self.starts += 1
        with open(self.log, "ab") as log:
            self.server = subprocess.Popen([*prefix, *self.command()], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                           stderr=log, env=environment())
        return self.wait_until_ready(self.server) if wait else False

    def wait_until_ready(self, server):
        """True when it says so, false when it ended first."""
        end = time.monotonic() + START_SECONDS
        os.set_blocking(server.stdout.fileno(), False)
        said = b""
        while time.monotonic() < end:
            said += server.stdout.read() or b""
            self.watcher.read()
            if b"zel-server: ready" in said:
                return True
            if server.poll() is not None:
                return False
            time.sleep(0.005)
        raise Broken(f"the server is not ready after {START_SECONDS} s")

    def threads(self, names):
        """The numbers of the server's threads of these names, which the system cuts."""
        tasks = Path(f"/proc/{self.server.pid}/task")
        found = []

        def look(): # they give themselves their names
            found.clear()
            for task in tasks.iterdir():
                with contextlib.suppress(OSError): # it has ended
                    found.extend([task.name] if (task / "comm").read_text().strip() in names else [])
            return len(found) == len(names)

        if not self.wait_for(look):
            raise Broken(f"{len(found)} threads {' '.join(names)}")
        return [int(number) for number in found]

    def task_hosts(self):
        """The processes that run tasks for the server just now: one that looks after the other, and that other one."""
        keepers = self._task_hosts_of(self.server.pid)
        return keepers + [host for keeper in keepers for host in self._task_hosts_of(keeper)]

    @classmethod
    def _task_hosts_of(cls, process):
        found = []
        for task in Path(f"/proc/{process}/task").glob("*/children"):
            with contextlib.suppress(OSError): # it has ended
                found += [int(child) for child in task.read_text().split()]
        return [child for child in found if cls._is_task_host(child)]

    @staticmethod
    def _is_task_host(process):
        try:
            return Path(f"/proc/{process}/comm").read_text().strip() == "zel-task-host"
        except OSError:
            return False

    def kill_task_host(self, process):
        """It may have ended."""
        if self._is_task_host(process):
            with contextlib.suppress(ProcessLookupError):
                os.kill(process, signal.SIGKILL)

    def task_host(self):
        """The one that is ready for the next request."""
        if not self.wait_for(lambda: len(self.task_hosts()) == 2):
            raise Broken(f"{len(self.task_hosts())} processes for tasks")
        return self.task_hosts()[1]

    def guard(self):
        """From now on a server that was killed is started again, as a service manager would do it."""
        self._guarding = True
        self._guard = threading.Thread(target=self._watch_over)
        self._guard.start()

    def _watch_over(self):
        while self._guarding:
            self.watcher.read()
            if self.server.poll() is not None:
                self.note_end()
                try:
                    if not self.start() and self.server.returncode != -signal.SIGKILL: # then once more
                        self.problems.append(f"the server did not start again: exit code {self.server.returncode}")
                        return
                except Broken as problem:
                    self.problems.append(str(problem))
                    return
            time.sleep(0.005)

    def note_end(self):
        """The server has ended: that is of interest when it was killed."""
        code = self.server.wait()
        self.watcher.tell("Crash")
        self.kills += code == -signal.SIGKILL
        if code not in (0, -signal.SIGKILL):
            self.problems.append(f"the server ended with {code}")

    def stop(self):
        """Ends the server in order."""
        self._guarding = False
        if self._guard:
            self._guard.join()
            self._guard = None
        if self.server.poll() is None:
            self.server.terminate()
        try:
            code = self.server.wait(STOP_SECONDS)
        except subprocess.TimeoutExpired:
            self.problems.append(f"SIGTERM did not end the server within {STOP_SECONDS} s")
            self.server.kill()
            self.server.wait()
            code = 0
        self.watcher.tell("Crash") # to a model an end in order is one as good as another
        if code == -signal.SIGKILL:
            self.kills += 1
        elif code != 0:
            self.problems.append(f"the server's exit code is {code}")

    # Its clients

    def zel_command(self, *arguments):
        """That of the client tool."""
        return [str(self.bin / "zel"), *map(str, arguments), "--request-dir", str(self.requests), "--output-dir",
                str(self.output)]

    def zel(self, *arguments, prefix=(), seconds=120, is_spared=False):
        """Runs the client tool to its end; what it says is in said and errors. Who kills at random may spare it."""
        process = self.begin_zel(*arguments, prefix=prefix, is_spared=is_spared)
        try:
            process.said, process.errors = process.communicate(timeout=seconds)
        except subprocess.TimeoutExpired as late:
            process.kill()
            process.communicate()
            raise Broken(f"zel {arguments[0]} has not ended after {seconds} s") from late
        finally:
            with self._lock:
                self._clients.remove(process)
        self.watcher.read()
        return process

    def begin_zel(self, *arguments, prefix=(), is_spared=False):
        """Starts the client tool."""
        process = subprocess.Popen([*prefix, *self.zel_command(*arguments)], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=environment())
        process.is_spared = is_spared
        with self._lock:
            self._clients.append(process)
        return process

    def running_clients(self):
        """Those that run just now and may be killed."""
        with self._lock:
            return [process for process in self._clients if not process.is_spared and process.poll() is None]

    def traces(self):
        """Of each request that was seen; none when the system lost events."""
        self.watcher.read()
        if self.watcher.overflowed:
            return {}
        names = {name for _, name in self.watcher.events if name}
        return {name: self.watcher.trace_of(name) for name in sorted(names)}

    def wait_for(self, condition, seconds=30):
        """Whether something comes true in time."""
        end = time.monotonic() + seconds
        while not condition():
            if time.monotonic() > end:
                return False
            self.watcher.read()
            time.sleep(0.002)
        return True
