// SPDX-License-Identifier: Apache-2.0
/// Converting one text form into another without touching the store, and adding observations from text.
///
/// Every call works on a temporary record. Failures are logged here, one message each besides the reader's own where
/// noted; output texts must be blank before and stay blank then.
#pragma once

#include <cstdint>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/CardLayouts/Refusal.h"
#include "Obs/FormatObs/CardLines.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// The largest satellite number that the cards' five columns hold.
inline constexpr std::int32_t kMaxSatNum = kMostAlpha5;

using LineWriting = MaybeRefusal (*)(const ObsRecord& rec, CardLines& lines);

/// Writes an observation into a caller's texts, the second null where the format has one line. Error code 0, or that of
/// the refusal, which is logged.
std::int32_t writeLines(LineWriting write, const ObsRecord& rec, char* line1, char* line2 = nullptr);

/// Error code 0, or 2. `newSatno` replaces the satellite number unless it is 0; it must not be above `kMaxSatNum`.
std::int32_t Csv2TTY(const CardText& csvLine, std::int32_t newSatno, char* card1, char* card2);
std::int32_t Csv2B3(const CardText& csvLine, std::int32_t newSatno, char* b3Card);
std::int32_t TTY2Csv(const CardText& card1, const CardText& card2, char* csvLine);
std::int32_t B32Csv(const CardText& b3Card, char* csvLine);

/// The key, 0 for a refused duplicate, -1 after a message.
std::int64_t AddFrCsv(const CardText& csvLine);
std::int64_t AddFrTTYCards(const CardText& card1, const CardText& card2);
std::int64_t AddFrB3Card(const CardText& b3Card);

}  // namespace obs
