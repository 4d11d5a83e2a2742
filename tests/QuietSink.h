// SPDX-License-Identifier: Apache-2.0
/// Takes what readers hand over and does nothing; tests override what they look at.
#pragma once

#include "Obs/ObsCardReading/Loading/RecordSink.h"

namespace obs::test {

struct QuietSink : RecordSink {
    void observation(ObsRecord&, std::string_view, LinePlace) override {}
    void refuse(const Refusal&, std::string_view, LinePlace) override {}
    void fieldNote(const FieldNote&, LinePlace) override {}
    void passedOver(std::string_view, LinePlace) override {}
    void note(std::string) override {}
    bool keyword(LineClass, std::string_view, LinePlace) override { return true; }
    void refuseKeyword(const Refusal&, LinePlace) override {}

protected:
    ~QuietSink() = default;
};

}  // namespace obs::test
