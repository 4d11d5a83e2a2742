// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/LoadFile.h"

#include <algorithm>
#include <string>

#include "Obs/ObsCardReading/Loading/KeywordLines.h"
#include "Obs/ObsCardReading/Loading/LineReader.h"
#include "Obs/ObsCardReading/Loading/ObservationPass.h"
#include "Obs/ObsCardReading/LaserRanging/Slr.h"
#include "Obs/ObsCardReading/Loading/TtyYear.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

LoadCounts gLatestCounts;
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

using UnitReader = void (*)(family::Unit unit, LoadState& state);

bool refuseDefaultFile(family::Unit unit, LoadState& state) {
    if (!family::existfortdotfileunit(unit)) return false;
    family::tracelogerror("ReadObsFrFileUnit: Using fort.n not allowed in Velmora due to security risk");
    state.status = kStatusRefused;
    return true;
}

/// Reads the file that a keyword line names, with the counts and the group of the file that holds the line.
void readNamedFile(std::string_view line, LoadState& state, UnitReader read) {
    const std::string name = includedFileName(line, state.fileName);
    family::Unit unit = family::kNoUnit;
    state.status = family::fileopen(name, family::kOpenRead, unit);
    if (state.status != kStatusOk) return;
    const UnitCloser closer(unit);
    LoadState included{name, state.gid, state.reporter, state.counts};
    read(unit, included);
    state.counts = included.counts;
    state.status = included.status;
}

/// Include files are read by the second pass alone, so their own OBSFIL and SLROBS lines are ignored:
/// includes are one level deep by design.
void ReadExtObsFile(family::Unit unit, LoadState& state) {
    LineReader lines(unit);
    ObservationPass pass(state, family::filesize(unit));
    pass.run(lines, ObservationPass::Mode::final);
}

void ReadExtSlrFile(family::Unit unit, LoadState& state) {
    if (!refuseDefaultFile(unit, state)) readSlrFile(unit, state);
}

void actInFirstPass(std::string_view line, SlrSectionReader& section, LoadState& state) {
    switch (ObsCardType(line)) {
        case LineClass::ttyYear: return SetTTYYear(family::inputstrtoint(line));
        case LineClass::slrSection:
            if (introducesSlrSection(line)) return section.open();
            section.flush();
            return readNamedFile(line, state, ReadExtSlrFile);
        case LineClass::includeFile:
            section.flush();
            return readNamedFile(line, state, ReadExtObsFile);
        default: return;
    }
}

/// Whether the first pass would act on a line from here on.
bool hasFirstPassLine(LineReader& lines) {
    std::string_view line;
    while (lines.next(line))
        if (isFirstPassLine(line)) return true;
    return false;
}

void firstPass(LineReader& lines, LoadState& state) {
    SlrSectionReader section(state);
    std::string_view line;
    while (lines.next(line)) {
        if (section.take(lines) || !isFirstPassLine(line)) continue;
        const std::string copy(line);  // the reader's text does not outlive an include file's reading
        actInFirstPass(copy, section, state);
    }
    section.finish();
}

/// Both passes as one where possible, see the head of LoadFile.h.
void readInTwoPasses(family::Unit unit, LoadState& state) {
    using Stop = ObservationPass::Stop;
    LineReader lines(unit);
    ObservationPass second(state, family::filesize(unit));
    Stop stop = second.run(lines, ObservationPass::Mode::tentative);
    if (stop == Stop::mustBeFinal) {
        const LineReader::Place here = lines.beforeCurrentLine();
        stop = hasFirstPassLine(lines) ? Stop::firstPassLine : Stop::mustBeFinal;
        if (stop == Stop::mustBeFinal && lines.goTo(here)) second.run(lines, ObservationPass::Mode::final);
    }
    if (stop != Stop::firstPassLine) return;
    second.drop();
    if (!lines.goTo({})) return;
    firstPass(lines, state);
    second.skipSlrSections();
    if (lines.goTo({})) second.run(lines, ObservationPass::Mode::final);
}

/// Says at the end of a load, however it ends, what was loaded.
class Summary {
public:
    explicit Summary(const LoadState& state) : state_(state) {}
    ~Summary() {
        gLatestCounts = state_.counts;
        try {
            write();
        } catch (...) {  // no memory for the line; the counts are kept
        }
    }
    Summary(const Summary&) = delete;
    Summary& operator=(const Summary&) = delete;

private:
    void write() const {
        const LoadCounts& counts = state_.counts;
        family::traceloginfo("Total observations = " + std::to_string(counts.loaded + counts.duplicate + counts.bad) +
                             ", Loaded = " + std::to_string(counts.loaded) + ", Dup = " +
                             std::to_string(counts.duplicate) + ", Bad = " + std::to_string(counts.bad));
    }

    const LoadState& state_;
};

void ReadObsFrFileUnit(family::Unit unit, LoadState& state, UnitReader read) {
    if (refuseDefaultFile(unit, state)) return;
    const Summary summary(state);
    read(unit, state);
}

std::int32_t readFile(std::string_view fileName, std::int32_t gid, UnitReader read) {
    gLatestCounts = {};
    family::Unit unit = family::kNoUnit;
    const std::int32_t opened = family::fileopen(fileName, family::kOpenRead, unit);
    if (opened != kStatusOk) return opened;
    const UnitCloser closer(unit);
    LoadState state{std::string(fileName), gid, gReporter};
    ReadObsFrFileUnit(unit, state, read);
    return state.status;
}

}  // namespace

std::int32_t ReadObsFrFile(std::string_view fileName, std::int32_t gid) {
    return readFile(fileName, gid, readInTwoPasses);
}

std::int32_t ReadSlrFrFile(std::string_view fileName, std::int32_t gid) {
    return readFile(fileName, gid, readSlrFile);
}

LoadCounts latestLoadCounts() {
    return gLatestCounts;
}

void setLineReport(LineReport report, void* user) {
    gReporter = {report, user};
}

}  // namespace obs
