// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/LoadFile.h"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "Obs/ObsCardReading/Loading/FilePieces.h"
#include "Obs/ObsCardReading/Loading/IncludeFiles.h"
#include "Obs/ObsCardReading/Loading/KeywordLines.h"
#include "Obs/ObsCardReading/Loading/LoadBatch.h"
#include "Obs/ObsCardReading/Loading/Pieces.h"
#include "Obs/ObsCardReading/Loading/PiecesAside.h"
#include "Obs/ObsCardReading/Loading/ReadObs.h"
#include "Obs/ObsCardReading/Loading/TextPieces.h"
#include "Obs/ObsCardReading/Loading/TtyYear.h"
#include "Obs/ObsTree/Selection.h"
#include "siblings/include/ObsFamily.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

LoadResult gLatest;
LoadReporter gReporter;

/// Closes a unit when its reader leaves.
class UnitCloser {
public:
    explicit UnitCloser(family::Unit& unit) : unit_(unit) {}
    ~UnitCloser() { family::fileclose(unit_); }
    UnitCloser(const UnitCloser&) = delete;
    UnitCloser& operator=(const UnitCloser&) = delete;

private:
    family::Unit& unit_;
};

/// What is read: an open file, or else a text in memory.
struct Source {
    family::Unit unit = family::kNoUnit;
    std::string_view text{};

    bool isFile() const { return unit != family::kNoUnit; }
    std::int64_t byteCount() const {
        return isFile() ? family::filesize(unit) : static_cast<std::int64_t>(text.size());
    }
    std::unique_ptr<LinePieces> pieces() const {
        if (isFile()) return std::make_unique<FilePieces>(unit);
        return std::make_unique<TextPieces>(text);
    }
};

/// The thread's last message, which tells what has just failed.
std::string lastMessage() {
    char text[kCardLength];
    FamilyGetLastError(text);
    std::string message(text, sizeof text);
    message.erase(message.find_last_not_of(' ') + 1);
    return message;
}

bool refuseDefaultFile(const Source& source, LoadState& state) {
    if (!family::existfortdotfileunit(source.unit)) return false;
    // NOTE: "Velmora" is established: programs compare the text as it is.
    family::tracelogerror("ReadObsFrFileUnit: Using fort.n not allowed in Velmora due to security risk");
    state.status = kStatusRefused;
    return true;
}

using SourceReader = void (*)(const Source& source, LoadState& state);

void readNamedFile(std::string_view line, LoadState& state, SourceReader read);
void ReadExtObsFile(const Source& source, LoadState& state);
void ReadExtSlrFile(const Source& source, LoadState& state);

/// One reading of an open file, or of a text, into the store.
class Reading final : public LoadBatch {
public:
    Reading(const Source& source, LoadState& state, Pass pass)
        : LoadBatch(state), pieces_(source.pieces()), isDefaultFile_(family::existfortdotfileunit(source.unit)) {
        start(pass);
    }

    /// False when the file turned out to need two passes: nothing was entered then.
    bool run() {
        try {
            const bool isDone = readAll();
            aside_.reset();
            return isDone;
        } catch (const std::bad_alloc&) {
            aside_.reset();
            // What was read so far is entered as far as memory suffices, so that the counts tell of it.
            if (isCertain_) {
                finish();
                flush();
            }
            throw;
        }
    }

    /// From the start of the file again, as another pass.
    void again(Pass pass) {
        start(pass);
        pieces_->goTo(0);
    }

private:
    void start(Pass pass) {
        isCertain_ = pass != Pass::whole;
        isStopped_ = isCut_ = false;
        offset_ = 0;
        waiting_.clear();
        context_ = {};
        static_cast<ReadSettings&>(context_) = processSettings();
        context_.ttyYear = state_.run.ttyYear;
        context_.oneCardOnly = isDefaultFile_;
        context_.keepsStrayHeaders = state_.run.options.keepsStrayHeaders;
        context_.ignoresYearLines = state_.run.options.settingsLines == SettingsLines::ignored;
        context_.pass = pass;
    }

    bool readAll() {
        if (context_.pass != Pass::first) state_.status = kStatusOk;
        if (addressKeysInForce() && !becomeCertain(0)) return false;
        readAsideWhereItGains();
        while (aside_ ? readNextAside() : readNext()) {
            advance();
            if (!isCertain_ && (isStopped_ || context_.firstPassLineTaken)) return false;
            if (isFull()) {
                if (!becomeCertain(offset_)) return false;
                flush();
            }
        }
        endReading(context_, *this);
        flush();
        aside_.reset();
        finish();
        return true;
    }

