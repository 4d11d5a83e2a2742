// SPDX-License-Identifier: Apache-2.0
/// What a save form does to an observation that loading does not undo: it is left out, its line cannot be read again, or
/// it comes back as something else. Rounding to the columns of a card is none of these.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Kinds of loss, as the exported header numbers them.
enum class SaveLossKind : std::int32_t { leftOut = 1, unreadable, sensor, type, position, site, exponent };
inline constexpr std::int32_t kSaveLossKinds = 7;

/// Rows of the table of losses.
enum class SaveLoss : unsigned {
    csvType7, csvValue, rfNoRfPart, rfSensor, crdType, crdSatellite, crdTime, crdRange, crdAngles, crdStation,
    classification, typeOfCard, typeOfTty, noSatellite, time, sensorOfTty, site, number,
    sensorOfB3, otherSite, valuesOfTty, typeOfRf, anglesOfCrd, position, site1OfRf, site1OfCsv, exponent
};
inline constexpr unsigned kSaveLosses = static_cast<unsigned>(SaveLoss::exponent) + 1;

/// Losses of one observation; an empty set is 0.
using LossSet = std::uint32_t;
static_assert(kSaveLosses <= 32);
constexpr LossSet lossIf(bool lost, SaveLoss loss) {
    return static_cast<LossSet>(lost) << static_cast<unsigned>(loss);
}

SaveLossKind kindOf(SaveLoss loss);
const char* reasonOf(SaveLoss loss);  ///< ends with a NUL

/// Which vectors of a record are not all zero: bits of `VectorBit`.
using VectorSet = unsigned;
enum VectorBit : VectorSet { kSenPosBit = 1, kSenVelBit = 2, kSatPosBit = 4, kSatVelBit = 8 };

/// What the names of sensors in the columns of an RF line lead back to, each looked up once in a save as a rule.
class SitesReadBack {
public:
    LossSet losses(std::string_view line, std::int32_t senNum);

private:
    struct Site {
        std::int32_t senNum = -1;
        LossSet losses = 0;
    };
    std::array<Site, 64> sites_{};
};

// Losses of an observation whose line or card 1 and 2 were written. When its line cannot be read again, that alone.
LossSet lossesOfB3(const ObsRecord& rec, VectorSet vectors, std::string_view card);
LossSet lossesOfTty(const ObsRecord& rec, VectorSet vectors, std::string_view card1, std::string_view card2);
LossSet lossesOfCsv(const ObsRecord& rec, VectorSet vectors, std::string_view line);
LossSet lossesOfRf(const ObsRecord& rec, VectorSet vectors, std::string_view line, SitesReadBack& sites);
/// @param anglesLost whether the record has angles that the file does not.
LossSet lossesOfCrd(VectorSet vectors, bool anglesLost);

}  // namespace obs
