// SPDX-License-Identifier: Apache-2.0
// Lines read without the store, of groups "parsing" and "columns" of the exported header.
#include <algorithm>
#include <charconv>

#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "DllExports/Obs/ObsDllExports/ColumnTable.h"
#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"
#include "Obs/ObsCardReading/LineColumns.h"
#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "Obs/ObsCardReading/Loading/ContextText.h"
#include "Obs/ObsCardReading/Loading/Cut.h"
#include "Obs/ObsCardReading/Loading/KeywordLines.h"
#include "Obs/ObsCardReading/Loading/Pieces.h"
#include "Obs/ObsTree/Keys.h"
#include "siblings/include/Services.h"

namespace {

using obs::LinePlace;
using Observation = void (*)(const double obsArr[64], int64_t lineNumber, int64_t offset, void* user);
using Report = void (*)(int32_t kind, int64_t lineNumber, int64_t offset, const char* text, void* user);

/// Hands everything but observations on to a caller's function.
class ReportingSink : public obs::RecordSink {
public:
    ReportingSink(Report report, void* user) : report_(report), user_(user) {}

    void observation(obs::ObsRecord& rec, std::string_view, LinePlace place) final {
        const int64_t key = obs::getobskey(rec);
        if (!addressKeys && key == obs::kNoKey) tell(OBS_LINE_BAD, std::string(obs::kNoKeyReason), place);
        else take(rec, key, place);
    }
    void refuse(const obs::Refusal& why, std::string_view, LinePlace place) final {
        tell(OBS_LINE_BAD, why.message(), place);
    }
    void fieldNote(const obs::FieldNote& note, LinePlace place) final {
        tell(note.kind == obs::FieldNote::Kind::zeroed ? OBS_LINE_ZEROED : OBS_LINE_NOTE, note.text, place);
    }
    void passedOver(std::string_view line, LinePlace place) final {
        tell(OBS_LINE_PASSED_OVER, std::string(line), place);
    }
    void note(std::string text) final { tell(OBS_LINE_NOTE, text, {}); }
    bool keyword(obs::LineClass lineClass, std::string_view line, LinePlace place) final {
        addressKeys = addressKeys || lineClass == obs::LineClass::dmaMode;
        tell(OBS_LINE_KEYWORD, std::string(line), place);
        return true;
    }
    void refuseKeyword(const obs::Refusal& why, LinePlace place) final { tell(OBS_LINE_NOTE, why.message(), place); }

    bool addressKeys = false;

protected:
    ~ReportingSink() = default;
    virtual void take(obs::ObsRecord& rec, int64_t key, LinePlace place) = 0;

private:
    void tell(int32_t kind, const std::string& text, LinePlace place) const {
        if (report_ != nullptr) report_(kind, place.number, place.offset, text.c_str(), user_);
    }

    Report report_;
    void* user_;
};

class CallingSink final : public ReportingSink {
public:
    CallingSink(Observation call, Report report, void* user) : ReportingSink(report, user), call_(call), user_(user) {}

private:
    void take(obs::ObsRecord& rec, int64_t, LinePlace place) override {
        if (call_ == nullptr) return;
        double obsArr[obs::kArrayLength];
        obs::obsrec2arr(rec, obsArr);
        call_(obsArr, place.number, place.offset, user_);
    }

    Observation call_;
    void* user_;
};

class ColumnSink final : public ReportingSink {
public:
    ColumnSink(obs::TableBuilder& table, Report report, void* user) : ReportingSink(report, user), table_(table) {}

private:
    void take(obs::ObsRecord& rec, int64_t key, LinePlace place) override {
        obs::ColumnRow& row = table_.nextRow(key);
        row.rec = std::move(rec);
        row.line = place.number;
    }

