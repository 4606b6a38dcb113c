"""Something happens at one system call: the process is killed before it, or the call fails.

Each kind of call of a thread is counted. A kill before a thread's next call is one after this one. The server's first
thread is traced from the start of the program on, its others, and a process of tasks, from the moment when it is
ready."""
import collections
import re
import subprocess
from pathlib import Path

from place import Broken, Place
from scenario import Scenario, live, restart

#: Those that change what others see. A kill before another call leaves what a kill before the next of these does.
CHANGING = ("open,openat,creat,close,write,writev,pwrite64,rename,renameat,renameat2,link,linkat,unlink,unlinkat,mkdir,"
            "mkdirat,rmdir,ftruncate,fchmod,fchown,fsync,fdatasync,flock,fcntl,inotify_add_watch,sendfile")
ERRORS = ["ENOSPC", "EIO", "EACCES", "EMFILE", "ENOMEM", "EINTR", "EDQUOT"]
#: What cannot fail, or is the end.
NO_CASES = {"exit", "exit_group", "rt_sigreturn", "restart_syscall"}
#: strace makes a call fail by leaving it out; a close that fails has closed all the same.
NO_FAILURE = {"close"}
THREADS = {"listener": "MessageHandling", "executive": "rver::Executive"}
#: How often threads are listed of which some end before the tracer has them.
TRIES = 5
VERBS = ["send", "wait", "receive", "forget", "cancel", "pause", "resume", "listen"]
#: What is killed or fails, in the order of the cases; of a server of another kind with that behind it.
TARGETS = ["main", *THREADS, *VERBS, "main@slots", "listener@slots", "executive@slots", "main@isolated",
           "executive@isolated", "host@isolated"]


def strace(calls, output, injection, attach=None):
    """The tracer: of a command that follows, as a process beside it, or of a thread that runs."""
    where = ["-D"] if attach is None else [word for task in attach for word in ("-p", str(task))]
    what = ["-e", f"inject={calls}:{injection}"] if injection else []
    return ["strace", *where, "-o", str(output), "-e", f"trace={calls}", *what]


def tasks_of(place, target):
    """The threads to be traced: of several slots all, each with a count of its own; of a process of tasks all it has."""
    if target == "host":
        return [int(task.name) for task in Path(f"/proc/{place.task_host()}/task").iterdir()]
    more = range(2, place.slots + 1) if target == "executive" else ()
    # The system keeps the last letters.
    return place.threads([THREADS[target], *(f"{THREADS[target]}{number}"[-15:] for number in more)])


class Tracer:
    """Traces threads of the server, or of a process of its tasks, from now on."""

    def __init__(self, place, target, calls, injection):
        self.output = place.root / "strace"
        for _ in range(TRIES):
            said = self._attach(tasks_of(place, target), calls, injection)
            if said is None:
                return
            self.stop()
            if "No such process" not in said:
                break
        raise Broken(f"strace: {said}")

    def _attach(self, tasks, calls, injection):
        """What went wrong: a thread may end after it was listed."""
        self.process = subprocess.Popen(strace(calls, self.output, injection, tasks), stderr=subprocess.PIPE, text=True)
        for _ in tasks:
            said = self.process.stderr.readline()
            if "attached" not in said:
                return said
        return None

    def stop(self):
        """Lets the thread go."""
        if self.process.poll() is None:
            self.process.terminate()
        self.process.communicate()


def has_happened(output):
    """Whether the tracer's output tells of a kill, or of a call that was made to fail."""
    text = output.read_text(errors="replace") if output.exists() else ""
    return "(INJECTED)" in text or "+++ killed by SIGKILL" in text


def start_traced(place, prefix):
    """Whether it is up. That it says so may be the very call that fails."""
    try:
        return place.start(prefix)
    except Broken:
        if "zel-server: ready" not in (place.root / "strace").read_text(errors="replace"):
            raise
        return True


def steer(place, scenario, target, injection, calls):
    """The life cycle while this happens."""
    output = place.root / "strace"
    tracer = None
    if target in VERBS:
        scenario.prefixes[target] = strace(calls, output, injection)
    if target == "main":
        is_up = start_traced(place, strace(calls, output, injection))
        if not is_up:
            code = place.server.wait()
            place.watcher.tell("Crash")
            place.kills += code < 0
            if not place.start():
                raise Broken("the server does not start after that")
    elif not place.start():
        raise Broken("the server does not start")
    if target in THREADS or target == "host":
        tracer = Tracer(place, target, calls, injection)
    place.guard()
    try:
        live(scenario, listen=target in ("listen", "listener", "main"))
    finally:
        if tracer:
            tracer.stop()
    restart(scenario)
    return has_happened(output)


def run(build, target, call, number, what, root=None):
    """One case: the target's call of this kind and number. What is "kill" or the name of an error. Whether there was such
    a call, and the traces."""
    injection = f"signal=KILL:when={number}" if what == "kill" else f"error={what}:when={number}"
    target, _, kind = target.partition("@")
    with Place(build, root, kind) as place:
        scenario = Scenario(place)
        happened = steer(place, scenario, target, injection, call)
        # The end of a process of tasks is that of its request.
        scenario.check(may_fail=what != "kill" or target == "host")
        return happened, place.traces()


def count(build, target, calls=CHANGING, root=None):
    """What the target calls in the life cycle, and how often."""
    target, _, kind = target.partition("@")
    with Place(build, root, kind) as place:
        steer(place, Scenario(place), target, None, calls)
        names = re.findall(r"^(?:\d+ +)?(\w+)\(", (place.root / "strace").read_text(errors="replace"), re.MULTILINE)
        return collections.Counter(names)
