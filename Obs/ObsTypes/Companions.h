// SPDX-License-Identifier: Apache-2.0
/// The companions of the record: the store's node and handle as values, references for
/// lists, and the small records of matching and laser ranging.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Number of a place in the store's pools; stands for a pointer in half the bytes.
using SlotNumber = std::uint32_t;
inline constexpr SlotNumber kNoSlot = 0x7fffffff;

/// The handle of an address key. `self` holds the handle's own address, so that a key
/// can be tested before it is trusted; a handle whose `rec` is none was deallocated.
/// Handles are never moved and never reused.
struct ObsDma {
    const ObsDma* self = nullptr;
    SlotNumber rec = kNoSlot;
};

/// References for lists, so that sorting and selecting never copy records: to a record as
/// the store keeps it, and to a node.
struct StoredRecord;
using ObsRecordPtr = const StoredRecord*;
using ObsBinTreePtr = SlotNumber;

/// One node of the store as a value. The store keeps the same facts apart (what a descent
/// touches, what a listing touches, the record), so this is what is copied out of it.
/// Copying shares the children and copies the record.
struct ObsBinTree {
    std::int64_t obsKey = 0;
    std::int32_t seqNum = 0;   ///< order of insertion, over the life of the process
    std::int32_t balance = 0;  ///< height of right less height of left: -1, 0, +1
    std::int32_t gid = 0;      ///< group id, 0 when none was given
    ObsBinTreePtr left = kNoSlot;
    ObsBinTreePtr right = kNoSlot;
    Owned<ObsRecord> rec;  ///< absent for an observation held through an ObsDma
};

/// What an observation is selected by. The first kCountedCriteria are those of the array form.
enum class Criterion : std::uint8_t {
    time,
    satellite,
    sensor,
    elevation,
    azimuth,
    range,
    rangeRate,
    type,
    classification,
    group,
    indicator1,
    indicator2
};
inline constexpr std::size_t kCountedCriteria = 10;
inline constexpr std::size_t kCriterionCount = 12;

/// One test of a selection: whether a value is in one of some intervals, which are in order and apart.
struct SelectionTest {
    Criterion criterion{};
    bool outside = false;    ///< the value must be there, and in none of them
    std::uint8_t term = 0;   ///< which of the terms it belongs to
    std::uint8_t ifMet = 0;  ///< the test that comes next, or kSelected or kNotSelected
    std::uint8_t ifNotMet = 0;
    std::uint32_t first = 0, end = 0;  ///< its intervals in the list
};

/// Selection criteria: terms that must all be met, each of one test or more. The tests are kept in reverse: the last
/// comes first, and each goes on to one before it. The list holds the low and high end of each interval. Without
/// tests everything is selected.
struct ObsSelection {
    static constexpr std::size_t kMostTests = 128;  ///< a text of 512 characters has room for fewer
    static constexpr std::uint8_t kSelected = 254, kNotSelected = 255;

    std::array<SelectionTest, kMostTests> tests{};
    std::uint8_t testCount = 0;
    std::uint8_t termCount = 0;
    Owned<RealList> bounds;
};

/// An observation matched to others.
struct MatchedObs {
    std::array<double, 3> scalars{};
    Owned<RealList> list;
};

/// Conditions at a laser station: time (days since 1950 UTC), pressure (hPa), temperature (K),
/// relative humidity (%).
struct AtmCondRec {
    double timeDs50 = 0;
    double pressureHpa = 0;
    double temperatureK = 0;
    double humidityPercent = 0;
};

/// The parts of laser-ranging records "11" (normal point; "10" has the same) and "30" (pointing) that are kept.
struct Line11Rec {
    double secondOfDay = 0;
    double timeOfFlightS = 0;
};
struct Line30Rec {
    double azimuthDeg = 0;
    double elevationDeg = 0;
};

}  // namespace obs
