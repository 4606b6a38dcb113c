"""Eight clients and a server that is started again whenever it ends, and somebody who kills one of them every now and then."""
import functools
import random
import threading
import time

from place import ATTEMPTS, Broken, Place
from scenario import Scenario

CLIENTS = 8
SHORTEST, LONGEST = 0.05, 0.5 # seconds between two kills


class Client(threading.Thread):
    """Sends one request after the other and follows each to its end, whatever is killed."""

    def __init__(self, place, number, stop):
        super().__init__()
        self.scenario = Scenario(place)
        self.number = number
        self.stop = stop
        self.problem = None

    def run(self):
        try:
            count = 0
            while not self.stop.is_set():
                count += 1
                request = self.scenario.make(f"client{self.number}-{count}", milliseconds=5)
                self.scenario.send(request)
                self.scenario.settle(request)
                self.scenario.steps.clear()
        except Broken as problem:
            self.problem = problem


def victims(place):
    """How to kill each that runs now: the server as often as all clients together, and so its processes of tasks."""
    clients = [client.kill for client in place.running_clients()]
    hosts = [functools.partial(place.kill_task_host, host) for host in place.task_hosts()]
    return [place.server.kill, *hosts] * max(1, len(clients)) + clients


def run(build, seed, kills, root=None, kind=""):
    """So many kills; what the seed chooses is when and, of those who run then, whom."""
    dice = random.Random(seed)
    stop = threading.Event()
    with Place(build, root, kind) as place:
        if not place.start():
            raise Broken("the server does not start")
        place.guard()
        clients = [Client(place, number, stop) for number in range(CLIENTS)]
        for client in clients:
            client.start()
        for _ in range(kills):
            time.sleep(dice.uniform(SHORTEST, LONGEST))
            dice.choice(victims(place))()
            if any(client.problem for client in clients) or place.problems:
                break
        stop.set()
        for client in clients:
            client.join()
        problem = next((client.problem for client in clients if client.problem), None)
        if problem:
            raise problem
        place.stop()
        for client in clients:
            client.scenario.check(may_fail=place.has_hosts)
        requests = [request for client in clients for request in client.scenario.requests]
        failed = [request for request in requests if request.end == "failed"]
        note = f"{place.kills} kills of the server, {len(requests)} requests, {len(failed)} ended {ATTEMPTS} servers"
        return note, place.traces()
