// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/LoadBatch.h"

#include <algorithm>
#include <new>

#include "Obs/CardLayouts/Columns.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

std::string trimmed(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

}  // namespace

LoadBatch::LoadBatch(LoadState& state, std::int64_t fileSize, std::int64_t bytesPerObservation)
    : state_(state), batch_(state.run.options.gid, state.run.takeBack) {
    if (fileSize > 0) batch_.expect(static_cast<std::size_t>(fileSize / bytesPerObservation) + 1);
}

// --- What readers hand over -------------------------------------------------------------------

void LoadBatch::observation(ObsRecord& rec, std::string_view line, LinePlace place) {
    if (addressKeysInForce()) return addAtOnce(rec, line, place);
    const std::int64_t key = getobskey(rec);
    if (key == kNoKey) return keepBad({}, line, place);
    state_.status = kStatusOk;
    noteLine(place.number);
    batch_.add(key, rec);
}

CommonFields* LoadBatch::place() { return addressKeysInForce() ? nullptr : &batch_.place(); }

void LoadBatch::observationAtPlace(std::int64_t key, char secClass, bool rotateToDate, const RareFields* rare,
                                   LinePlace place) {
    state_.status = kStatusOk;
    noteLine(place.number);
    batch_.addAtPlace(key, secClass, rotateToDate, rare);
}

void LoadBatch::refuse(const Refusal& why, std::string_view line, LinePlace place) { keepBad(why, line, place); }

void LoadBatch::fieldNote(const FieldNote& note, LinePlace place) {
    keep(note.kind == FieldNote::Kind::zeroed ? Kind::zeroed : Kind::note, {{}, note.text, 0, {}}, {}, place.number);
}

void LoadBatch::passedOver(std::string_view line, LinePlace place) {
    if (state_.run.reporter.report == nullptr) return;
    keep(Kind::passedOver, {"ReadOnlyObs: Not an observation: ", std::string(line), 0, {}}, {}, place.number);
}

void LoadBatch::note(std::string text) { keep(Kind::note, {{}, std::move(text), 0, {}}, {}, 0); }

void LoadBatch::refuseKeyword(const Refusal& why, LinePlace place) { keep(Kind::fault, why, {}, place.number); }

void LoadBatch::keepBad(const Refusal& why, std::string_view line, LinePlace place) {
    state_.status = kStatusRefused;
    keep(Kind::bad, why, line, place.number);
}

void LoadBatch::keep(Kind kind, const Refusal& what, std::string_view line, std::int64_t lineNumber) {
    remarks_.push_back({batch_.size(), lineNumber, kind, what, std::string(line)});
    remarkBytes_ += sizeof(Remark) + what.quoted.size() + line.size();
}

/// Of the observation that is collected next.
void LoadBatch::noteLine(std::int64_t lineNumber) {
    const std::size_t position = batch_.size();
    const bool inStep = !offsets_.empty() &&
                        offsets_.back().lineNumber - lineNumber ==
                            static_cast<std::int64_t>(offsets_.back().position) - static_cast<std::int64_t>(position);
    if (!inStep) offsets_.push_back({position, lineNumber});
}

/// Under address keys there is nothing to gain from a batch: keys are handles and never collide.
void LoadBatch::addAtOnce(const ObsRecord& rec, std::string_view line, LinePlace place) {
    flush();
    const std::int64_t key = AddObOnly(rec, state_.run.options.gid, state_.run.takeBack);
    if (key == kNoKey) {
        keepBad({}, line, place);
        return flush();
    }
    state_.status = kStatusOk;
    state_.run.result.counts.count(key);
}

// --- Into the store ---------------------------------------------------------------------------

void LoadBatch::drop() {
    batch_.drop();
    forget();
}

void LoadBatch::forget() {
    remarks_.clear();
    offsets_.clear();
    remarkBytes_ = 0;
    corrections_ = {};
}

void LoadBatch::flush() {
    const std::vector<BulkAdd::Refused> duplicates = enter();
    try {
        tellAll(duplicates);
    } catch (const std::bad_alloc&) {  // what is not said is counted
        forget();
        throw;
    }
    forget();
}