    obs::TableBuilder& table_;
};

std::string_view laserText(const ObsReadState& state) {
    const std::string_view text(state.laser, sizeof state.laser);
    return text.substr(0, text.find_last_not_of(std::string_view("\0 ", 2)) + 1);
}

/// By OBS_READ_...
constexpr obs::Pass kPasses[] = {obs::Pass::whole, obs::Pass::first, obs::Pass::second, obs::Pass::included};

/// False for a value out of range, or what no call has set.
bool readState(const ObsReadState& state, obs::ReadContext& context) {
    constexpr int64_t kMostBytes = int64_t{1} << 60;  // of a text, so that places in it can be added
    const auto isPlace = [](int64_t place) { return place >= 0 && place <= kMostBytes; };
    if (state.size != sizeof state || state.troposphere < 0 || state.troposphere > 2 || state.cutAfter < 0 ||
        !isPlace(state.lines) || !isPlace(state.offset) || state.pass < 0 || state.pass >= std::ssize(kPasses))
        return false;
    context.ttyYear = state.ttyYear;
    context.rotateToDate = state.rotateToDate;
    context.corrections = {static_cast<obs::SlrTroposphere>(state.troposphere), state.centreOfMass != 0};
    context.before = {state.lines, state.offset};
    if (state.laserSection != 0) context.section.open();
    context.pass = state.laserFile != 0 ? obs::Pass::laserRanges : kPasses[state.pass];
    return obs::keepText(laserText(state), context);
}

/// What the lines read have changed; false when that is more than the state holds.
bool writeState(const obs::ReadContext& context, ObsReadState& state) {
    const std::string laser = obs::keptText(context);
    static_assert(sizeof state.laser == obs::kMostKeptText);
    const bool isHeld = laser.size() <= obs::kMostKeptText;
    std::fill_n(state.laser, sizeof state.laser, '\0');
    if (isHeld) laser.copy(state.laser, laser.size());
    state.ttyYear = context.ttyYear;
    state.laserSection = context.section.isOpen() ? 1 : 0;
    state.lines = context.before.number;
    state.offset = context.before.offset;
    const obs::LineCounts& counts = context.counts;
    state.observations = counts.observations;
    state.comments = counts.comments;
    state.keywords = counts.keywords;
    state.laserLines = counts.laser;
    state.passedOver = counts.passedOver;
    state.zeroed = counts.zeroed;
    return isHeld;
}

/// Reads all, or up to a cut; whether nothing is open there.
bool readTo(std::string_view text, std::size_t cutAfter, bool isLast, obs::ReadContext& context, ReportingSink& sink) {
    if (cutAfter > 0) return obs::readToCut(text, std::min(cutAfter, text.size()), isLast, context, sink).isCut;
    obs::readPiece(text, isLast, context, sink);
    return !context.block.isOpen() && !context.sessions.isOpen();
}

/// Whether a state and a length are refused, after a message; else the context that the state says.
bool refuseState(std::string_view name, const ObsReadState& state, int64_t length, obs::ReadContext& context) {
    if (length >= 0 && readState(state, context)) return false;
    obs::logFailure(name, "The state has another size or a value out of range, or the length is negative.");
    return true;
}

/// Reads the bytes from a state and its context on; the state after them.
ObsReadState readFrom(const ObsReadState& state, obs::ReadContext& context, const char* bytes, int64_t length,
                      ReportingSink& sink) {
    std::string_view text(bytes, static_cast<std::size_t>(length));
    if (context.before.offset == 0) {
        text = obs::withoutByteOrderMark(text);
        context.before.offset = length - static_cast<int64_t>(text.size());
    }
    sink.addressKeys = state.addressKeys != 0;
    const bool isLast = state.isLast != 0;
    const bool atCut = readTo(text, static_cast<std::size_t>(state.cutAfter), isLast, context, sink);
    const bool isEnd = isLast && context.before.offset == state.offset + length;
    if (isEnd) obs::endReading(context, sink);
    else obs::pauseReading(context, sink);
    ObsReadState after = state;
    after.atCut = writeState(context, after) && (atCut || isEnd) ? 1 : 0;
    after.addressKeys = sink.addressKeys ? 1 : 0;
    return after;
}

// --- A state as text -------------------------------------------------------------------------

constexpr std::string_view kTextBegins = "obs1";
struct Setting {
    std::string_view name;
    int32_t ObsReadState::*value;
    bool isFlag = true;
};
constexpr Setting kSettings[] = {{"year", &ObsReadState::ttyYear, false},
                                 {"rotate", &ObsReadState::rotateToDate},
                                 {"troposphere", &ObsReadState::troposphere, false},
                                 {"centre", &ObsReadState::centreOfMass},
                                 {"keys", &ObsReadState::addressKeys},
                                 {"section", &ObsReadState::laserSection},
                                 {"file", &ObsReadState::laserFile},
                                 {"pass", &ObsReadState::pass, false}};
struct Place {
    std::string_view name;
    int64_t ObsReadState::*value;
};
constexpr Place kPlaces[] = {{"lines", &ObsReadState::lines}, {"offset", &ObsReadState::offset}};
constexpr std::string_view kLaser = "laser";

std::string textOf(const ObsReadState& state) {
    std::string text(kTextBegins);
    const auto put = [&](std::string_view name, std::string_view value) {
        text.append(" ").append(name).append("=").append(value);
    };
    for (const auto& [name, value, isFlag] : kSettings)
        put(name, isFlag ? state.*value != 0 ? "1" : "0" : std::to_string(state.*value));
    for (const Place& place : kPlaces) put(place.name, std::to_string(state.*place.value));
    put(kLaser, laserText(state));
    return text;
}

/// Takes a text apart as far as it is one; false when it is none.
bool takeText(std::string_view text, ObsReadState& state) {
    if (!text.starts_with(kTextBegins)) return false;
    text.remove_prefix(kTextBegins.size());
    const auto value = [&text](std::string_view name) {
        const std::size_t begin = std::min(name.size() + 2, text.size());
        const std::string_view found = text.substr(begin, text.find(' ', begin) - begin);
        text.remove_prefix(begin + found.size());
        return found;
    };
    const auto readInto = [](std::string_view digits, auto& number) {
        std::from_chars(digits.data(), digits.data() + digits.size(), number);
    };
    for (const Setting& setting : kSettings) readInto(value(setting.name), state.*setting.value);
    for (const Place& place : kPlaces) readInto(value(place.name), state.*place.value);
    const std::string_view laser = value(kLaser);
    laser.copy(state.laser, sizeof state.laser);
    return true;
}

}  // namespace

