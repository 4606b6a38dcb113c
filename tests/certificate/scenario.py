"""The life of requests as their users see it, and what they were promised of it."""
import json
import os
import signal
import threading
import time

from place import ATTEMPTS, Broken

WAIT_SECONDS = 60
#: Exit codes of the client tool.
OK, SERVER_ERROR, NOT_REQUESTED, CANCELLED, TIME_OUT = 0, 3, 5, 6, 7


class Request:
    """A request with a content of its own, and what became of it."""

    def __init__(self, place, name, milliseconds=0, task=None):
        self.name = f"{name}.drq"
        self.text = f"{name} " + 400 * f"{name}-"
        self.file = place.home / self.name
        self.target = place.home / f"{name}.answer"
        self.record = place.home / f"{name}.run"
        self.counts = task is None
        if task is None:
            task = (f'<Task Type="Sleep" Milliseconds="{milliseconds}" Steps="3"><Text>{self.text}</Text>'
                    f"<RecordFile>{self.record}</RecordFile></Task>")
        else:
            self.text = None
        self.file.write_text(f"<Request>{task}</Request>")
        self.handed = False     # a hand-over returned
        self.may_cancel = False # somebody tried to cancel it
        self.is_unwanted = False # its answer is not received, but forgotten
        self.may_be_gone = False # somebody tried that
        self.end = None         # done, failed, cancelled
        self.comment = ""

    def runs(self):
        """How often it began to run."""
        count = 0
        while os.path.exists(f"{self.record}.{count + 1}"):
            count += 1
        return count

    def has_response(self):
        """Whether the client has it; one that is not its own, or torn, breaks the promise."""
        if not self.target.exists():
            return False
        found = self.target.read_text()
        if self.text is not None and f"<Response>{self.text}</Response>" not in found:
            raise Broken(f"{self.name}: the response is not its own, or torn: {found[:200]!r}")
        return True


class Scenario:
    """Requests of one place. Each step may fail or be killed; settle() brings every request to its end."""

    def __init__(self, place, prefixes=None):
        self.place = place
        self.requests = []
        #: Of the client tool at a step, and only once: a tracer.
        self.prefixes = dict(prefixes or {})
        self.steps = []

    def make(self, name, milliseconds=0, task=None):
        """A new request, known to the check at the end."""
        request = Request(self.place, name, milliseconds, task)
        self.requests.append(request)
        return request

    def zel(self, verb, *arguments):
        """A step. One that was killed is not repeated here; what it was for is found out when all is settled."""
        done = self.place.zel(verb, *arguments, prefix=self.prefixes.pop(verb, ()))
        self.steps.append((verb, done.returncode, done.errors.strip()))
        return done.returncode

    def send(self, *requests):
        """Hands over. With success each of them is handed over."""
        if self.zel("send", *(request.file for request in requests)) == OK:
            for request in requests:
                request.handed = True

    def cancel(self, request):
        """Asks for it; from now on its end may be that."""
        request.may_cancel = True
        return self.zel("cancel", request.name)

    def settle(self, request):
        """Follows a request to its end, as its user would who does not give up."""
        for _ in range(20):
            if request.has_response():
                self._clear(request)
                request.end = "done"
                return
            code = self.zel("wait", request.name, "--timeout", WAIT_SECONDS)
            if code == TIME_OUT:
                raise Broken(f"{request.name}: no end after {WAIT_SECONDS} s: {self._told(request)}")
            if code == NOT_REQUESTED and self._is_unknown(request):
                return
            if code == OK and request.is_unwanted:
                request.may_be_gone = True
                if self.zel("forget", request.name) == OK:
                    request.end = "done"
                    return
            elif code == OK:
                self.zel("receive", request.name, request.target)
            elif code in (SERVER_ERROR, CANCELLED):
                request.comment = self._told(request)
                if self.zel("receive", request.name, request.target) == code:
                    request.end = "failed" if code == SERVER_ERROR else "cancelled"
                    return
        raise Broken(f"{request.name}: no end after many tries: {self.steps[-6:]}")

    def _is_unknown(self, request):
        """Of a name that is nowhere: whether that is its end. Else it was never there, and is sent."""
        if request.may_cancel or request.may_be_gone:
            request.end = "cancelled" if request.may_cancel else "done"
            return True
        if request.handed:
            raise Broken(f"{request.name}: lost, its hand-over had returned")
        self.send(request)
        return False

    def _told(self, request):
        """The comment that its status has."""
        said = self.place.zel("status", request.name, "--json", is_spared=True).said
        return json.loads(said)["comment"] if said else ""

    def _clear(self, request):
        """What a client left that died after it had the response and before it had removed all of it."""
        response = self.place.output / request.name
        if response.exists() or (self.place.output / f"{request.name}.status").exists():
            self.place.zel("forget", request.name, is_spared=True)

    def settle_all(self):
        """Every request to its end."""
        for request in self.requests:
            if request.end is None:
                self.settle(request)

    def check(self, may_fail=False):
        """What was promised, when all are settled and the server has stopped."""
        place = self.place
        log = place.log.read_text(errors="replace")
        for request in self.requests:
            runs = request.runs()
            if request.counts and request.end == "done" and not 1 <= runs <= 1 + place.kills:
                raise Broken(f"{request.name}: answered after {runs} runs and {place.kills} kills of the server")
            if runs > 1 and not any(request.name in line and "again" in line for line in log.splitlines()):
                raise Broken(f"{request.name}: has run {runs} times, and nothing says so")
            if request.end == "cancelled" and not request.may_cancel:
                raise Broken(f"{request.name}: cancelled, and nobody asked for it")
            if request.end == "failed":
                self._check_failure(request, runs, may_fail)
        # A client that was killed leaves locks, and files in folders of its own.
        left = sorted(str(path.relative_to(place.root)) for folder in (place.requests, place.output, place.output / "Queue")
                      for path in folder.glob("*.drq*") if path.suffix in (".drq", ".status"))
        if left:
            raise Broken(f"left when all have their end: {', '.join(left)}")
        if place.problems:
            raise Broken("; ".join(place.problems))

    @staticmethod
    def _check_failure(request, runs, may_fail):
        if not request.comment:
            raise Broken(f"{request.name}: failed without a reason")
        if not may_fail and runs < ATTEMPTS and not request.may_cancel:
            raise Broken(f"{request.name}: failed after {runs} runs: {request.comment}")