void LoadBatch::tellAll(const std::vector<BulkAdd::Refused>& duplicates) {
    auto duplicate = duplicates.cbegin();
    auto offset = offsets_.cbegin();
    for (const Remark& remark : remarks_) {
        for (; duplicate != duplicates.cend() && duplicate->position < remark.position; ++duplicate)
            tellDuplicate(*duplicate, offset);
        tell(remark);
    }
    for (; duplicate != duplicates.cend(); ++duplicate) tellDuplicate(*duplicate, offset);
}

/// Enters the batch and counts all that there is to count, before anything is said. Gives the duplicates that memory
/// sufficed to name.
std::vector<BulkAdd::Refused> LoadBatch::enter() {
    LoadCounts& counts = state_.run.result.counts;
    for (const Remark& remark : remarks_) counts.bad += remark.kind == Kind::bad ? 1 : 0;
    counts.slr.add(corrections_);
    const std::size_t collected = batch_.size();
    std::vector<BulkAdd::Refused> duplicates;
    try {
        duplicates = batch_.commit();
    } catch (const std::bad_alloc&) {
        if (batch_.size() == collected) {
            addOneByOne();
            return duplicates;
        }
    }
    const auto refused = static_cast<std::int64_t>(collected - batch_.accepted());
    counts.loaded += static_cast<std::int64_t>(batch_.accepted());
    (family::dupkeymodeget() != 0 ? counts.loaded : counts.duplicate) += refused;
    return duplicates;
}

/// When there is no memory for a batch as a whole: single observations need less, and each that fails is named.
void LoadBatch::addOneByOne() {
    for (std::size_t position = 0; position < batch_.size(); ++position)
        if (AddObsToMem(batch_.recordAt(position), state_.run.result.counts, state_.run.options.gid,
                        state_.run.takeBack) == kNoKey)
            state_.status = kStatusRefused;
    batch_.drop();
}

void LoadBatch::tell(const Remark& remark) {
    switch (remark.kind) {
        case Kind::bad: return tellBad(remark);
        case Kind::passedOver: return state_.report(kLinePassedOver, remark.lineNumber, remark.what.message());
        case Kind::note: return family::traceloginfo(remark.what.message());
        case Kind::fault: return tellFault(remark);
        case Kind::zeroed: break;
    }
    family::traceloginfo(remark.what.message());
    state_.report(kLineZeroed, remark.lineNumber, remark.what.message());
}

void LoadBatch::tellFault(const Remark& remark) {
    const std::string reason = remark.what.message();
    family::tracelogerror(reason);
    state_.report(kLineKeywordFault, remark.lineNumber, reason);
}

void LoadBatch::tellBad(const Remark& remark) {
    LoadRun& run = state_.run;
    if (run.options.maxBadTold > 0 && run.badTold >= run.options.maxBadTold) return;
    ++run.badTold;
    const std::string reason = remark.what.message();
    if (remark.what.isLogged && !reason.empty()) family::tracelogerror(reason);
    if (family::traceloginfowanted())
        family::traceloginfo(Refusal{"ReadOnlyObs: Bad obs string '", remark.line, kCardLength, "'."}.message());
    if (!remark.what.unknownSensor.empty())
        state_.report(kLineUnknownSensor, remark.lineNumber, remark.what.unknownSensor);
    state_.report(kLineBad, remark.lineNumber, reason.empty() ? std::string(kNoKeyReason) : trimmed(reason));
}

/// `offset` moves on to the entry that covers the refused observation.
void LoadBatch::tellDuplicate(const BulkAdd::Refused& refused, std::vector<LineOffset>::const_iterator& offset) {
    if (refuseDuplicate(refused.key) != kDuplicateKey) return;
    while (offset + 1 != offsets_.cend() && (offset + 1)->position <= refused.position) ++offset;
    state_.report(kLineDuplicate, offset->lineNumber + static_cast<std::int64_t>(refused.position - offset->position),
                  duplicateMessage(refused.key));
}

}  // namespace obs
