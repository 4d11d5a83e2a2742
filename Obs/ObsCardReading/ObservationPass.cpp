#include "Obs/ObsCardReading/ObservationPass.h"

#include <algorithm>
#include <new>

#include "Obs/ObsCardReading/KeywordLines.h"
#include "Obs/ObsCardReading/TtyYear.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

/// A batch holds at least so many observations, and more the more the store holds: rebuilding the tree
/// then costs a constant share per observation.
constexpr std::size_t kLeastBatch = 1u << 20;

/// Text about lines that may wait for their turn.
constexpr std::size_t kMostRemarkBytes = 4u << 20;

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
    : state_(state), batch_(state.gid), batchLimit_(batchLimit()), yearAtStart_(ttyYear()) {
    if (fileSize <= 0) return;
    batch_.expect(std::min(static_cast<std::size_t>(fileSize / kBytesPerLine) + 1, batchLimit_));
}

ObservationPass::Stop ObservationPass::run(LineReader& lines, Mode mode) {
    if (!resuming_) state_.status = kStatusOk;
    resuming_ = false;
    std::string_view line;
    while (lines.next(line)) {
        if (isCommentOrBlank(line)) continue;
        const Step step = takeLine(line, lines, mode);
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

ObservationPass::Step ObservationPass::takeLine(std::string_view line, LineReader& lines, Mode mode) {
    const CardText card(line);
    const LineClass lineClass = ObsCardType(card);
    const bool tentative = mode == Mode::tentative;
    switch (lineClass) {
        case LineClass::notObservation: return Step::done;
        case LineClass::includeFile:
        case LineClass::slrSection: return tentative ? Step::firstPassLine : Step::done;
        case LineClass::ttyYear:
            // Where no message stands before it, the first pass would change nothing: each message gets the
            // year of the latest such line in any case.
            if (tentative && ttyBeforeYear_) return Step::firstPassLine;
            yearMet_ = true;
            SetTTYYear(family::inputstrtoint(line));
            return Step::done;
        case LineClass::selection:
        case LineClass::dmaMode:
            if (tentative) return Step::mustBeFinal;
            flush();
            if (lineClass == LineClass::selection) readSelectionCard(line);
            else obskeymodeset(1);
            return Step::done;
        default: return takeObservation(card, lineClass, lines, mode);
    }
}

ObservationPass::Step ObservationPass::takeObservation(const CardText& line, LineClass lineClass, LineReader& lines,
                                                       Mode mode) {
    if (mode == Mode::tentative && (isFull() || addressKeysInForce())) return Step::mustBeFinal;
    if (isFull()) flush();
    const std::int64_t lineNumber = lines.lineNumber();
    // A message of two cards reads on, and the first card's text goes with the block that it stood in.
    char kept[kCardLength];
    const bool readsOn = lineClass == LineClass::tty;
    ttyBeforeYear_ = ttyBeforeYear_ || (readsOn && !yearMet_);
    if (readsOn) line.text().copy(kept, kCardLength);
    const CardText text = readsOn ? CardText(std::string_view(kept, line.text().size())) : line;

    if (lineClass == LineClass::csv) static_cast<ObsFields&>(record_) = kDefaultFields;  // its reader reuses the parts
    else resetobsrecord(record_);
    notes_.clear();
    const MaybeRefusal refusal = readLine(text, lineClass, record_, {&lines, &notes_});
    // The line that was taken as a second card is a line to the first pass.
    const bool readOn = lines.lineNumber() != lineNumber;
    if (readOn && mode == Mode::tentative && isFirstPassLine(lines.currentLine())) return Step::firstPassLine;
    if (addressKeysInForce()) {
        addAtOnce(text, lineNumber, refusal);
        return Step::done;
    }
    const std::int64_t key = refusal ? kNoKey : getobskey(record_);
    state_.status = key == kNoKey ? kStatusRefused : kStatusOk;
    if (key == kNoKey || !notes_.empty()) remark(text, lineNumber, key == kNoKey, refusal);
    if (key != kNoKey) collect(key, lineNumber);
    return Step::done;
}

/// Keeps what there is to say of a line until its turn.
void ObservationPass::remark(const CardText& line, std::int64_t lineNumber, bool isBad, const MaybeRefusal& refusal) {
    remarks_.push_back({batch_.size(), lineNumber, isBad, refusal ? refusal->message() : std::string(),
                        std::string(line.text()), notes_});
    const Remark& kept = remarks_.back();
    remarkBytes_ += sizeof kept + kept.reason.size() + kept.line.size();
    for (const std::string& note : kept.notes) remarkBytes_ += sizeof note + note.size();
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
void ObservationPass::addAtOnce(const CardText& line, std::int64_t lineNumber, const MaybeRefusal& refusal) {
    flush();
    const std::int64_t key = refusal ? kNoKey : AddObOnly(record_, state_.gid);
    state_.status = key == kNoKey ? kStatusRefused : kStatusOk;
    if (key == kNoKey || !notes_.empty()) remark(line, lineNumber, key == kNoKey, refusal);
    flush();
    if (key != kNoKey) state_.counts.count(key);
}

bool ObservationPass::isFull() const {
    return remarkBytes_ >= kMostRemarkBytes || batch_.size() >= batchLimit_;
}

void ObservationPass::drop() {
    batch_.drop();
    resuming_ = yearMet_ = ttyBeforeYear_ = false;
    SetTTYYear(yearAtStart_);
    remarks_.clear();
    offsets_.clear();
    remarkBytes_ = 0;
}

/// Enters the batch and says what is to be said about its lines, in their order.
void ObservationPass::flush() {
    const std::size_t collected = batch_.size();
    std::vector<BulkAdd::Refused> duplicates;
    try {
        duplicates = batch_.commit();
        state_.counts.loaded += static_cast<std::int64_t>(collected - duplicates.size());
    } catch (const std::bad_alloc&) {
        if (batch_.size() != collected) throw;
        addOneByOne();
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

/// When there is no memory for a batch as a whole: single observations need less, and each that fails is named.
void ObservationPass::addOneByOne() {
    for (std::size_t position = 0; position < batch_.size(); ++position)
        AddObsToMem(batch_.recordAt(position), state_.counts, state_.gid);
    batch_.drop();
}

void ObservationPass::tell(const Remark& remark) {
    logNotes(remark.notes);
    if (!remark.isBad) return;
    ++state_.counts.bad;
    if (!remark.reason.empty()) family::tracelogerror(remark.reason);
    if (family::traceloginfowanted())
        family::traceloginfo(Refusal{"ReadOnlyObs: Bad obs string '", remark.line, kCardLength, "'."}.message());
    state_.report(kLineBad, remark.lineNumber,
                  remark.reason.empty() ? std::string(kNoKeyReason) : trimmed(remark.reason));
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
