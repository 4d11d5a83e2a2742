// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/LaserRanging/Slr.h"

#include "Obs/ObsCardReading/Loading/Classify.h"
#include "Obs/ObsCardReading/LaserRanging/SlrBlocks.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

/// Fewest bytes that a range takes, for sizing the batch.
constexpr std::int64_t kBytesPerRange = 42;

/// Lines of a laser-ranging file that are nothing of the kind: one information line tells of all.
class StrangeLines {
public:
    void add(std::string_view line, std::int64_t number) {
        if (count_++ > 0) return;
        first_ = line.substr(0, kShown);
        firstNumber_ = number;
    }
    void tell(SlrSink& sink) const {
        if (count_ == 0) return;
        sink.note("ReadSlr: " + std::to_string(count_) +
                  " line(s) are no laser-ranging records and were left out, the first is line " +
                  std::to_string(firstNumber_) + " (" + first_ + ").");
    }

private:
    static constexpr std::size_t kShown = 80;
    std::int64_t count_ = 0;
    std::int64_t firstNumber_ = 0;
    std::string first_;
};

}  // namespace

// --- Sink -------------------------------------------------------------------------------------

void SlrBatchSink::take(ObsRecord& rec, const MaybeRefusal& why, const LoadBatch::Line& line) {
    if (batch_.isFull()) batch_.flush();
    batch_.take(rec, why, line);
}

void SlrBatchSink::refuse(const Refusal& why, std::string_view line, std::int64_t lineNumber) {
    ObsRecord none;
    take(none, why, {line, lineNumber});
}

void SlrBatchSink::note(std::string text) {
    if (batch_.isFull()) batch_.flush();
    batch_.note(std::move(text));
}

// --- Files ------------------------------------------------------------------------------------

void readSlrFile(family::Unit unit, LoadState& state) {
    state.status = kStatusOk;
    LoadBatch batch(state, family::filesize(unit), kBytesPerRange);
    SlrBatchSink sink(batch);
    CrdReader records(sink);
    StrangeLines strange;
    LineReader lines(unit);
    std::string_view line;
    while (lines.next(line)) {
        if (isCommentOrBlank(line) || records.take(line, lines.lineNumber(), lines.currentHasEnd())) continue;
        if (ObsCardType(line) == LineClass::slrBlock) {
            records.endSession();
            readSlrBlock(lines, sink);
        } else {
            strange.add(line, lines.lineNumber());
        }
    }
    records.endFile();
    strange.tell(sink);
    batch.flush();
    if (!lines.failed()) return;
    state.status = kStatusRefused;
    family::tracelogerror("ReadSlr: Cannot read the file any further.");
}

// --- Sections of observation files ------------------------------------------------------------

bool introducesSlrSection(std::string_view line) {
    return family::getinputfilename(line).empty();
}

SlrSectionReader::SlrSectionReader(LoadState& state)
    : batch_(state, -1, kBytesPerRange), sink_(batch_), records_(sink_) {}

bool SlrSectionReader::take(const LineReader& lines) {
    const std::string_view line = lines.currentLine();
    return section_.takes(line) && records_.take(line, lines.lineNumber(), lines.currentHasEnd());
}

void SlrSectionReader::finish() {
    records_.endFile();
    batch_.flush();
}

bool GoPassHeaderRecord(LineReader& lines) {
    std::string_view line;
    while (lines.next(line))
        if (ObsCardType(line) == LineClass::slrBlock) return true;
    return false;
}

}  // namespace obs
