// SPDX-License-Identifier: Apache-2.0
/// Where the readers of laser-ranging data hand over what they find.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Obs/ObsCardReading/LaserRanging/SlrCorrections.h"
#include "Obs/ObsCardReading/Refusal.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Takes observations and refusals in the order of the file.
class SlrSink {
public:
    /// An observation; its optional parts become the receiver's. `lineNumber` (from 1) names it in reports.
    virtual void observation(ObsRecord& rec, std::int64_t lineNumber) = 0;

    /// A line that gives no observation where one was due: counts as bad.
    virtual void refuse(const Refusal& why, std::string_view line, std::int64_t lineNumber) = 0;

    /// An information line for the log, written when its turn comes.
    virtual void note(std::string text) = 0;

    /// What became of corrections since the last call.
    virtual void corrected(const SlrCorrectionCounts& /*counts*/) {}

protected:
    ~SlrSink() = default;
};

/// Refuses all ranges of a session or pass for one reason. The log has it once, and their number at the end.
class SlrSessionRefusal {
public:
    void refuse(Refusal why, std::string_view line, std::int64_t lineNumber, SlrSink& sink) {
        if (count_ == 0) firstLine_ = lineNumber;
        why.isLogged = count_++ == 0;
        sink.refuse(why, line, lineNumber);
    }
    void end(const Refusal& why, SlrSink& sink) {
        if (count_ > 1)
            sink.note("ReadSlr: " + std::to_string(count_) + " ranges from line " + std::to_string(firstLine_) +
                      " on are refused for one reason: " + why.message());
        count_ = 0;
    }

private:
    std::int64_t count_ = 0, firstLine_ = 0;
};

}  // namespace obs
