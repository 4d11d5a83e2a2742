# SPDX-License-Identifier: Apache-2.0
"""The library's messages in `logging`, under the name "obslib"."""
import logging

logger = logging.getLogger("obslib")
logger.addHandler(logging.NullHandler())
LEVELS = (logging.INFO, logging.ERROR)  # by the library's severity


def deliver(messages: list[tuple[int, str]], lost: int) -> None:
    """Called by the native half when a call is over."""
    for severity, text in messages:
        logger.log(LEVELS[severity], "%s", text)
    if lost:
        logger.error("%d more messages of this call", lost)
