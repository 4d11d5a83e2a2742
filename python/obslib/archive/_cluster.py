# SPDX-License-Identifier: Apache-2.0
"""Who does the tasks: worker processes of this machine, or a scheduler that is there already."""
from __future__ import annotations

import logging
import os
import subprocess
import sys
import time
from collections.abc import Callable, Iterable, Iterator
from concurrent.futures import CancelledError
from contextlib import ExitStack, contextmanager
from typing import Any, TypeVar

from .._extras import needed
from ._manifest import ArchiveError

Item = TypeVar("Item")
START_S = 60.0
CONNECT_S = 20.0
WITHOUT_WORKERS_S = 60.0
LOOKED_AFTER_S = 2.0
WAITING_TASKS = 4  # of each worker: the scheduler holds these, not a million


@contextmanager
def client_of(scheduler: str | None, workers: int | None) -> Iterator[Any]:
    """A client of the scheduler at an address, or of a cluster of processes that ends with it.

    The processes are commands of their own, which never read the script that builds: it needs no `__main__` guard.
    """
    distributed = needed("distributed", "archive")
    with ExitStack() as stack:
        if scheduler is None:
            scheduler = stack.enter_context(local(workers or os.cpu_count() or 1))
        try:
            distributed.comm.resolve_address(scheduler)  # a client complains of a wrong one long after it failed
        except (ValueError, OSError, FutureWarning) as failure:
            raise ArchiveError(f"{scheduler!r} is not the address of a scheduler: {failure}") from None
        try:
            client = distributed.Client(scheduler, timeout=CONNECT_S, set_as_default=False)
        except OSError as failure:
            raise ArchiveError(f"no scheduler answers at {scheduler}: {failure}") from None
        stack.callback(client.close, timeout=5)
        deadline = time.monotonic() + START_S
        while not client.nthreads():
            if time.monotonic() > deadline:
                raise ArchiveError(f"the scheduler at {scheduler} has no workers")
            time.sleep(0.05)
        yield client


@contextmanager
def local(workers: int) -> Iterator[str]:
    """The address of a scheduler in this process with workers of one thread each, started again when one dies."""
    distributed = needed("distributed", "archive")
    with quiet("distributed"), distributed.LocalCluster(n_workers=0, dashboard_address=None) as cluster:
        command = [sys.executable, "-m", "distributed.cli.dask_worker", cluster.scheduler_address, "--nworkers",
                   str(workers), "--nthreads", "1", "--no-dashboard", "--death-timeout", str(START_S)]
        settings = {"DASK_LOGGING__DISTRIBUTED": "critical", "DASK_DISTRIBUTED__WORKER__DAEMON": "False"}
        process = subprocess.Popen(command, env={**settings, **os.environ}, stdin=subprocess.DEVNULL,
                                   start_new_session=True)  # Ctrl-C is for the one that ends them
        try:
            yield cluster.scheduler_address
        finally:
            process.terminate()
            try:
                process.wait(20)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()


@contextmanager
def quiet(logger: str) -> Iterator[None]:
    """What a cluster that comes and goes says of that, and of workers that die, is of no use."""
    log = logging.getLogger(logger)
    before = log.level
    log.setLevel(logging.CRITICAL)
    try:
        yield
    finally:
        log.setLevel(before)


def each(client: Any, task: Callable[..., Any], items: Iterable[tuple[Item, Any]], *rest: Any,
         told: Callable[[Item], object]) -> Iterator[tuple[Item, Any]]:
    """The results of a task on each item, given with its first argument, in the order in which they come.

    A task whose worker dies is done again by another. ArchiveError names what failed: the first failure of a task ends
    all, and so does a scheduler that is gone, or one that has had no workers for a minute.
    """
    distributed = needed("distributed", "archive")
    waiting = iter(items)
    under_way: dict[Any, Item] = {}
    completed = distributed.as_completed(loop=client.loop)
    watch = Watch(client)

    def submit(more: int) -> None:
        for _, (item, argument) in zip(range(more), waiting):
            future = client.submit(task, argument, *rest, pure=False)
            under_way[future] = item
            completed.add(future)

    try:
        submit(WAITING_TASKS * max(1, len(client.nthreads())))
        while under_way:
            done = completed.next_batch(block=False)
            if not done:
                watch.look()
                time.sleep(0.01)
            for future in done:
                item = under_way.pop(future)
                result = result_of(future)
                told(item)
                yield item, result
            submit(len(done))
    finally:
        if under_way and client.status == "running":
            client.cancel(list(under_way), force=True)


def result_of(future: Any) -> Any:
    """What a task gave; its own failure, or one that says how it ended."""
    distributed = needed("distributed", "archive")
    try:
        return future.result(timeout=60)
    except distributed.KilledWorker as failure:
        raise ArchiveError(f"the workers of one task died again and again: {failure}") from None
    except (TimeoutError, CancelledError) as failure:
        raise ArchiveError(f"{gone(failure)}") from None


def gone(why: object) -> str:
    return f"the scheduler of the build is gone ({why}); the next build of the same goes on from here"


class Watch:
    """Sees to it that a build does not wait for a scheduler or workers that will not come back."""

    def __init__(self, client: Any) -> None:
        self._client = client
        self._looked = self._alive = time.monotonic()

    def look(self) -> None:
        now = time.monotonic()
        if now - self._looked < LOOKED_AFTER_S:
            return
        self._looked = now
        if self._client.status != "running":
            raise ArchiveError(gone(f"the connection is {self._client.status}"))
        try:
            if self._client.nthreads():
                self._alive = now
        except (OSError, TimeoutError) as failure:
            raise ArchiveError(gone(failure)) from None
        if now - self._alive > WITHOUT_WORKERS_S:
            raise ArchiveError(f"there were no workers for {WITHOUT_WORKERS_S:.0f} s; the next build goes on from here")
