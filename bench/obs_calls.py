#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What a call for each observation costs from Python (ctypes), and what the calls for many save.

usage: obs_calls.py LIBRARY [COUNT]
"""
import ctypes
import sys
import time
from array import array

LENGTH = 64
RANGE_FIELD = 9


def timed(work, count):
    best = min(clocked(work) for _ in range(3))
    return best * 1e9 / count


def clocked(work):
    start = time.process_time()
    work()
    return time.process_time() - start


def main():
    obs = ctypes.CDLL(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 50000
    obs.ObsAddFrArray.restype = ctypes.c_int64
    one = array("d", [0.0] * LENGTH)
    many = array("d", [0.0] * (LENGTH * count))
    for i in range(count):
        at = i * LENGTH
        many[at], many[at + 1], many[at + 2], many[at + 3] = 1, 100 + i % 20, 211, 27030 + i / 86400
        many[at + 6], many[at + 11] = 1000 + i, 3
    arrays = (ctypes.c_double * (LENGTH * count)).from_buffer(many)
    out = (ctypes.c_double * (LENGTH * count))()
    values = (ctypes.c_double * count)()
    keys = (ctypes.c_int64 * count)()
    text = ctypes.create_string_buffer(512)
    single = (ctypes.c_double * LENGTH).from_buffer(one)

    def add_each():
        obs.ObsRemoveAll()
        for i in range(count):
            single[:] = arrays[i * LENGTH:(i + 1) * LENGTH]
            keys[i] = obs.ObsAddFrArray(single)

    def add_all():
        obs.ObsRemoveAll()
        assert obs.ObsAddFrArrays(count, arrays, keys) == 0

    def read_each():
        for i in range(count):
            obs.ObsDataToArray(ctypes.c_int64(keys[i]), single)

    def field_each():
        for i in range(count):
            obs.ObsGetField(ctypes.c_int64(keys[i]), RANGE_FIELD, text)
            values[i] = float(text.raw)

    ways = (("arrays added to an empty store", add_each, add_all),
            ("arrays read", read_each, lambda: obs.ObsDataToArrays(count, keys, out)),
            ("one field", field_each, lambda: obs.ObsGetFieldReals(count, keys, RANGE_FIELD, values)))
    print(f"{'ns per observation, from Python':42} {'each':>10} {'at once':>10} {'ratio':>8}")
    for what, each, at_once in ways:
        a, b = timed(each, count), timed(at_once, count)
        print(f"{what:42} {a:10.1f} {b:10.1f} {a / b:8.1f}")


if __name__ == "__main__":
    main()
