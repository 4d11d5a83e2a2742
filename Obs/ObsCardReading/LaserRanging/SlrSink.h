/// Where the readers of laser-ranging data hand over what they find.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

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

protected:
    ~SlrSink() = default;
};

}  // namespace obs
