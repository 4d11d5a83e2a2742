# SPDX-License-Identifier: Apache-2.0
"""Loaded by workers that a test starts: what goes wrong in one of them, once. OBS_FAULT has the name of a fault, a file
that tells that it happened, and the process that is to die (0: the worker)."""
import os
import signal

from obslib.archive import _map, _reduce


def dask_setup(worker):
    fault, flag, process = os.environ["OBS_FAULT"].split(",")

    def die():
        try:
            os.close(os.open(flag, os.O_CREAT | os.O_EXCL))
        except FileExistsError:
            return
        os.kill(int(process) or os.getpid(), signal.SIGKILL)

    def wrap(module, name, dies_before):
        real = getattr(module, name)

        def wrapped(*arguments):
            if dies_before:
                die()
            result = real(*arguments)
            die()
            return result

        wrapped.__module__, wrapped.__qualname__ = real.__module__, real.__qualname__
        setattr(module, name, wrapped)

    wrap(*{"in map": (_map, "write_days", True), "in reduce": (_reduce, "through_store", True),
           "after the rename of map": (_map, "read", False), "after the rename of reduce": (_reduce, "reduce", False),
           "scheduler": (_map, "write_days", True)}[fault])
