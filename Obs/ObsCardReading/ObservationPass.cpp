#include "Obs/ObsCardReading/ObservationPass.h"

#include <algorithm>

#include "Obs/ObsCardReading/KeywordLines.h"
#include "Obs/ObsCardReading/TtyYear.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

/// A batch holds at least so many observations, and more the more the store holds: rebuilding the tree
/// then costs a constant share per observation.
constexpr std::size_t kLeastBatch = 1u << 20;

/// Text of refused lines that may wait for their turn.
constexpr std::size_t kMostBadBytes = 4u << 20;

/// Fewest bytes that a line of an observation takes, for sizing the batch.
constexpr std::int64_t kBytesPerLine = 81;

constexpr std::string_view kNoKeyReason = "No satellite number, or a number or time that makes no key.";

std::size_t batchLimit() {
    return std::max(kLeastBatch, static_cast<std::size_t>(obsgetnumoftreenodes()));
}

std::string trimmed(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

}  // namespace

ObservationPass::ObservationPass(LoadState& state, std::int64_t fileSize)
    : state_(state), batch_(state.gid), batchLimit_(batchLimit()) {
    if (fileSize <= 0) return;
    batch_.expect(std::min(static_cast<std::size_t>(fileSize / kBytesPerLine) + 1, batchLimit_));
}

ObservationPass::Stop ObservationPass::run(LineReader& lines, Mode mode) {
    if (!resuming_) state_.status = kStatusOk;
    resuming_ = false;
    std::string_view line;
    while (lines.next(line)) {
        if (isCommentOrBlank(line)) continue;
        const Step step = takeLine(line, lines.lineNumber(), mode);
        if (step == Step::firstPassLine) return Stop::firstPassLine;
        resuming_ = step == Step::mustBeFinal;
        if (resuming_) return Stop::mustBeFinal;
    }
    flush();
    if (lines.failed()) {
        state_.status = kStatusRefused;
        family::tracelogerror("ReadOnlyObs: Cannot read obs record.");
    }
    return Stop::endOfFile;
}

ObservationPass::Step ObservationPass::takeLine(std::string_view line, std::int64_t lineNumber, Mode mode) {
    const CardText card(line);
    const LineClass lineClass = ObsCardType(card);
    const bool tentative = mode == Mode::tentative;
    switch (lineClass) {
        case LineClass::notObservation: return Step::done;
        case LineClass::includeFile:
        case LineClass::slrSection: return tentative ? Step::firstPassLine : Step::done;
        case LineClass::ttyYear:
            if (tentative) return Step::firstPassLine;
            SetTTYYear(family::inputstrtoint(line));
            return Step::done;
        case LineClass::selection:
        case LineClass::dmaMode:
            if (tentative) return Step::mustBeFinal;
            flush();
            if (lineClass == LineClass::selection) readSelectionCard(line);
            else obskeymodeset(1);
            return Step::done;
        default: return takeObservation(card, lineClass, lineNumber, mode);
    }
}

ObservationPass::Step ObservationPass::takeObservation(const CardText& line, LineClass lineClass,
                                                       std::int64_t lineNumber, Mode mode) {
    if (mode == Mode::tentative && (isFull() || addressKeysInForce())) return Step::mustBeFinal;
    if (isFull()) flush();
    resetobsrecord(record_);
    const MaybeRefusal refusal = readLine(line, lineClass, record_);
    if (!refusal && addressKeysInForce()) {
        addAtOnce(line, lineNumber);
        return Step::done;
    }
    const std::int64_t key = refusal ? kNoKey : getobskey(record_);
    if (key != kNoKey) {
        state_.status = kStatusOk;
        collect(key, lineNumber);
        return Step::done;
    }
    state_.status = kStatusRefused;
    badLines_.push_back({batch_.size(), lineNumber, refusal ? refusal->message() : std::string(), std::string(line.text())});
    badBytes_ += badLines_.back().reason.size() + badLines_.back().line.size() + sizeof(BadLine);
    return Step::done;
}

void ObservationPass::collect(std::int64_t key, std::int64_t lineNumber) {
    const std::size_t position = batch_.size();
    batch_.add(key, record_);
    const bool inStep = !offsets_.empty() && offsets_.back().lineNumber - lineNumber ==
                                                 static_cast<std::int64_t>(offsets_.back().position) -
                                                     static_cast<std::int64_t>(position);
    if (!inStep) offsets_.push_back({position, lineNumber});
}

/// Under address keys there is nothing to gain from a batch: keys are handles and never collide.
void ObservationPass::addAtOnce(const CardText& line, std::int64_t lineNumber) {
    flush();
    const std::int64_t key = AddObOnly(record_, state_.gid);
    state_.status = key == kNoKey ? kStatusRefused : kStatusOk;
    if (key == kNoKey) tellBad({0, lineNumber, {}, std::string(line.text())});
    else state_.counts.count(key);
}

bool ObservationPass::isFull() const {
    return badBytes_ >= kMostBadBytes || batch_.size() >= batchLimit_;
}

void ObservationPass::drop() {
    batch_.drop();
    badLines_.clear();
    offsets_.clear();
    badBytes_ = 0;
}

/// Enters the batch and says what is to be said about its lines, in their order.
void ObservationPass::flush() {
    const std::size_t collected = batch_.size();
    const std::vector<BulkAdd::Refused> duplicates = batch_.commit();
    state_.counts.loaded += static_cast<std::int64_t>(collected - duplicates.size());
    auto duplicate = duplicates.begin();
    auto offset = offsets_.cbegin();
    for (const BadLine& bad : badLines_) {
        for (; duplicate != duplicates.end() && duplicate->position < bad.position; ++duplicate)
            tellDuplicate(*duplicate, offset);
        tellBad(bad);
    }
    for (; duplicate != duplicates.end(); ++duplicate) tellDuplicate(*duplicate, offset);
    badLines_.clear();
    offsets_.clear();
    badBytes_ = 0;
    batchLimit_ = batchLimit();
}

void ObservationPass::tellBad(const BadLine& bad) {
    ++state_.counts.bad;
    if (!bad.reason.empty()) family::tracelogerror(bad.reason);
    if (family::traceloginfowanted())
        family::traceloginfo(Refusal{"ReadOnlyObs: Bad obs string '", bad.line, kCardLength, "'."}.message());
    state_.report(kLineBad, bad.lineNumber, bad.reason.empty() ? std::string(kNoKeyReason) : trimmed(bad.reason));
}

/// `offset` moves on to the entry that covers the refused observation.
void ObservationPass::tellDuplicate(const BulkAdd::Refused& refused, std::vector<LineOffset>::const_iterator& offset) {
    const std::int64_t key = refuseDuplicate(refused.key);
    state_.counts.count(key);
    if (key != kDuplicateKey) return;
    while (offset + 1 != offsets_.cend() && (offset + 1)->position <= refused.position) ++offset;
    state_.report(kLineDuplicate, offset->lineNumber + static_cast<std::int64_t>(refused.position - offset->position),
                  duplicateMessage(refused.key));
}

}  // namespace obs