int32_t ObsReadLines(const char* bytes, int64_t length, ObsReadState* state, Observation observation, Report report,
                     void* user) {
    constexpr std::string_view kName = "ObsReadLines";
    if (obs::refuseNull(kName, {bytes, state})) return obs::kStatusRefused;
    return obs::guarded(kName, obs::kStatusRefused, [&] {
        obs::ReadContext context;
        if (refuseState(kName, *state, length, context)) return obs::kStatusRefused;
        CallingSink sink(observation, report, user);
        *state = readFrom(*state, context, bytes, length, sink);
        return obs::kStatusOk;
    });
}

int32_t ObsReadArrow(const char* bytes, int64_t length, ObsReadState* state, const char* fileName,
                     const char* const* columns, int32_t columnCount, int32_t batchRows, Report report, void* user,
                     struct ArrowArrayStream* stream) {
    constexpr std::string_view kName = "ObsReadArrow";
    if (obs::refuseNull(kName, {stream})) return obs::kStatusRefused;
    stream->release = nullptr;
    if (obs::refuseNull(kName, {bytes, state})) return obs::kStatusRefused;
    return obs::guarded(kName, obs::kStatusRefused, [&] {
        obs::ReadContext context;
        if (refuseState(kName, *state, length, context)) return obs::kStatusRefused;
        const std::string_view file = fileName != nullptr ? obs::trimmedText(fileName) : std::string_view();
        auto table = obs::tableOf(kName, {columns, columnCount, batchRows}, {true, file});
        if (!table) return obs::kStatusRefused;
        ColumnSink sink(*table, report, user);
        const ObsReadState after = readFrom(*state, context, bytes, length, sink);
        *stream = table->finish();
        *state = after;
        return obs::kStatusOk;
    });
}

int32_t ObsReadStateToText(const ObsReadState* state, char text[512]) {
    constexpr std::string_view kName = "ObsReadStateToText";
    if (obs::refuseNull(kName, {state, text})) return obs::kStatusRefused;
    family::strtochararr({}, text);
    return obs::guarded(kName, obs::kStatusRefused, [&] {
        obs::ReadContext context;
        if (!readState(*state, context)) {
            obs::logFailure(kName, "The state has another size or a value out of range.");
            return obs::kStatusRefused;
        }
        family::strtochararr(textOf(*state), text);
        return obs::kStatusOk;
    });
}

