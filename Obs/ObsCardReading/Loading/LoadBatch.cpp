// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/LoadBatch.h"

#include <algorithm>
#include <new>

#include "Obs/CardLayouts/Columns.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

/// A batch holds at least so many observations, and more the more the store holds: rebuilding the tree
/// then costs a constant share per observation.
constexpr std::size_t kLeastBatch = 1u << 20;

std::size_t batchLimit() {
    return std::max(kLeastBatch, static_cast<std::size_t>(obsgetnumoftreenodes()));
}

std::string trimmed(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

}  // namespace

LoadBatch::LoadBatch(LoadState& state, std::int64_t fileSize, std::int64_t bytesPerObservation)
    : state_(state), batch_(state.gid), batchLimit_(batchLimit()) {
    if (fileSize <= 0) return;
    batch_.expect(std::min(static_cast<std::size_t>(fileSize / bytesPerObservation) + 1, batchLimit_));
}

void LoadBatch::take(ObsRecord& rec, const MaybeRefusal& refusal, const Line& line,
                     const std::vector<std::string>& notes) {
    if (addressKeysInForce()) return addAtOnce(rec, refusal, line, notes);
    const std::int64_t key = refusal ? kNoKey : getobskey(rec);
    settle(line, key, refusal, notes);
    if (key != kNoKey) collect(key, rec, line.number);
}

/// The status, and what there is to say of a line, kept until its turn.
void LoadBatch::settle(const Line& line, std::int64_t key, const MaybeRefusal& refusal,
                       const std::vector<std::string>& notes) {
    const bool isBad = key == kNoKey;
    state_.status = isBad ? kStatusRefused : kStatusOk;
    if (isBad || !notes.empty())
        keep({batch_.size(), line.number, isBad, !refusal || refusal->isLogged,
              refusal ? refusal->message() : std::string(), std::string(line.text), notes});
}

void LoadBatch::note(std::string text) {
    keep({batch_.size(), 0, false, true, {}, {}, {std::move(text)}});
}

void LoadBatch::keep(Remark remark) {
    remarkBytes_ += sizeof remark + remark.reason.size() + remark.line.size();
    for (const std::string& note : remark.notes) remarkBytes_ += sizeof note + note.size();
    remarks_.push_back(std::move(remark));
}

void LoadBatch::collect(std::int64_t key, ObsRecord& rec, std::int64_t lineNumber) {
    const std::size_t position = batch_.size();
    batch_.add(key, rec);
    const bool inStep = !offsets_.empty() &&
                        offsets_.back().lineNumber - lineNumber ==
                            static_cast<std::int64_t>(offsets_.back().position) - static_cast<std::int64_t>(position);
    if (!inStep) offsets_.push_back({position, lineNumber});
}

/// Under address keys there is nothing to gain from a batch: keys are handles and never collide.
void LoadBatch::addAtOnce(const ObsRecord& rec, const MaybeRefusal& refusal, const Line& line,
                          const std::vector<std::string>& notes) {
    flush();
    const std::int64_t key = refusal ? kNoKey : AddObOnly(rec, state_.gid);
    settle(line, key, refusal, notes);
    flush();
    if (key != kNoKey) state_.counts.count(key);
}

void LoadBatch::drop() {
    batch_.drop();
    remarks_.clear();
    offsets_.clear();
    remarkBytes_ = 0;
}

/// Everything is counted before anything is told: memory may run out on the way.
void LoadBatch::flush() {
    const std::size_t collected = batch_.size();
    state_.counts.bad += std::count_if(remarks_.begin(), remarks_.end(), [](const Remark& one) { return one.isBad; });
    std::vector<BulkAdd::Refused> duplicates;
    try {
        duplicates = batch_.commit();
        countCommitted(collected);
    } catch (const std::bad_alloc&) {
        if (batch_.size() == collected) {
            addOneByOne();
        } else {  // entered, but not every duplicate could be named
            countCommitted(collected);
            throw;
        }
    }
    auto duplicate = duplicates.begin();
    auto offset = offsets_.cbegin();
    for (const Remark& remark : remarks_) {
        for (; duplicate != duplicates.end() && duplicate->position < remark.position; ++duplicate)
            tellDuplicate(*duplicate, offset);
        tell(remark);
    }
    for (; duplicate != duplicates.end(); ++duplicate) tellDuplicate(*duplicate, offset);
    remarks_.clear();
    offsets_.clear();
    remarkBytes_ = 0;
    batchLimit_ = batchLimit();
}

void LoadBatch::countCommitted(std::size_t collected) {
    const auto accepted = static_cast<std::int64_t>(batch_.accepted());
    const auto refused = static_cast<std::int64_t>(collected) - accepted;
    state_.counts.loaded += accepted;
    (family::dupkeymodeget() != 0 ? state_.counts.loaded : state_.counts.duplicate) += refused;
}

/// When there is no memory for a batch as a whole: single observations need less, and each that fails is named.
void LoadBatch::addOneByOne() {
    for (std::size_t position = 0; position < batch_.size(); ++position)
        AddObsToMem(batch_.recordAt(position), state_.counts, state_.gid);
    batch_.drop();
}

void LoadBatch::tell(const Remark& remark) {
    for (const std::string& note : remark.notes) family::traceloginfo(note);
    if (!remark.isBad) return;
    if (remark.isLogged && !remark.reason.empty()) family::tracelogerror(remark.reason);
    if (family::traceloginfowanted())
        family::traceloginfo(Refusal{"ReadOnlyObs: Bad obs string '", remark.line, kCardLength, "'."}.message());
    state_.report(kLineBad, remark.lineNumber,
                  remark.reason.empty() ? std::string(kNoKeyReason) : trimmed(remark.reason));
}

/// `offset` moves on to the entry that covers the refused observation.
void LoadBatch::tellDuplicate(const BulkAdd::Refused& refused, std::vector<LineOffset>::const_iterator& offset) {
    if (refuseDuplicate(refused.key) != kDuplicateKey) return;
    while (offset + 1 != offsets_.cend() && (offset + 1)->position <= refused.position) ++offset;
    state_.report(kLineDuplicate, offset->lineNumber + static_cast<std::int64_t>(refused.position - offset->position),
                  duplicateMessage(refused.key));
}

}  // namespace obs
