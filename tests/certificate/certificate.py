"""All cases of the certificate: their names, how one is run, and what became of them."""
import collections
import os
import random
import shutil
import subprocess
import threading
from concurrent.futures import ThreadPoolExecutor

import calls
import kills
import model
import volume
from place import ATTEMPTS, Broken

#: A name of a case, and what it says of it: None when there was nothing to try; and the traces that were seen.
Result = collections.namedtuple("Result", "case note traces problem")
PARTS = {
    "model": "all runs of the model",
    "planted": "faults planted in the model, each found",
    "killed": "killed at a system call",
    "failing": "a system call fails once",
    "random": "killed at random",
    "volume": "a volume filled up",
    "traces": "different runs seen above, each a run of the model",
}


class Certificate:
    """Runs cases, some at a time."""

    def __init__(self, build, root=None, all_calls=False):
        self.build = build
        self.root = root
        self.calls = "all" if all_calls else calls.CHANGING
        self.traces = set()
        self.numbers = {}
        self.lock = threading.Lock()

    # What there is to try

    def model_cases(self, quick):
        """Sizes of the model, and its faults."""
        sizes = [size for size in model.SIZES if not quick or size != model.LARGEST]
        return [f"model:{size}" for size in sizes] + [f"planted:{name}" for name in model.planted_faults()]

    def call_cases(self, part, count, seed):
        """At every call of every target, or at so many, evenly and with the seed's shift. Errors take turns."""
        dice = random.Random(seed)
        if not self.numbers: # once for all parts
            with ThreadPoolExecutor(os.cpu_count()) as pool:
                self.numbers = dict(zip(calls.TARGETS, pool.map(self._count, calls.TARGETS)))
        cases = []
        skipped = calls.NO_CASES | (calls.NO_FAILURE if part == "failing" else set())
        for target, counts in self.numbers.items():
            cases += [f"{target}:{call}:{number}" for call, most in sorted(counts.items())
                      for number in range(1, most + 1) if call not in skipped]
        if count:
            step = len(cases) / count
            cases = [cases[int((index + dice.random()) * step)] for index in range(min(count, len(cases)))]
        if part == "killed":
            return [f"killed:{case}" for case in cases]
        if count:
            return [f"failing:{case}:{dice.choice(calls.ERRORS)}" for case in cases]
        return [f"failing:{case}:{error}" for case in cases for error in calls.ERRORS]

    def _count(self, target):
        return calls.count(self.build, target, self.calls, self.root)

    # One case

    def run(self, case):
        """Its result; never raises for a case that failed."""
        part, *words = case.split(":")
        try:
            note, traces = getattr(self, f"_run_{part}")(*words)
            return Result(case, note, traces, None)
        except (Broken, RuntimeError, OSError, subprocess.SubprocessError) as problem:
            return Result(case, None, {}, str(problem) or repr(problem))

    def _run_model(self, size):
        with model.Checker(model.SIZES[size]) as checker:
            fault, states = checker.fault()
        if fault:
            raise Broken(fault)
        return f"{states} states", {}

    def _run_planted(self, name):
        fault, states = model.find_planted(name)
        if not fault:
            raise Broken("not found")
        return f"found after {states} states: {fault}", {}

    def _run_killed(self, target, call, number):
        return self._run_failing(target, call, number, "kill")

    def _run_failing(self, target, call, number, what):
        happened, traces = calls.run(self.build, target, call, int(number), what, self.root)
        return "as promised" if happened else None, traces

    def _run_random(self, seed, count, kind=""):
        return kills.run(self.build, int(seed), int(count), self.root, kind)

    def _run_volume(self, mebibytes):
        return volume.run(self.build, int(mebibytes))

    # All

    def run_all(self, cases, at_once, told):
        """Runs the cases, and calls told with each result as it comes."""
        results = []
        with ThreadPoolExecutor(at_once) as pool:
            for result in pool.map(self.run, cases):
                with self.lock:
                    self.traces.update(trace for trace in result.traces.values() if trace)
                told(result)
                results.append(result)
        return results

    def check_traces(self):
        """Those of what was run so far, as a case of its own."""
        try:
            wrong = model.not_runs(self.traces, ATTEMPTS) if self.traces else []
        except RuntimeError as problem:
            return Result("traces", None, {}, str(problem))
        problem = "\n".join(" ".join(trace) for trace in wrong)
        note = f"{len(self.traces)} different" if self.traces else None
        return Result("traces", note, {}, f"no runs of the model:\n{problem}" if wrong else None)


def missing_tools():
    """What is needed and is not there."""
    return [tool for tool in ("strace", "spin", "gcc") if shutil.which(tool) is None]
