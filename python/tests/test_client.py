"""A client and its jobs against a real server."""

from __future__ import annotations

import asyncio
import concurrent.futures
import io
import pathlib
import signal
import subprocess
import sys
import threading
import xml.etree.ElementTree as ElementTree

import pytest
from conftest import Server

import zel_processor
from zel_processor import Client, Job, State


def gated(client: Client, gate: pathlib.Path, **more: str) -> Job:
    return client.submit({"Type": "Gate", "GateFile": str(gate), **more})


def until(job: Job, *states: State) -> None:
    for progress in job:
        if progress.state in states:
            return
    raise AssertionError("it ended")


RUNS = (State.CALCULATING, State.GETTING_DATA)


def test_requests_come_from_dictionaries_elements_bytes_and_files(client: Client, tmp_path: pathlib.Path) -> None:
    element = zel_processor.element_of({"Type": "Echo", "Text": "hé"})
    file = tmp_path / "own.drq"
    ElementTree.ElementTree(element).write(file, "utf-8")
    requests = [{"Type": "Echo", "Text": "hé"}, element, ElementTree.ElementTree(element), file.read_bytes(), file]
    jobs = [client.submit(request) for request in requests]  # type: ignore[arg-type]
    assert [job.result(60).getroot().text for job in jobs] == ["hé"] * len(jobs)
    assert jobs[-1].name == "own.drq"


def test_progress_is_told_until_the_end(client: Client) -> None:
    job = client.submit({"Type": "Sleep", "Steps": 4, "Milliseconds": 400})
    told = list(job)
    assert told[-1].state == State.DONE and told[-1].ended and job.done() and not job.running()
    assert not any(progress.ended for progress in told[:-1])
    assert list(job)[-1] == told[-1]  # told again to who comes later


def test_a_response_outlives_the_client(server: Server) -> None:
    with server.client() as client:
        job = client.submit({"Type": "Echo", "Text": "x"})
        response = job.result(60)
    assert response.getroot().text == "x" and job.result() is response


def test_a_response_is_moved_to_a_file(client: Client, tmp_path: pathlib.Path) -> None:
    job = client.submit({"Type": "Echo", "Text": "moved"})
    target = job.save(tmp_path / "answer.xml", timeout=60)
    assert b"moved" in target.read_bytes() and job.result().getroot().text == "moved"


def test_a_failure_tells_the_servers_reason(client: Client) -> None:
    job = client.submit({"Type": "FailObtain", "Words": "the moon is away"})
    with pytest.raises(zel_processor.RequestFailed) as caught:
        job.result(60)
    assert caught.value.code == "failed" and "the moon is away" in caught.value.reason
    assert job.exception() is caught.value and job.done() and not job.cancelled()


def test_a_hostile_comment_is_shown_without_what_a_terminal_obeys(client: Client) -> None:
    comment = "a\x1b[2J\nb\u202ec"
    progress = zel_processor.Progress(9, "getting-data", 40, comment, False, 0.0)
    assert str(progress) == "getting-data 40 % a\\u001b[2J b\\u202ec"
    error = client.submit({"Type": "FailObtain", "Words": "x\u202ey"}).exception(60)
    assert isinstance(error, zel_processor.RequestFailed)
    assert "x\u202ey" in error.reason and "x\\u202ey" in str(error)


@pytest.mark.parametrize("content", [b"\xff\xfe\0" * 1000, b"13\n\xff\n", b""])
def test_a_status_file_that_is_none_ends_only_its_job(client: Client, server: Server, content: bytes) -> None:
    (server.output / "strange.drq.status").write_bytes(content)
    strange = client.job("strange.drq")
    assert client.submit({"Type": "Echo", "Text": "x"}).result(60).getroot().text == "x"
    assert strange.progress is None or str(strange.progress)


def test_one_that_runs_is_cancelled(client: Client, gate: pathlib.Path) -> None:
    job = gated(client, gate)
    until(job, *RUNS)
    assert job.running() and job.cancel()
    with pytest.raises(concurrent.futures.CancelledError):
        job.result(60)
    assert job.cancelled() and job.cancel() and not job.running()


def test_one_that_has_ended_is_not_cancelled(client: Client) -> None:
    job = client.submit({"Type": "Echo"})
    job.result(60)
    assert not job.cancel()


def test_a_time_that_is_over_ends_the_wait_alone(client: Client, gate: pathlib.Path) -> None:
    job = gated(client, gate)
    with pytest.raises(concurrent.futures.TimeoutError):
        job.result(0)
    gate.touch()
    assert job.result(60).getroot().text == "passed"


def test_a_name_in_use_and_one_that_nobody_sent_are_told(client: Client, gate: pathlib.Path) -> None:
    text = ElementTree.tostring(zel_processor.element_of({"Type": "Gate", "GateFile": str(gate)}))
    job = client.submit(text, name="mine.drq")
    until(job, *RUNS)
    with pytest.raises(zel_processor.NameInUse):
        client.submit(text, name="mine.drq")
    with pytest.raises(zel_processor.RequestUnknown):
        client.job("nobodys.drq").result(60)