class Listener:
    """`zel listen`, and what it was told."""

    def __init__(self, place, prefix=()):
        self.process = place.begin_zel("listen", "--json", prefix=prefix)
        self.lines, self.errors = [], []
        self._readers = [threading.Thread(target=self._read, args=pair) for pair in
                         ((self.process.stdout, self.lines), (self.process.stderr, self.errors))]
        for reader in self._readers:
            reader.start()

    @staticmethod
    def _read(stream, lines):
        for line in stream:
            lines.append(line.strip())

    def is_listening(self):
        """Whether it said so, or has ended."""
        return any("listening" in line for line in self.errors) or self.process.poll() is not None

    def stop(self):
        """Its exit code."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        code = self.process.wait(WAIT_SECONDS)
        for reader in self._readers:
            reader.join()
        return code


def resume(scenario, request):
    """Until it says so, or has been refused for so long that an earlier one must have had its effect: it may have been
    killed then, and a status that says "paused" may be late."""
    end = time.monotonic() + 3
    while scenario.zel("resume", request.name) != OK:
        if time.monotonic() > end:
            return False
    return True


def live(scenario, listen=True):
    """The life cycle: hand-over, run with progress, response, receive; cancel, pause, unpause, forget; register, notify,
    take events, unregister; a restart in order. The server is there, and comes back when it is killed."""
    place = scenario.place
    listener = Listener(place, scenario.prefixes.pop("listen", ())) if listen else None
    if listener:
        place.wait_for(listener.is_listening, WAIT_SECONDS)
    first = scenario.make("first", milliseconds=30)
    gate_files = [place.home / f"gate{number}" for number in range(place.slots)]
    gates = [scenario.make(file.name, task=f'<Task Type="Gate"><GateFile>{file}</GateFile></Task>')
             for file in gate_files]
    scenario.send(first, *gates)
    place.wait_for(lambda: all(file.with_suffix(".entered").exists() for file in gate_files))
    cancelled, paused, plain, unwanted = (scenario.make(name) for name in ("cancelled", "paused", "plain", "unwanted"))
    unwanted.is_unwanted = True
    scenario.send(cancelled, paused, plain, unwanted)
    scenario.zel("pause", paused.name)
    scenario.cancel(cancelled)
    is_resumed = resume(scenario, paused)
    for file in gate_files:
        file.touch()
    if not is_resumed:
        resume(scenario, paused) # a status that could not be written is written between two runs
    tells_events = listener and not place.has_hosts # of tasks in processes of their own nobody hears
    if tells_events:
        events = scenario.make("events", task='<Task Type="FireEvents" Added="1 2" '
                               'Source="{01234567-89AB-CDEF-0102-030405060708}"/>')
        scenario.send(events)
    scenario.settle_all()
    heard = True
    if listener:
        heard = not tells_events or place.wait_for(lambda: listener.lines, 5)
        listener.stop()
    return heard


def restart(scenario):
    """A stop in order, a request that comes meanwhile, and a start."""
    place = scenario.place
    place.stop()
    late = scenario.make("late")
    scenario.send(late)
    if not place.start():
        raise Broken("the server does not start after a stop")
    scenario.settle_all()
    place.stop()