int32_t ObsReadStateFromText(const char* text, ObsReadState* state) {
    constexpr std::string_view kName = "ObsReadStateFromText";
    if (obs::refuseNull(kName, {text, state})) return obs::kStatusRefused;
    return obs::guarded(kName, obs::kStatusRefused, [&] {
        ObsReadState found{};
        found.size = sizeof found;
        found.atCut = 1;
        obs::ReadContext context;
        const std::string_view given = obs::trimmedText(text);
        // What is damaged does not come out as it went in.
        if (!takeText(given, found) || !readState(found, context) || textOf(found) != given) {
            obs::logFailure(kName, "This is not the text of a state: '" + std::string(given) + "'.");
            return obs::kStatusRefused;
        }
        *state = found;
        return obs::kStatusOk;
    });
}

int32_t ObsGetNamedFile(const char* line, const char* fileName, char name[512]) {
    if (obs::refuseNull("ObsGetNamedFile", {line, fileName, name})) return obs::kStatusRefused;
    family::strtochararr({}, name);
    return obs::guarded("ObsGetNamedFile", obs::kStatusRefused, [&] {
        const obs::CardText card = obs::cardText(line);
        const obs::LineClass lineClass = obs::ObsCardType(card);
        if (lineClass != obs::LineClass::includeFile && lineClass != obs::LineClass::slrSection)
            return obs::kStatusRefused;
        const std::string found = obs::includedFileName(card.text(), family::chararrtostr(fileName));
        family::strtochararr(found, name);
        return found.empty() ? obs::kStatusRefused : obs::kStatusOk;
    });
}

int64_t ObsNextCut(const char* bytes, int64_t length, int64_t from) {
    if (obs::refuseNull("ObsNextCut", {bytes})) return -1;
    if (length < 0 || from < 0 || from > length) {
        obs::logFailure("ObsNextCut", "The place is not in the text.");
        return -1;
    }
    return static_cast<int64_t>(
        obs::nextCut({bytes, static_cast<std::size_t>(length)}, static_cast<std::size_t>(from)));
}

int32_t ObsGetLineColumn(const char* line1, const char* line2, int32_t group, char name[512], char form[512],
                         char fault[512], int32_t facts[4]) {
    if (obs::refuseNull("ObsGetLineColumn", {line1, line2, name, form, fault, facts})) return obs::kStatusRefused;
    for (char* const text : {name, form, fault}) family::strtochararr({}, text);
    std::fill_n(facts, 4, 0);
    return obs::guarded("ObsGetLineColumn", obs::kStatusRefused, [&] {
        const std::vector<obs::LineColumn> all = obs::describeLine(obs::cardText(line1), obs::cardText(line2));
        facts[OBS_LINE_COLUMN_COUNT] = static_cast<int32_t>(all.size());
        if (group < 0 || static_cast<std::size_t>(group) >= all.size()) {
            if (group != 0) obs::logFailure("ObsGetLineColumn", "The line has no such group of columns.");
            return obs::kStatusRefused;
        }
        const obs::LineColumn& of = all[static_cast<std::size_t>(group)];
        family::strtochararr(of.name, name);
        family::strtochararr(of.form, form);
        family::strtochararr(of.fault, fault);
        facts[OBS_LINE_COLUMN_CARD] = of.card;
        facts[OBS_LINE_COLUMN_FIRST] = static_cast<int32_t>(of.columns.first);
        facts[OBS_LINE_COLUMN_LAST] = static_cast<int32_t>(of.columns.last);
        return obs::kStatusOk;
    });
}

int32_t ObsGetLineKind(const char* line, char kind[512]) {
    if (obs::refuseNull("ObsGetLineKind", {line, kind})) return obs::kStatusRefused;
    return obs::guarded("ObsGetLineKind", obs::kStatusRefused, [&] {
        family::strtochararr(obs::kindOfLine(obs::cardText(line)), kind);
        return obs::kStatusOk;
    });
}
