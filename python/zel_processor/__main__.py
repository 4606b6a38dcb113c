"""Sends a request, waits, and writes the response to standard output: python3 -m zel_processor --help."""

from __future__ import annotations

import argparse
import os
import sys
from typing import Dict, List, Optional, Type

from . import (
    Client,
    Error,
    LibraryNotFound,
    NoServer,
    RequestCancelled,
    RequestFailed,
    RequestUnknown,
    WaitTimeout,
    printable,
    show_progress,
)

_CODES: Dict[Type[Error], int] = {RequestFailed: 3, NoServer: 4, RequestUnknown: 5, RequestCancelled: 6, WaitTimeout: 7}


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="python3 -m zel_processor",
        description="Sends a request, waits, and writes the response to standard output.",
    )
    parser.add_argument("request", help="a file with a request")
    for option, variable in (("--request-dir", "ZEL_REQUEST_DIR"), ("--output-dir", "ZEL_OUTPUT_DIR")):
        value = os.environ.get(variable)
        parser.add_argument(option, default=value, required=not value, help=f"without it, the variable {variable}")
    parser.add_argument("--name", help="the request's name, instead of that of the file")
    parser.add_argument("-o", "--output", help="a file for the response, instead of standard output")
    parser.add_argument("--timeout", type=float, help="so many seconds the wait lasts; the request goes on")
    parser.add_argument("-q", "--quiet", action="store_true", help="do not show how it gets on")
    return parser


def _send(options: argparse.Namespace) -> None:
    with Client(options.request_dir, options.output_dir) as client:
        job = client.submit(options.request, name=options.name)
        if not options.quiet and options.timeout is None:
            show_progress(job)
        if options.output:
            job.save(options.output, options.timeout)
            return
        sys.stdout.buffer.write(job.result(options.timeout).content)
        sys.stdout.buffer.flush()


def main(arguments: Optional[List[str]] = None) -> int:
    """Ends with the codes of ``zel``: 0 the response was taken, 1 it could not be, 3 failed, 4 no server, 5 no such
    request, 6 cancelled, 7 the time is over, 130 Ctrl-C."""
    options = _parser().parse_args(arguments)
    try:
        _send(options)
    except Error as error:
        return _complain(error, _CODES.get(type(error), 1))
    except (LibraryNotFound, ValueError, OSError) as error:
        return _complain(error, 1)
    except KeyboardInterrupt:
        return 130
    return 0


def _complain(error: Exception, code: int) -> int:
    print(f"zel_processor: {printable(str(error))}", file=sys.stderr)
    return code


if __name__ == "__main__":
    sys.exit(main())
