# SPDX-License-Identifier: Apache-2.0
"""Satellite tracking observations: reads, keeps, selects and converts them, in columns."""
from . import _log  # noqa: F401  # before anything can have a message
from ._columns import Record
from ._errors import BadLine, KeyUnknown
from ._family import About, EarthOrientation, Sensor, Sensors, about, earth_orientation, sensors
from ._files import AddResult, LoadResult, SaveResult, from_dataframe, load, save
from ._lines import convert, parse
from ._store import Observations, Selection, Store, store
from ._table import Table

__version__ = about().version
passes, states = store.passes, store.states

__all__ = ["About", "AddResult", "BadLine", "EarthOrientation", "KeyUnknown", "LoadResult", "Observations", "Record",
           "SaveResult", "Selection", "Sensor", "Sensors", "Store", "Table", "about", "convert", "earth_orientation",
           "from_dataframe", "load", "parse", "passes", "save", "sensors", "states", "store"]
