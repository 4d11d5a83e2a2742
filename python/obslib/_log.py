# SPDX-License-Identifier: Apache-2.0
"""The library's messages in `logging`, under the name "obslib"."""
import logging
import os
import threading

logger = logging.getLogger("obslib")
logger.addHandler(logging.NullHandler())
LEVELS = (logging.INFO, logging.ERROR)  # by the library's severity

# No thread is inside a handler when another forks: the child would wait for ever for the lock of the handler's file.
handing_over = threading.RLock()
os.register_at_fork(before=handing_over.acquire, after_in_parent=handing_over.release,
                    after_in_child=handing_over.release)


def deliver(messages: list[tuple[int, str]], lost: int) -> None:
    """Called by the native half when a call is over."""
    with handing_over:
        for severity, text in messages:
            logger.log(LEVELS[severity], "%s", text)
        if lost:
            logger.error("%d more messages of this call", lost)
