#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Makes data/laser_stations.csv, the sensors file of the public laser stations.

usage: tools/make_laser_stations.py SLRF.snx > data/laser_stations.csv

SLRF.snx is the ILRS list of station positions and velocities in SINEX form (SLRF2020, from the ILRS). Positions
are taken at 2020.0 and made geodetic on WGS84 by ERFA (python3-erfa). Of a pad's several solutions
the one whose data reach latest counts. Pads whose position is only a rough guess (a coordinate uncertain by more than
a hundred metres) are left out. Sensor numbers are those of the library's own table, which is read from its source; a
pad that the table does not list is the sensor of its own number.
"""
import datetime
import math
import re
import sys
from pathlib import Path

import erfa

WGS84 = 1
EPOCH = datetime.date(2020, 1, 1)
DAYS_PER_YEAR = 365.25
LARGEST_SIGMA_M = 100.0
DESCRIPTION_LENGTH = 24
NUMBERS = Path(__file__).resolve().parent.parent / "Obs/CardLayouts/SlrNumbers.cpp"


def sensor_numbers():
    """Sensor number by pad number, the first row of a pad counting, as the library looks them up."""
    source = NUMBERS.read_text()
    rows = re.search(r"kStations\{(.*?)\}", source, re.S)[1]
    constant = lambda name: int(re.search(rf"{name} = (\d+);", source)[1])
    numbers = {}
    for row, pad in enumerate(int(word) for word in re.findall(r"\d+", rows)):
        numbers.setdefault(pad, constant("kFirstSensor") + row)
    numbers[constant("kExceptionalStation")] = constant("kExceptionalSensor")
    return numbers


def block(lines, name):
    """The lines of a SINEX block, without its comments."""
    inside = False
    for line in lines:
        if line.startswith(f"-{name}"):
            return
        if inside and not line.startswith("*"):
            yield line
        inside = inside or line.startswith(f"+{name}")


def date(text):
    """YY:DDD:SSSSS; 00:000:00000 leaves the time open."""
    year, day = int(text[:2]), int(text[3:6])
    if day == 0:
        return datetime.date.max
    return datetime.date(year + (1900 if year > 50 else 2000), 1, 1) + datetime.timedelta(days=day - 1)


def latest_solutions(lines):
    """(point, solution) of each pad."""
    latest = {}
    for line in block(lines, "SOLUTION/EPOCHS"):
        pad, point, solution, _, start, end = line.split()[:6]
        latest[int(pad)] = max(latest.get(int(pad), ()), (date(end), date(start), point, solution))
    return {pad: found[2:] for pad, found in latest.items()}


def estimates(lines):
    """(value, sigma, reference date) by pad, point, solution and kind."""
    found = {}
    for line in block(lines, "SOLUTION/ESTIMATE"):
        _, kind, pad, point, solution, reference, _, _, value, sigma = line.split()
        found[int(pad), point, solution, kind] = float(value), float(sigma), date(reference)
    return found


def position(parameters, pad, point, solution):
    """x, y, z in metres at the epoch, and the largest sigma."""
    xyz, sigmas = [], []
    for axis in "XYZ":
        metres, sigma, reference = parameters[pad, point, solution, f"STA{axis}"]
        velocity = parameters[pad, point, solution, f"VEL{axis}"][0]
        xyz.append(metres + velocity * (EPOCH - reference).days / DAYS_PER_YEAR)
        sigmas.append(sigma)
    return xyz, max(sigmas)


def descriptions(lines):
    """Pad number and name, those of the last occupancy."""
    return {int(line.split()[0]): f"{line.split()[0]} {' '.join(line[21:43].split())}".replace(",", " ")
            [:DESCRIPTION_LENGTH].rstrip() for line in block(lines, "SITE/ID")}


def main():
    lines = Path(sys.argv[1]).read_text(encoding="utf-8").splitlines()
    numbers, parameters, names = sensor_numbers(), estimates(lines), descriptions(lines)
    print("number,description,latitude_deg,longitude_deg,height_m")
    for pad, (point, solution) in sorted(latest_solutions(lines).items()):
        xyz, sigma = position(parameters, pad, point, solution)
        if sigma > LARGEST_SIGMA_M:
            print(f"{pad}: left out, uncertain by {sigma:.0f} m", file=sys.stderr)
            continue
        longitude, latitude, height = erfa.gc2gd(WGS84, xyz)
        print(f"{numbers.get(pad, pad)},{names[pad]},{math.degrees(latitude):.10f},{math.degrees(longitude):.10f},"
              f"{height:.4f}")


if __name__ == "__main__":
    main()