    /// False at the end.
    bool readNext() {
        std::string_view piece;
        bool isLast = false;
        if (isCut_ || !pieces_->next(piece, isLast)) return false;
        isCut_ = cutAtLineLimit(piece);
        pieces_->took(readPiece(piece, isLast && !isCut_, context_, *this));
        offset_ = pieces_->offset();
        return true;
    }

    // --- By several threads --------------------------------------------------------------------

    void readAsideWhereItGains() {
        const LoadRun& run = state_.run;
        if (context_.pass == Pass::first || context_.pass == Pass::laserRanges || run.options.maxLines != 0) return;
        constexpr std::int64_t kLeastShare = 256 * 1024;
        const std::int32_t count = threadsFor(pieces_->byteCount(), kLeastShare);
        if (count > 1 && !addressKeysInForce())
            aside_.emplace(*pieces_, count, run.options.gid, run.reporter.report != nullptr, context_);
    }

    /// The next piece, as far as it could be read aside from where the lines before it end; the rest of it here.
    bool readNextAside() {
        PiecesAside::Piece* const piece = aside_->next();
        if (piece == nullptr) {
            if (waiting_.empty() || pieces_->failed()) return false;
            readOn({}, true);
            return true;
        }
        std::string_view text = piece->text;
        if (takeAside(*piece)) text.remove_prefix(piece->taken);
        else PiecesAside::drop(*piece);
        if (!text.empty()) readOn(text, piece->isLast);
        offset_ = piece->offset;
        return true;
    }

    bool takeAside(PiecesAside::Piece& piece) {
        ReadContext& after = piece.after;
        if (!piece.isRead || !waiting_.empty() || !isNothingOpen(context_) || addressKeysInForce() ||
            after.ttyYear != context_.ttyYear || after.yearLineMet != context_.yearLineMet)
            return false;
        append(piece.observations, piece.said, context_.before.number);
        context_.counts += after.counts;
        context_.before.number += after.before.number;
        context_.before.offset += after.before.offset;
        context_.messageWithoutYearLine = context_.messageWithoutYearLine || after.messageWithoutYearLine;
        context_.firstPassLineTaken = context_.firstPassLineTaken || after.firstPassLineTaken;
        return true;
    }

    void readOn(std::string_view text, bool isLast) {
        waiting_.append(text);
        waiting_.erase(0, readPiece(waiting_, isLast, context_, *this));
        aside_->readFrom(isNothingOpen(context_) && !addressKeysInForce() ? &context_ : nullptr);
    }

    void finish() {
        LoadRun& run = state_.run;
        run.result.lines += context_.counts;
        if (context_.pass != Pass::first) run.linesRead += context_.before.number;
        run.ttyYear = context_.ttyYear;
        run.yearLineMet = run.yearLineMet || context_.yearLineMet;
        if (!pieces_->failed()) return;
        state_.status = kStatusRefused;
        family::tracelogerror(context_.pass == Pass::laserRanges ? "ReadSlr: Cannot read the file any further."
                                                                 : "ReadOnlyObs: Cannot read obs record.");
        state_.report(kLineBrokenOff, context_.before.number, lastMessage());
    }

    /// Each of two passes counts for half of a file, and what a reading that is dropped has counted stays.
    void advance() {
        Progress& progress = state_.run.progress;
        if (!progress.isWanted()) return;
        std::int64_t bytes = offset_;
        if (context_.pass == Pass::first) bytes /= 2;
        if (context_.pass == Pass::second) bytes = (bytes + pieces_->byteCount()) / 2;
        progress.advance(std::max(bytes - state_.bytesDone, std::int64_t{0}));
        state_.bytesDone = std::max(bytes, state_.bytesDone);
        progress.tellIfDue();
    }

    /// Leaves of a piece what the limit of lines allows; true when that is not all.
    bool cutAtLineLimit(std::string_view& piece) {
        LoadRun& run = state_.run;
        if (run.options.maxLines == 0) return false;
        LineReader lines(piece, true);
        const std::int64_t left = run.options.maxLines - run.linesRead - context_.before.number;
        std::string_view line;
        while (lines.linesTaken() < left && lines.next(line)) {}
        if (lines.atEnd()) return false;
        piece = piece.substr(0, lines.bytesTaken());
        return run.linesExceeded = true;
    }

