// SPDX-License-Identifier: Apache-2.0
/// What a save form does to an observation that loading does not undo: it is left out, its line cannot be read again,
/// or it comes back as something else. Rounding to the columns of a card is none of these.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "Obs/CardLayouts/B3.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

enum class SaveForm : std::int32_t { b3 = 0, tty = 1, csv = 2, rf = 3 };

/// Kinds of loss, as the exported header numbers them.
enum class SaveLossKind : std::int32_t { leftOut = 1, unreadable, sensor, type, position, site, exponent };
inline constexpr std::int32_t kSaveLossKinds = 7;

/// Rows of the table of losses.
enum class SaveLoss : unsigned {
    csvType7,
    csvValue,
    rfNoRfPart,
    rfSensor,
    crdType,
    crdSatellite,
    crdTime,
    crdRange,
    crdAngles,
    crdStation,
    notOfForm,
    classification,
    typeOfCard,
    typeOfTty,
    emptyType7,
    noSatellite,
    time,
    sensorOfTty,
    site,
    number,
    sensorOfB3,
    otherSite,
    valuesOfTty,
    type7OfTty,
    typeOfRf,
    anglesOfCrd,
    position,
    site1OfRf,
    site1OfCsv,
    exponent
};
inline constexpr unsigned kSaveLosses = static_cast<unsigned>(SaveLoss::exponent) + 1;

/// Losses of one observation; an empty set is 0.
using LossSet = std::uint32_t;
static_assert(kSaveLosses <= 32);
constexpr LossSet lossIf(bool lost, SaveLoss loss) { return static_cast<LossSet>(lost) << static_cast<unsigned>(loss); }

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
LossSet lossesOfUnusualB3(const ObsRecord& rec, VectorSet vectors, std::string_view card);
LossSet lossesOfUnusualTty(const ObsRecord& rec, VectorSet vectors, std::string_view card1, std::string_view card2);
LossSet lossesOfUnusualCsv(const ObsRecord& rec, VectorSet vectors, std::string_view line);
LossSet lossesOfRf(const ObsRecord& rec, VectorSet vectors, std::string_view line, SitesReadBack& sites);
/// @param anglesLost whether the record has angles that the file does not.
LossSet lossesOfCrd(VectorSet vectors, bool anglesLost);

inline constexpr std::int32_t kMaxOfThreeDigits = 999;

/// The times that every form can hold: 1950 to 2056.
inline bool isUsualTime(double timeDs50) { return timeDs50 >= 1 && timeDs50 < 39'000; }

/// The components whose exponent a TTY card can hold, whatever their digits; km, km/s.
inline bool isUsualComponent(double value) {
    constexpr double kLeast = 0.1, kMax = 999'999;
    return value == 0 || (std::fabs(value) >= kLeast && std::fabs(value) <= kMax);
}

/// What a form may lose of an observation that looks usual otherwise.
struct UsualRules {
    bool classification;  ///< other letters than C, S and U
    bool time;            ///< times that are not usual
    bool exponents;       ///< of vector components that are not usual
};

/// Most observations pass these few comparisons and need no closer look.
inline bool isUsual(const UsualRules& rules, const ObsRecord& rec, VectorSet vectors, bool hasAsterisks) {
    const VectorSet placed = kSensorPositionTypes.has(rec.obsType) ? VectorSet{kSenPosBit} : 0;
    return (vectors & ~placed) == 0 && rec.satNum != 0 && rec.senNum <= kMaxOfThreeDigits && !hasAsterisks &&
           b3::kWrittenTypes.has(rec.obsType) && (!rules.classification || isClassification(rec.secClass)) &&
           (!rules.time || isUsualTime(rec.obsTime)) && !rec.rfData &&
           (!rules.exponents || vectors == 0 || std::all_of(rec.senPos.begin(), rec.senPos.end(), isUsualComponent));
}

}  // namespace obs
