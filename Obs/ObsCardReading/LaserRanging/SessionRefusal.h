// SPDX-License-Identifier: Apache-2.0
/// Refusing all ranges of a session or pass for one reason. The log has it once, and their number at the end.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Obs/ObsCardReading/Loading/RecordSink.h"

namespace obs {

class SlrSessionRefusal {
public:
    void refuse(Refusal why, std::string_view line, LinePlace place, RecordSink& sink) {
        if (count_ == 0) firstLine_ = place.number;
        why.isLogged = count_++ == 0;
        sink.refuse(why, line, place);
    }
    void end(const Refusal& why, RecordSink& sink) {
        if (count_ > 1)
            sink.note("ReadSlr: " + std::to_string(count_) + " ranges from line " + std::to_string(firstLine_) +
                      " on are refused for one reason: " + why.message());
        count_ = 0;
    }

private:
    std::int64_t count_ = 0, firstLine_ = 0;
};

}  // namespace obs