    /// Whether it is settled that no line from a place on belongs to the first pass; if so, what was collected may be
    /// entered.
    bool becomeCertain(std::int64_t offset) {
        std::optional<PiecesAside::Pause> pause;
        if (aside_) pause.emplace(*aside_);
        isCertain_ = isCertain_ || (!context_.firstPassLineTaken &&
                                    !pieces_->anyLineFrom(offset, isFirstPassLine, state_.run.progress));
        return isCertain_;
    }

    // --- Keyword lines -----------------------------------------------------------------------

    bool keyword(LineClass lineClass, std::string_view line, LinePlace place) override {
        if (!isCertain_) isStopped_ = !mayGoOn(lineClass, place);
        if (isStopped_) return false;
        switch (lineClass) {
            case LineClass::includeFile: includeIn(line, place, ReadExtObsFile); break;
            case LineClass::slrSection:
                if (!introducesSlrSection(line)) includeIn(line, place, ReadExtSlrFile);
                break;
            case LineClass::selection:
            case LineClass::dmaMode: actOn(lineClass, line, place); break;
            default: break;
        }
        return true;
    }

    /// Whether a reading that might have to be dropped may go on after a keyword line.
    bool mayGoOn(LineClass lineClass, LinePlace place) {
        switch (lineClass) {
            case LineClass::includeFile:
            case LineClass::slrSection: return false;
            // Where no message comes before it, the first pass would change nothing: each message gets the
            // year of the latest such line in any case.
            case LineClass::ttyYear: return !context_.messageWithoutYearLine;
            default: return becomeCertain(place.offset);
        }
    }

    void includeIn(std::string_view line, LinePlace place, SourceReader read) {
        if (context_.pass != Pass::first) return;
        flush();
        LoadRun& run = state_.run;
        run.ttyYear = context_.ttyYear;
        const std::int64_t leftOut = run.result.includesLeftOut;
        readNamedFile(line, state_, read);
        if (run.result.includesLeftOut > leftOut) state_.report(kLineIncludeLeftOut, place.number, lastMessage());
        context_.ttyYear = run.ttyYear;
    }

    void actOn(LineClass lineClass, std::string_view line, LinePlace place) {
        flush();
        if (state_.run.options.settingsLines == SettingsLines::ignored) return;
        if (lineClass == LineClass::dmaMode) obskeymodeset(1);
        else if (readSelectionCard(line)) state_.report(kLineSelection, place.number, std::string(line));
        else state_.report(kLineKeywordFault, place.number, lastMessage());
    }

    std::unique_ptr<LinePieces> pieces_;
    bool isDefaultFile_;
    std::int64_t offset_ = 0;  ///< place in the file of what follows the latest piece
    bool isCut_ = false;       ///< at the limit of lines
    std::optional<PiecesAside> aside_;
    std::string waiting_;  ///< lines of pieces read aside that wait for those of the next one
    ReadContext context_;
    bool isCertain_ = true;   ///< nothing that was collected will have to be dropped
    bool isStopped_ = false;  ///< at a line that belongs to the first pass
};

// --- Files ------------------------------------------------------------------------------------

/// Both passes as one where possible, see the head of LoadFile.h.
void readInTwoPasses(const Source& source, LoadState& state) {
    Reading reading(source, state, Pass::whole);
    if (reading.run()) return;
    reading.drop();
    Reading(source, state, Pass::first).run();
    reading.again(Pass::second);
    reading.run();
}

/// Include files are read by the second pass alone, so their own OBSFIL and SLROBS lines are ignored:
/// includes are one level deep by design.
void ReadExtObsFile(const Source& source, LoadState& state) { Reading(source, state, Pass::included).run(); }

void readSlrFile(const Source& source, LoadState& state) { Reading(source, state, Pass::laserRanges).run(); }

void ReadExtSlrFile(const Source& source, LoadState& state) {
    if (refuseDefaultFile(source, state)) ++state.run.result.includesLeftOut;
    else readSlrFile(source, state);
}

void expect(const Source& source, LoadRun& run) {
    if (run.progress.isWanted()) run.progress.expect(std::max(source.byteCount(), std::int64_t{0}));
}

/// Reads the file that a keyword line names, with the counts and the group of the file that holds the line.
void readNamedFile(std::string_view line, LoadState& state, SourceReader read) {
    LoadState included{state.run, includedFileName(line, state.fileName)};
    family::Unit unit = family::kNoUnit;
    state.status = openInclude(state, included.fileName, unit);
    if (state.status != kStatusOk) {
        ++state.run.result.includesLeftOut;
        return;
    }
    const UnitCloser closer(unit);
    const Source source{unit};
    expect(source, state.run);
    read(source, included);
    state.status = included.status;
}