def test_callbacks_run_on_the_one_waiting_thread(client: Client) -> None:
    threads: "set[str]" = set()
    called = threading.Semaphore(0)

    def note(job: "concurrent.futures.Future[zel_processor.Response]") -> None:
        threads.add(threading.current_thread().name)
        called.release()

    for number in range(20):
        client.submit({"Type": "Echo", "Text": number}).add_done_callback(note)
    for _ in range(20):
        assert called.acquire(timeout=60)
    assert threads <= {"zel_processor", threading.current_thread().name}


def test_a_client_may_be_closed_in_a_callback(server: Server) -> None:
    client = server.client()
    closed = threading.Event()

    def close(job: object) -> None:
        client.close()
        closed.set()

    client.submit({"Type": "Sleep"}).add_done_callback(close)
    assert closed.wait(60)


def test_a_closed_client_ends_all_waits(server: Server, gate: pathlib.Path) -> None:
    client = server.client()
    job = gated(client, gate)
    failed: "concurrent.futures.Future[object]" = concurrent.futures.Future()
    thread = threading.Thread(target=lambda: failed.set_result(job.exception()))
    thread.start()
    client.close()
    assert isinstance(failed.result(60), zel_processor.ClientClosed)
    thread.join()
    with pytest.raises(zel_processor.ClientClosed):
        client.submit({"Type": "Echo"})
    with pytest.raises(zel_processor.ClientClosed):
        list(job)


def test_a_killed_server_ends_the_wait_and_not_the_job(server: Server, gate: pathlib.Path) -> None:
    with server.client(server_absence=0.5) as client:
        job = gated(client, gate)
        until(job, *RUNS)
        server.kill()
        with pytest.raises(zel_processor.NoServer):
            job.result(60)
        with pytest.raises(zel_processor.NoServer):
            list(job)
        with pytest.raises(zel_processor.NoServer):
            asyncio.run(job._outcome())
        assert not job.done()


def test_thousands_of_jobs_have_one_thread(client: Client) -> None:
    before = threading.active_count()
    jobs = [client.submit({"Type": "Echo", "Text": number}) for number in range(2000)]
    done, rest = concurrent.futures.wait(jobs, timeout=300)
    assert not rest and threading.active_count() <= before
    assert [job.result().getroot().text for job in jobs] == [str(number) for number in range(2000)]
    assert client.jobs == []


def test_jobs_are_awaited_and_iterated_over(client: Client) -> None:
    async def follow(number: int) -> str:
        job = client.submit({"Type": "Sleep", "Milliseconds": 20, "Steps": 2, "Text": number})
        states = [progress.state async for progress in job]
        assert states[-1] == State.DONE
        return (await job).getroot().text or ""

    async def all_of_them() -> "list[str]":
        return await asyncio.gather(*(follow(number) for number in range(100)))

    assert asyncio.run(all_of_them()) == [str(number) for number in range(100)]


def test_who_stops_awaiting_leaves_the_request_alone(client: Client, gate: pathlib.Path) -> None:
    job = gated(client, gate)

    async def briefly() -> None:
        with pytest.raises(asyncio.TimeoutError):
            await asyncio.wait_for(job, 0.01)

    asyncio.run(briefly())
    gate.touch()
    assert job.result(60).getroot().text == "passed" and not job._listeners


def test_ctrl_c_ends_a_wait_and_cancels_the_request(server: Server, gate: pathlib.Path) -> None:
    script = (
        "import sys, zel_processor\n"
        "with zel_processor.Client(sys.argv[1], sys.argv[2]) as client:\n"
        "    job = client.submit({'Type': 'Gate', 'GateFile': sys.argv[3]})\n"
        "    print(job.name, flush=True)\n"
        "    job.result()\n"
    )
    command = [sys.executable, "-c", script, str(server.requests), str(server.output), str(gate)]
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as process:
        assert process.stdout is not None
        name = process.stdout.readline().strip()
        with server.client() as client:
            job = client.job(name)
            until(job, *RUNS)
            process.send_signal(signal.SIGINT)
            with pytest.raises(zel_processor.RequestCancelled):
                job.result(60)
        assert process.wait(60) != 0


def test_progress_is_shown_in_lines_where_there_is_no_terminal(client: Client) -> None:
    out = io.StringIO()
    job = client.submit({"Type": "Sleep"}, name="shown.drq")
    zel_processor.show_progress(job, out)
    assert out.getvalue().splitlines()[-1].startswith("shown.drq: done")


def run_module(server: Server, *arguments: str) -> "subprocess.CompletedProcess[bytes]":
    command = [sys.executable, "-m", "zel_processor", "--request-dir", str(server.requests), "--output-dir"]
    return subprocess.run([*command, str(server.output), *arguments], capture_output=True, timeout=120)


def test_the_module_sends_waits_and_prints(server: Server, tmp_path: pathlib.Path) -> None:
    good = tmp_path / "good.drq"
    good.write_bytes(b'<Request><Task Type="Echo"><Text>hello</Text></Task></Request>')
    ended = run_module(server, str(good))
    assert ended.returncode == 0 and b"<Response>hello</Response>" in ended.stdout and b"good.drq: done" in ended.stderr
    bad = tmp_path / "bad.drq"
    bad.write_bytes(b'<Request><Task Type="FailObtain"><Words>no luck</Words></Task></Request>')
    ended = run_module(server, "-q", str(bad))
    assert ended.returncode == 3 and b"no luck" in ended.stderr and not ended.stdout
