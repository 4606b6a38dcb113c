"""Sends requests to a ZEL_Processor server and takes the answers.

::

    with zel_processor.Client(request_dir, output_dir) as client:
        job = client.submit({"Type": "Query", "DataSource": "box", "Sql": "select 1"})
        for progress in job:
            print(progress)
        print(job.result(timeout=60).to_rows())
"""

from .bar import show_progress
from .client import Client
from .errors import (
    ClientClosed,
    Error,
    LibraryNotFound,
    NameInUse,
    NoAnswer,
    NoServer,
    RequestCancelled,
    RequestFailed,
    RequestUnknown,
    TooLate,
    WaitTimeout,
    printable,
)
from .job import Job, Progress, State
from .request import element_of
from .response import Column, Response

__all__ = [
    "Client",
    "ClientClosed",
    "Column",
    "Error",
    "Job",
    "LibraryNotFound",
    "NameInUse",
    "NoAnswer",
    "NoServer",
    "Progress",
    "RequestCancelled",
    "RequestFailed",
    "RequestUnknown",
    "Response",
    "State",
    "TooLate",
    "WaitTimeout",
    "element_of",
    "printable",
    "show_progress",
]
