#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Loads a deck, lists observations, corrects one, shows it in two formats and saves all.

    LD_LIBRARY_PATH=/opt/obs/lib python3 load_list_change.py deck.txt all.csv

The programs beside this one do the same in C, C++ and Fortran and print the same.
"""
import sys
from ctypes import CDLL, byref, c_char, c_double, c_int32, c_int64, create_string_buffer

RANGE_FIELD, BY_SENSOR_ASCENDING, REPLACE, CSV_FORM = 9, -4, 0, 2

obs = CDLL("libObs.so")  # the functions of ObsFamily.h are reached through it, too
# Results are 32-bit integers unless it is said otherwise, as for functions that return a key:
# obs.ObsAddFrB3Card.restype = c_int64


class Text:
    """A text that Obs writes: 512 characters, blank-padded, without a NUL."""

    def __init__(self):
        self.buffer = create_string_buffer(512)

    def __str__(self):
        return self.buffer.raw.decode("latin-1").rstrip()


def check(done, what):
    """Every failure leaves its reason as the thread's last error."""
    if not done:
        reason = Text()
        obs.FamilyGetLastError(reason.buffer)
        sys.exit(f"{what}: {reason}")


def show(key):
    # The field list: characters, integers, reals, then position, velocity and a block that is not used.
    fields = [c_char(), c_int32(), c_int32(), *(c_double() for _ in range(8)), c_char(), *(c_int32() for _ in range(4))]
    vectors = [(c_double * 3)(), (c_double * 3)(), (c_double * 128)()]
    check(obs.ObsGetAllFields(c_int64(key), *map(byref, fields), *vectors) == 0, "An observation cannot be read")
    _, satellite, sensor, days, el_or_dec, az_or_ra, range_km, *_ = (field.value for field in fields)
    obs_type = fields[11].value.decode()
    print(f"{key:19}{satellite:10}{sensor:7}{obs_type:>5}{days:18.8f}{el_or_dec:12.4f}{az_or_ra:12.4f}{range_km:12.4f}")


def field(key, index):
    value = Text()
    check(obs.ObsGetField(c_int64(key), index, value.buffer) == 0, "A field cannot be read")
    return str(value)


def correct_range(key):
    """Adds 0.1 km to a range, as for a radar found to measure short. Fields are exchanged as texts."""
    before = field(key, RANGE_FIELD)
    wanted = f"{float(before) + 0.1:.15f}".encode()
    check(obs.ObsSetField(c_int64(key), RANGE_FIELD, wanted) == 0, "The range cannot be changed")
    print(f"Range before: {before} km, after: {field(key, RANGE_FIELD)} km")


def main(deck, csv_file):
    # The result tells of the last line only; the counts tell of all. Bad lines are left out.
    obs.ObsLoadFile(deck.encode())
    count = obs.ObsGetCount()
    check(count > 0, "Nothing was loaded")
    loaded, duplicate, bad = c_int64(), c_int64(), c_int64()
    obs.ObsGetLoadCounts(byref(loaded), byref(duplicate), byref(bad))
    print(f"{loaded.value} observations loaded, {duplicate.value} duplicate and {bad.value} bad ones left out")

    keys = (c_int64 * count)()
    obs.ObsGetLoaded(BY_SENSOR_ASCENDING, keys)
    print("The first by sensor, satellite and time:")
    print("                key satellite sensor type   days since 1950  el/dec deg   az/ra deg    range km")
    for key in keys[:5]:
        show(key)

    correct_range(keys[0])

    # A conversion needs no stored observation; here its card comes from one.
    card, line = Text(), Text()
    check(obs.ObsGetB3Card(c_int64(keys[0]), card.buffer) == 0, "There is no card")
    check(obs.ObsB3ToCsv(card.buffer, line.buffer) == 0, "The card cannot be converted")
    print(card, line, sep="\n")

    check(obs.ObsSaveFile(csv_file.encode(), REPLACE, CSV_FORM) == 0, "The file cannot be written")
    print(f"{count} observations saved")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        print("usage: load_list_change.py DECK CSV_FILE", file=sys.stderr)
        sys.exit(2)
    main(sys.argv[1], sys.argv[2])
