"""Data as the server writes them beside its page."""
import json

from browser import now

DIRECTORY = "/var/lib/zel"


def script(data):
    """The whole of data.js."""
    text = json.dumps(data, ensure_ascii=False)
    for character in "<>&\u2028\u2029":
        text = text.replace(character, f"\\u{ord(character):04x}")
    return f"zelData({text});\n"


def empty(**changed):
    return {
        "version": 1, "written": now(), "heartbeat": 30, "ended": False, "language": "en",
        "server": {"version": "2.0.0", "host": "atlas", "pid": 4711, "since": now() - 90061000,
                   "requests": f"{DIRECTORY}/requests", "output": f"{DIRECTORY}/output", "slots": 1, "plugins": []},
        "disk": {}, "running": [], "waiting": {"count": 0, "first": []}, "paused": [], "held": False, "failed": [],
        "answers": [], "clients": [],
        "totals": {"done": 0, "failed": 0, "cancelled": 0, "events": 0, "bytes_read": 0, "bytes_written": 0,
                   "task_host_restarts": 0},
        "series": [], **changed}


def running(name, percent, **changed):
    return {"name": name, "type": "Query", "client": "report", "slot": 1, "since": now() - 83000, "percent": percent,
            "comment": "reading rows", "rate_end": None, **changed}


def series(count=60):
    """Figures of so many intervals up to now."""
    newest = now() // 10000 * 10
    items = []
    for at in range(count):
        busy = 40 + (at * 7) % 23 + at // 2
        items.append({"t": newest - (count - 1 - at) * 10, "done": busy * 10, "failed": at % 17 // 14,
                      "wait": [busy / 2, busy * 2, busy * 5], "run": [busy * 3, busy * 9, busy * 14]})
    return items


def busy(**changed):
    """A server with much to do."""
    at = now()
    data = empty(
        running=[
            running("sales-2026-11.drq", 64, slot=1, comment="12,800 of 20,000 rows",
                    rate_end={"earliest": at + 31000, "latest": at + 58000}),
            running("stations.drq", 12, slot=2, type="Statistics", comment="grouping", since=at - 4000),
            running("export-all.drq", -1, slot=3, client="night", comment="waiting for a lock of the database")],
        waiting={"count": 137, "first": [
            {"name": f"batch-{number:04}.drq", "type": "Query", "client": "night", "priority": number % 3 * 10,
             "since": at - 9000 - number * 100} for number in range(6)]},
        paused=[{"name": "yearly.drq", "since": at - 3600000}],
        failed=[{"name": "broken.drq", "type": "Query", "when": at - 240000, "reason": "no such table: salse"}],
        answers=[{"name": f"batch-{number:04}.drq", "type": "Query", "when": at - number * 900, "waited_ms": 140 + number,
                  "ran_ms": 2310 + 70 * number, "outcome": outcome}
                 for number, outcome in enumerate(["done", "done", "failed", "done", "cancelled"])],
        clients=[{"name": "report", "since": at - 7200000}, {"name": "night", "since": at - 60000}],
        totals={"done": 48211, "failed": 12, "cancelled": 3, "events": 9120, "bytes_read": 81264000,
                "bytes_written": 5120400000, "task_host_restarts": 1},
        disk={"requests": {"free": 41 * 10**9, "total": 250 * 10**9}, "output": {"free": 9 * 10**9, "total": 250 * 10**9}},
        series=series())
    data["server"].update(slots=4, plugins=[{"name": "zel_datastore", "version": "2.0.0", "state": "loaded"},
                                            {"name": "zel_script", "version": "2.0.0", "state": "failed"},
                                            {"name": "hello", "version": "", "state": "used"}])
    data.update(changed)
    return data
