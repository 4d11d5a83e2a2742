# SPDX-License-Identifier: Apache-2.0
"""From a deck to a DataFrame to a picture: python3 deck_to_picture.py DECK PICTURE.png"""
import sys

import obslib
import obslib.plot

deck, picture = sys.argv[1:]
print(obslib.load(deck).loaded, "observations loaded")
frame = obslib.store.select("type=2:4 el=10:").to_pandas("time", "sat_num", "sen_num", "elevation", "range_km")
print(frame.groupby("sen_num")["range_km"].describe().round(1))
obslib.plot.sky().figure.savefig(picture)
