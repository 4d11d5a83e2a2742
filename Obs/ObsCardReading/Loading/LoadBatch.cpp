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

LoadBatch::LoadBatch(LoadState& state)
    : LineCollector(state.run.options.gid, state.run.takeBack, state.run.reporter.report != nullptr), state_(state) {}

void LoadBatch::observation(ObsRecord& rec, std::string_view line, LinePlace place) {
    if (addressKeysInForce()) addAtOnce(rec, line, place);
    else LineCollector::observation(rec, line, place);
}

/// Under address keys there is nothing to gain from a batch: keys are handles and never collide.
void LoadBatch::addAtOnce(const ObsRecord& rec, std::string_view line, LinePlace place) {
    flush();
    const std::int64_t key = AddObOnly(rec, state_.run.options.gid, state_.run.takeBack);
    if (key == kNoKey) {
        refuse({}, line, place);
        return flush();
    }
    obsnoteorigin(key, state_.fileName, place.number);
    state_.status = kStatusOk;
    state_.run.result.counts.count(key);
}

void LoadBatch::append(BulkAdd::HandedOver& observations, LineRemarks& said, std::int64_t linesBefore) {
    const std::size_t before = batch_.size();
    batch_.append(observations);
    said_.append(said, before, linesBefore);
}

void LoadBatch::flush() {
    if (said_.status) state_.status = *said_.status;
    const std::vector<BulkAdd::Refused> duplicates = enter();
    try {
        tellAll(duplicates);
    } catch (const std::bad_alloc&) {  // what is not said is counted
        said_.clear();
        throw;
    }
    said_.clear();
}

void LoadBatch::tellAll(const std::vector<BulkAdd::Refused>& duplicates) {
    auto duplicate = duplicates.cbegin();
    auto offset = said_.offsets.cbegin();
    for (const Remark& remark : said_.remarks) {
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
    for (const Remark& remark : said_.remarks) counts.bad += remark.kind == LineRemarks::Kind::bad ? 1 : 0;
    counts.slr.add(said_.corrections);
    const std::size_t collected = batch_.size();
    std::vector<BulkAdd::Refused> duplicates;
    try {
        const BatchOrigin origin{state_.fileName, said_.offsets};
        duplicates = batch_.commit(nullptr, &origin);
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
    batch_.forEachRecord([&](const ObsRecord& rec) {
        LoadRun& run = state_.run;
        if (AddObsToMem(rec, run.result.counts, run.options.gid, run.takeBack) == kNoKey)
            state_.status = kStatusRefused;
    });
    batch_.drop();
}

void LoadBatch::tell(const Remark& remark) {
    using Kind = LineRemarks::Kind;
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
void LoadBatch::tellDuplicate(const BulkAdd::Refused& refused, std::vector<LineRun>::const_iterator& offset) {
    if (refuseDuplicate(refused.key) != kDuplicateKey) return;
    while (offset + 1 != said_.offsets.cend() && (offset + 1)->position <= refused.position) ++offset;
    state_.report(kLineDuplicate, offset->lineNumber + static_cast<std::int64_t>(refused.position - offset->position),
                  duplicateMessage(refused.key));
}

}  // namespace obs
