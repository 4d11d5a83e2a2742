// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/LineCollector.h"

#include <iterator>
#include <utility>

#include "Obs/ObsTree/Keys.h"

namespace obs {

using Kind = LineRemarks::Kind;

void LineRemarks::addOffset(std::size_t position, std::int64_t lineNumber) {
    const bool inStep = !offsets.empty() &&
                        offsets.back().lineNumber - lineNumber ==
                            static_cast<std::int64_t>(offsets.back().position) - static_cast<std::int64_t>(position);
    if (!inStep) offsets.push_back({position, lineNumber});
}

void LineRemarks::append(LineRemarks& others, std::size_t observationsBefore, std::int64_t linesBefore) {
    for (const LineRun& one : others.offsets)
        addOffset(observationsBefore + one.position, linesBefore + one.lineNumber);
    for (Remark& one : others.remarks) {
        one.position += observationsBefore;
        one.lineNumber += linesBefore;
    }
    remarks.insert(remarks.end(), std::move_iterator(others.remarks.begin()), std::move_iterator(others.remarks.end()));
    bytes += others.bytes;
    corrections.add(others.corrections);
    if (others.status) status = others.status;
    others.clear();
}

void LineRemarks::clear() {
    remarks.clear();
    offsets.clear();
    bytes = 0;
    corrections = {};
    status.reset();
}

void LineCollector::observation(ObsRecord& rec, std::string_view line, LinePlace place) {
    const std::int64_t key = getobskey(rec);
    if (key == kNoKey) return refuse({}, line, place);
    said_.status = kStatusOk;
    said_.addOffset(batch_.size(), place.number);
    batch_.add(key, rec);
}

void LineCollector::observationAtPlace(std::int64_t key, const UncommonFields& rest, LinePlace place) {
    said_.status = kStatusOk;
    said_.addOffset(batch_.size(), place.number);
    batch_.addAtPlace(key, rest);
}

void LineCollector::refuse(const Refusal& why, std::string_view line, LinePlace place) {
    said_.status = kStatusRefused;
    keep(Kind::bad, why, line, place.number);
}

void LineCollector::fieldNote(const FieldNote& note, LinePlace place) {
    keep(note.kind == FieldNote::Kind::zeroed ? Kind::zeroed : Kind::note, {{}, note.text, 0, {}}, {}, place.number);
}

void LineCollector::passedOver(std::string_view line, LinePlace place) {
    if (!tellsPassedOver_) return;
    keep(Kind::passedOver, {"ReadOnlyObs: Not an observation: ", std::string(line), 0, {}}, {}, place.number);
}

void LineCollector::note(std::string text) { keep(Kind::note, {{}, std::move(text), 0, {}}, {}, 0); }

void LineCollector::refuseKeyword(const Refusal& why, LinePlace place) { keep(Kind::fault, why, {}, place.number); }

void LineCollector::drop() {
    batch_.drop();
    said_.clear();
}

void LineCollector::keep(Kind kind, const Refusal& what, std::string_view line, std::int64_t lineNumber) {
    said_.remarks.push_back({batch_.size(), lineNumber, kind, what, std::string(line)});
    said_.bytes += sizeof(LineRemarks::Remark) + what.quoted.size() + line.size();
}

}  // namespace obs
