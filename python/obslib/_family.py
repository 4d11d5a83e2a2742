# SPDX-License-Identifier: Apache-2.0
"""Sensors, Earth orientation, and the library itself."""
from __future__ import annotations

import os
import warnings
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from functools import cache

from . import _native


@dataclass(frozen=True, slots=True)
class Sensor:
    """A sensor's place: degrees, longitude east, metres above WGS84."""

    number: int
    description: str
    latitude_deg: float
    longitude_deg: float
    height_m: float


class Sensors:
    """The sensor library: `sensors[1831]`, `sensors.add(...)`, `1831 in sensors`."""

    def __getitem__(self, number: int) -> Sensor:
        return Sensor(number, *_native.sensor(number))

    def __contains__(self, number: object) -> bool:
        try:
            return isinstance(number, int) and self[number] is not None
        except KeyError:
            return False

    def __iter__(self) -> Iterator[int]:
        """The numbers of all sensors, in their order."""
        return iter(_native.sensor_numbers())

    def add(self, number: int, description: str, latitude_deg: float, longitude_deg: float, height_m: float) -> None:
        """Adds or replaces one; a description has 24 characters at most."""
        _native.add_sensor(number, description, latitude_deg, longitude_deg, height_m)

    def load(self, path: str | os.PathLike[str]) -> None:
        """Adds those of a CSV file number,description,latitude_deg,longitude_deg,height_m."""
        from_file(_native.load_sensors, path)

    def load_laser_stations(self) -> None:
        """Adds the public laser stations that come with the package."""
        self.load(os.path.join(os.path.dirname(__file__), "share", "obs", "laser_stations.csv"))

    def clear(self) -> None:
        """Forgets all but the three built-in RF sites."""
        _native.remove_sensors()


class EarthOrientation:
    """UT1-UTC, polar motion and length of day, which states are computed with."""

    def set(self, dut1_s: float, xp_arcsec: float = 0.0, yp_arcsec: float = 0.0, lod_s: float = 0.0) -> None:
        """One set of values for all times."""
        _native.set_earth_orientation(dut1_s, xp_arcsec, yp_arcsec, lod_s)

    def load(self, path: str | os.PathLike[str]) -> None:
        """Daily values from a CSV file mjd,dut1_s,xp_arcsec,yp_arcsec,lod_s."""
        from_file(_native.load_earth_orientation, path)


def from_file(call: Callable[[bytes], None], path: str | os.PathLike[str]) -> None:
    os.stat(path)  # one that is not there is an OSError, one that is refused a ValueError
    call(os.fsencode(path))


@dataclass(frozen=True, slots=True)
class About:
    """What is in use: the version, what the library says of itself, its file, and those of other copies."""

    version: str
    library: str
    path: str
    copies: tuple[str, ...]


def about() -> About:
    info, files = _native.info(), _native.libraries()
    version = next(word.rstrip(",") for word in info.split() if word[0].isdigit())
    warn_of_copies()
    return About(version, info, files[0], tuple(files[1:]))


@cache
def warn_of(files: tuple[str, ...]) -> None:
    warnings.warn(f"two copies of the library are loaded, each with a store of its own: {', '.join(files)}",
                  RuntimeWarning, stacklevel=3)


def warn_of_copies() -> None:
    """A second copy, loaded by something else in this process, has a store of its own; told once."""
    files = _native.libraries()
    if len(files) > 1:
        warn_of(tuple(files))


sensors = Sensors()
earth_orientation = EarthOrientation()
