"""Shows on a terminal how a job gets on."""

from __future__ import annotations

import sys
from typing import Any, Optional, TextIO

from .errors import printable
from .job import Job


def _new_bar(job: Job, file: TextIO) -> Any:
    try:
        import tqdm
    except ImportError:
        return None
    return tqdm.tqdm(total=100, desc=printable(job.name), unit="%", file=file)


def show_progress(job: Job, file: Optional[TextIO] = None) -> None:
    """Shows each change until the job has ended: as a bar where ``tqdm`` is installed and the file, which is standard
    error without one, is a terminal; else in lines."""
    out = sys.stderr if file is None else file
    bar = _new_bar(job, out) if out.isatty() else None
    try:
        for progress in job:
            if bar is None:
                print(f"{printable(job.name)}: {progress}", file=out, flush=True)
                continue
            if progress.percent is not None:
                bar.update(progress.percent - bar.n)
            bar.set_postfix_str(printable(progress.comment or progress.state_name))
    finally:
        if bar is not None:
            bar.close()
