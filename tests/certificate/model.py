"""The model of the hand-over (model.pml): all its runs, faults that must be found, and whether runs that were seen are its."""
import re
import shutil
import subprocess
import tempfile
from pathlib import Path

MODEL = Path(__file__).resolve().parent / "model.pml"
#: Whom all runs are made for. The last takes some minutes and 2.5 GB.
SIZES = {
    "1 client, 1 request, steered": ["CLIENTS=1", "REQUESTS=1", "STEERING"],
    "1 client, 2 requests, steered": ["CLIENTS=1", "REQUESTS=2", "STEERING"],
    "2 clients, 2 requests, steered": ["CLIENTS=2", "REQUESTS=2", "STEERING"],
    "2 clients, 3 requests": ["CLIENTS=2", "REQUESTS=3"],
}
LARGEST = "2 clients, 3 requests"


def missing_tool():
    """What keeps the model from being run, or nothing."""
    return next((tool for tool in ("spin", "gcc") if shutil.which(tool) is None), None)


class Checker:
    """A program that makes all runs of the model with these definitions."""

    def __init__(self, defines, trace_source=""):
        self.folder = Path(tempfile.mkdtemp(prefix="zel-model-"))
        self.defines = defines
        (self.folder / "trace.pml").write_text(trace_source)
        shutil.copy(MODEL, self.folder)
        self._run(["spin", *(f"-D{define}" for define in defines), "-a", MODEL.name])
        # Most searches are over before an optimiser would be.
        optimiser = "-O2" if "CLIENTS=2" in defines else "-O0"
        self._run(["gcc", optimiser, "-DSAFETY", "-DCOLLAPSE", "-w", "-o", "pan", "pan.c"])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.folder)

    def _run(self, command):
        done = subprocess.run(command, cwd=self.folder, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise RuntimeError(f"{' '.join(command)}: {done.stdout}{done.stderr}")
        return done.stdout

    def all_runs(self, *options):
        """What pan says. A search that was cut short is a failure of this program."""
        output = self._run(["./pan", "-m2000000", *options])
        if "max search depth too small" in output or "out of memory" in output:
            raise RuntimeError(output)
        return output

    def fault(self):
        """The first violation, in pan's words, or nothing; and the number of states."""
        output = self.all_runs()
        found = re.search(r"^pan:1: (.*?) \(at depth", output, re.MULTILINE)
        if not found and re.search(r"errors: 0$", output, re.MULTILINE) is None:
            raise RuntimeError(output)
        states = re.search(r"^ *([0-9.e+]+) states, stored", output, re.MULTILINE)
        return found.group(1) if found else None, int(float(states.group(1)))


def planted_faults():
    """The faults that the model can have."""
    return sorted(set(re.findall(r"PLANTED_[A-Z_]+", MODEL.read_text())) - {"PLANTED_"})


def find_planted(name):
    """How a planted fault shows, or nothing when it stays hidden; and the states looked at until then."""
    with Checker([*SIZES["1 client, 1 request, steered"], name]) as checker:
        return checker.fault()


EVENTS = ["Handed", "Taken", "Status", "Response", "Discarded", "Unqueued", "Received", "Cleared", "Crash", "Start"]


def _trace_source(traces):
    """Promela that lets the model choose one of the traces at its beginning."""
    longest = max(len(trace) for trace in traces)
    lines = [f"mtype seen[{longest + 1}];", "byte at, length;", "short number;", "inline ChooseTrace()", "{", "    if"]
    for number, trace in enumerate(traces):
        steps = "; ".join(f"seen[{index}] = {event}" for index, event in enumerate(trace))
        lines.append(f"    :: number = {number}; length = {len(trace)}; {steps}")
    return "\n".join([*lines, "    fi", "}"]) + "\n"


def not_runs(traces, attempts):
    """Those of the traces, each of one request, that no run of the model shows to a watcher. Each is a tuple of EVENTS."""
    wrong = []
    traces = sorted(set(traces))
    for first in range(0, len(traces), 50):
        part = traces[first : first + 50]
        defines = ["TRACE", "CLIENTS=1", "REQUESTS=1", "STEERING", f"ATTEMPTS={attempts}"]
        with Checker(defines, _trace_source(part)) as checker:
            accepted = set(map(int, re.findall(r"^accepted (\d+)$", checker.all_runs("-c0", "-E"), re.MULTILINE)))
        wrong += [trace for number, trace in enumerate(part) if number not in accepted]
    return wrong
