"""A small volume that fills up: every hand-over fails with a reason or is answered, and nothing is stuck afterwards."""
import contextlib
import subprocess
import tempfile
from pathlib import Path

from place import Broken, Place
from scenario import Scenario

MIB = 1 << 20


@contextlib.contextmanager
def mounted(mebibytes):
    """A file system of this size, in memory; None for who may not mount."""
    folder = Path(tempfile.mkdtemp(prefix="zel-volume-"))
    command = ["mount", "-t", "tmpfs", "-o", f"size={mebibytes}m", "zel-certify", str(folder)]
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    try:
        yield folder if done.returncode == 0 else None
    finally:
        if done.returncode == 0:
            subprocess.run(["umount", str(folder)], check=True)
        folder.rmdir()


def fill(path):
    """Takes all the room there is."""
    with open(path, "wb", buffering=0) as file:
        for size in (MIB, 4096, 1):
            with contextlib.suppress(OSError):
                while file.write(b"x" * size) == size:
                    pass


def send_all(scenario, requests):
    """Each is handed over, or its sender is told why not."""
    for request in requests:
        before = len(scenario.steps)
        scenario.send(request)
        _, code, errors = scenario.steps[before]
        if code != 0 and not errors:
            raise Broken(f"{request.name}: not handed over, and nothing says why")


def run(build, mebibytes):
    """One case; no note for who may not mount."""
    with mounted(mebibytes) as volume:
        if volume is None:
            return None, {}
        with Place(build, volume) as place:
            scenario = Scenario(place)
            if not place.start():
                raise Broken("the server does not start")
            place.guard()
            early, poor, late = ([scenario.make(f"{name}{number}") for number in range(5)]
                                 for name in ("early", "poor", "late"))
            send_all(scenario, early)
            filler = place.root / "filler"
            fill(filler)
            send_all(scenario, poor)
            filler.unlink()
            send_all(scenario, late)
            scenario.settle_all()
            place.stop()
            scenario.check(may_fail=True)
            if any(request.end != "done" for request in late):
                raise Broken("with room again, a request is not answered")
            handed = sum(request.end == "done" for request in scenario.requests)
            return f"{handed} of {len(scenario.requests)} answered, the others failed with the reason", place.traces()