/// Keeps what a load leaves of the settings, and says at its end, however it ends, what was loaded.
class Summary {
public:
    explicit Summary(const LoadRun& run) : run_(run), keyMode_(obskeymodeget()) {
        if (putsBack() || run.progress.isWanted()) selection_ = currentSelection();
    }
    ~Summary() {
        gLatest = run_.isCancelled ? LoadResult{} : run_.result;
        leaveSettings();
        try {
            if (!run_.isCancelled) write();
        } catch (...) {  // no memory for the line; the counts are kept
        }
    }
    Summary(const Summary&) = delete;
    Summary& operator=(const Summary&) = delete;

private:
    bool putsBack() const { return run_.isCancelled || run_.options.settingsLines == SettingsLines::forThisLoad; }

    void leaveSettings() {
        if (putsBack()) {
            obskeymodeset(keyMode_);
            setSelection(std::move(selection_));
        } else if (run_.options.settingsLines == SettingsLines::persist && run_.yearLineMet) {
            SetTTYYear(run_.ttyYear);
        }
    }

    void write() const {
        const LoadCounts& counts = run_.result.counts;
        if (run_.linesExceeded)
            family::tracelogerror("ReadOnlyObs: There are more than " + std::to_string(run_.options.maxLines) +
                                  " lines; the others are not read.");
        if (run_.options.maxBadTold > 0 && counts.bad > run_.badTold)
            family::traceloginfo("ReadOnlyObs: " + std::to_string(counts.bad - run_.badTold) +
                                 " more bad obs strings are counted and not shown.");
        family::traceloginfo("Total observations = " + std::to_string(counts.loaded + counts.duplicate + counts.bad) +
                             ", Loaded = " + std::to_string(counts.loaded) +
                             ", Dup = " + std::to_string(counts.duplicate) + ", Bad = " + std::to_string(counts.bad));
    }

    const LoadRun& run_;
    std::int32_t keyMode_;
    ObsSelection selection_;
};

std::int32_t startYear(const LoadOptions& options) {
    return options.ttyYear == 0 ? ttyYear() : std::max(options.ttyYear, 0);
}

std::int32_t readSource(const Source& source, std::string_view name, const LoadOptions& options, SourceReader read) {
    LoadRun run{options, gReporter};
    run.ttyYear = startYear(options);
    LoadState state{run, std::string(name)};
    if (refuseDefaultFile(source, state)) return state.status;
    expect(source, run);
    std::optional<TakeBack> takeBack;
    if (run.progress.isWanted()) run.takeBack = &takeBack.emplace();
    const Summary summary(run);
    try {
        read(source, state);
        run.progress.finish();
    } catch (const Cancelled&) {
        run.isCancelled = true;
        takeBack->remove();
        throw;
    }
    return run.linesExceeded ? kStatusRefused : state.status;
}

std::int32_t readFile(std::string_view fileName, const LoadOptions& options, SourceReader read) {
    gLatest = {};
    family::Unit unit = family::kNoUnit;
    const std::int32_t opened = family::fileopen(fileName, family::kOpenRead, unit);
    if (opened != kStatusOk) return opened;
    const UnitCloser closer(unit);
    return readSource({unit}, fileName, options, read);
}

}  // namespace

std::int32_t ReadObsFrFile(std::string_view fileName, std::int32_t gid) {
    LoadOptions options;
    options.gid = gid;
    options.keepsStrayHeaders = true;
    return readObsWith(fileName, options);
}

std::int32_t readObsWith(std::string_view fileName, const LoadOptions& options) {
    return readFile(fileName, options, readInTwoPasses);
}

std::int32_t ReadSlrFrFile(std::string_view fileName, std::int32_t gid) {
    LoadOptions options;
    options.gid = gid;
    return readFile(fileName, options, readSlrFile);
}

std::int32_t readObsText(std::string_view name, std::string_view text, const LoadOptions& options) {
    gLatest = {};
    return readSource({family::kNoUnit, text}, name, options, readInTwoPasses);
}

std::int32_t readSlrText(std::string_view name, std::string_view text, std::int32_t gid) {
    gLatest = {};
    LoadOptions options;
    options.gid = gid;
    return readSource({family::kNoUnit, text}, name, options, readSlrFile);
}

const LoadResult& latestLoad() { return gLatest; }

void setLineReport(LineReport report, void* user) { gReporter = {report, user}; }

}  // namespace obs
