// SPDX-License-Identifier: Apache-2.0
/// Where readers hand over what they find, in the order of the text.
#pragma once

#include <string>
#include <string_view>

#include "Obs/CardLayouts/LineReader.h"
#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsCardReading/FieldNote.h"
#include "Obs/ObsCardReading/LaserRanging/Corrections.h"
#include "Obs/ObsCardReading/Loading/Classify.h"
#include "Obs/ObsTree/Keys.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

class RecordSink {
public:
    /// An observation; its optional parts become the receiver's. `line` is empty when its text is not known any more.
    virtual void observation(ObsRecord& rec, std::string_view line, LinePlace place) = 0;

    /// For readers that need no record in between: where the common fields of the next observation may be written, or
    /// null.
    virtual CommonFields* place() { return nullptr; }
    /// They are written: an observation by its key, with the rest of its fields.
    virtual void observationAtPlace(std::int64_t /*key*/, const UncommonFields& /*rest*/, LinePlace /*place*/) {}
    /// The same of one that may have no key; it is refused without words then.
    void placed(const CommonFields& written, const UncommonFields& rest, std::string_view line, LinePlace place) {
        const std::int64_t key = getobskey(written);
        if (key == kNoKey) refuse({}, line, place);
        else observationAtPlace(key, rest, place);
    }

    /// A line that gives no observation where one was due: counts as bad.
    virtual void refuse(const Refusal& why, std::string_view line, LinePlace place) = 0;

    /// About a value of the observation that comes next.
    virtual void fieldNote(const FieldNote& note, LinePlace place) = 0;

    /// A line that is neither an observation nor a keyword line, comment or blank.
    virtual void passedOver(std::string_view line, LinePlace place) = 0;

    /// An information line.
    virtual void note(std::string text) = 0;

    /// What became of corrections of laser ranges since the last call.
    virtual void corrected(const SlrCorrectionCounts& /*counts*/) {}

    /// A keyword line; nothing has been done about it. False: reading stops before it.
    virtual bool keyword(LineClass lineClass, std::string_view line, LinePlace place) = 0;

    /// A keyword line that says nothing that could be done.
    virtual void refuseKeyword(const Refusal& why, LinePlace place) = 0;

protected:
    ~RecordSink() = default;
};

}  // namespace obs
