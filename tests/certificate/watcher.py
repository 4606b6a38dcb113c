"""What happens to the requests of a server, as the system tells a watcher of its directories, in order."""
import ctypes
import os
import struct
import threading

LIBC = ctypes.CDLL(None, use_errno=True)
MOVED_FROM, MOVED_TO, CREATE, DELETE, OVERFLOW = 0x40, 0x80, 0x100, 0x200, 0x4000
NON_BLOCKING = os.O_NONBLOCK

#: (directory, what happened, whether to the status file): the event of the model.
MEANING = {
    ("requests", MOVED_TO, False): "Handed",
    ("queue", MOVED_TO, False): "Taken",
    ("queue", DELETE, False): "Unqueued",
    ("queue", MOVED_FROM, False): "Unqueued",
    ("output", CREATE, True): "Status",
    ("output", MOVED_TO, True): "Status",
    ("output", DELETE, True): "Cleared",
    ("output", CREATE, False): "Response",
    ("output", MOVED_TO, False): "Response",
    ("output", DELETE, False): "Discarded",
    ("output", MOVED_FROM, False): "Received",
}


class Watcher:
    """Notes what happens in the three directories; ask it often enough that the system's list does not overflow."""

    def __init__(self, requests, output):
        self.descriptor = LIBC.inotify_init1(NON_BLOCKING)
        if self.descriptor < 0:
            raise OSError(ctypes.get_errno(), "inotify_init1")
        self.lock = threading.RLock()
        self.names = {}
        self.events = []  # (event, request or None)
        self.overflowed = False
        self._add("requests", requests)
        self._add("output", output)
        self._add("queue", output / "Queue")

    def _add(self, name, directory):
        mask = MOVED_FROM | MOVED_TO | CREATE | DELETE
        number = LIBC.inotify_add_watch(self.descriptor, os.fsencode(directory), mask)
        if number < 0:
            raise OSError(ctypes.get_errno(), f"inotify_add_watch {directory}")
        self.names[number] = name

    def read(self):
        """Takes in what has happened by now. For any thread, as all here."""
        with self.lock:
            while self._read_some():
                pass

    def _read_some(self):
        try:
            data = os.read(self.descriptor, 65536)
        except BlockingIOError:
            return False
        at = 0
        while at < len(data):
            number, mask, _, length = struct.unpack_from("iIII", data, at)
            name = data[at + 16 : at + 16 + length].split(b"\0")[0].decode()
            at += 16 + length
            self.overflowed |= bool(mask & OVERFLOW)
            self._note(self.names.get(number), mask, name)
        return True

    def _note(self, directory, mask, name):
        is_status = name.endswith(".drq.status")
        request = name.removesuffix(".status") if is_status else name
        event = MEANING.get((directory, mask & 0xFFF, is_status))
        if event and request.endswith(".drq"):
            self.events.append((event, request))

    def tell(self, event):
        """Something that concerns all requests: Start, Crash."""
        with self.lock:
            self.read()
            self.events.append((event, None))

    def trace_of(self, request):
        """Its own events, and those that concern all; of those before and behind its own what matters: a server was up."""
        own = [index for index, (_, name) in enumerate(self.events) if name == request]
        before = [event for event, name in self.events[: own[0]] if name is None]
        trace = [event for event, name in self.events[own[0] : own[-1] + 1] if name in (request, None)]
        return tuple(["Start"] * (before[-1:] == ["Start"]) + trace)

    def close(self):
        """Ends the watching."""
        self.read()
        os.close(self.descriptor)
