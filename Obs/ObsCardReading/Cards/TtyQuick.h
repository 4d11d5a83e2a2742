// SPDX-License-Identifier: Apache-2.0
/// The path of the well-formed TTY message, as B3Quick.h is that of the B3 card: it decides nothing.
#pragma once

#include <string_view>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// The year of messages, and its days.
class TtyYearDays {
public:
    std::int32_t base() const { return base_; }  ///< ds50 of "0 January"
    std::uint32_t days() const { return days_; }

    void setYear(std::int32_t year);

private:
    std::int32_t year_ = 0;
    std::int32_t base_ = 0;
    std::uint32_t days_ = 0;  ///< none in years that messages cannot have
};

/// Fills all common fields, without rotating; the rare ones where the type that is read has some, all of them then;
/// `dayOfYear` as `family::fyklok` gives it. The classification is where card 1 has it, whatever it is. `card2` is
/// looked at where the type has a second card. False for a message that needs the careful reader; the fields may then be
/// partly filled.
bool readPlainTty(std::string_view card1, std::string_view card2, const TtyYearDays& year, CommonFields& to,
                  RareFields& rare, double& dayOfYear);

}  // namespace obs
