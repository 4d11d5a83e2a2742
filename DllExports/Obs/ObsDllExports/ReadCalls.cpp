// SPDX-License-Identifier: Apache-2.0
// Lines read without the store, of groups "parsing" and "columns" of the exported header.
#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "DllExports/Obs/ObsDllExports/ColumnTable.h"
#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"
#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "Obs/ObsCardReading/Loading/Cut.h"
#include "Obs/ObsCardReading/Loading/Pieces.h"
#include "Obs/ObsTree/Keys.h"

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
        obs::ColumnRow& row = table_.nextRow();
        row.rec = std::move(rec);
        row.key = key;
        row.line = place.number;
    }

    obs::TableBuilder& table_;
};

obs::ReadContext contextOf(const ObsReadState& state) {
    obs::ReadContext context;
    context.ttyYear = state.ttyYear;
    context.rotateToDate = state.rotateToDate;
    context.corrections = {static_cast<obs::SlrTroposphere>(state.troposphere), state.centreOfMass != 0};
    context.before = {state.lines, state.offset};
    if (state.laserSection != 0) context.section.open();
    return context;
}

/// Whether a state and a length are refused, after a message.
bool refuseState(std::string_view name, const ObsReadState& state, int64_t length) {
    const bool isGood = state.size == sizeof state && length >= 0 && state.troposphere >= 0 && state.troposphere <= 2;
    if (!isGood)
        obs::logFailure(name, "The state has another size or a value out of range, or the length is negative.");
    return !isGood;
}

/// Reads the bytes from a state on; the state after them.
ObsReadState readFrom(const ObsReadState& state, const char* bytes, int64_t length, ReportingSink& sink) {
    obs::ReadContext context = contextOf(state);
    std::string_view text(bytes, static_cast<std::size_t>(length));
    if (context.before.offset == 0) {
        text = obs::withoutByteOrderMark(text);
        context.before.offset = length - static_cast<int64_t>(text.size());
    }
    sink.addressKeys = state.addressKeys != 0;
    obs::readPiece(text, state.isLast != 0, context, sink);
    obs::endReading(context, sink);
    ObsReadState after = state;
    after.ttyYear = context.ttyYear;
    after.addressKeys = sink.addressKeys ? 1 : 0;
    after.laserSection = context.section.isOpen() ? 1 : 0;
    after.lines = context.before.number;
    after.offset = context.before.offset;
    return after;
}

}  // namespace

int32_t ObsReadLines(const char* bytes, int64_t length, ObsReadState* state, Observation observation, Report report,
                     void* user) {
    constexpr std::string_view kName = "ObsReadLines";
    if (obs::refuseNull(kName, {bytes, state, reinterpret_cast<const void*>(observation)})) return obs::kStatusRefused;
    if (refuseState(kName, *state, length)) return obs::kStatusRefused;
    return obs::guarded(kName, obs::kStatusRefused, [&] {
        CallingSink sink(observation, report, user);
        *state = readFrom(*state, bytes, length, sink);
        return obs::kStatusOk;
    });
}

int32_t ObsReadArrow(const char* bytes, int64_t length, ObsReadState* state, const char* fileName,
                     const char* const* columns, int32_t columnCount, int32_t batchRows, Report report, void* user,
                     struct ArrowArrayStream* stream) {
    constexpr std::string_view kName = "ObsReadArrow";
    if (obs::refuseNull(kName, {stream})) return obs::kStatusRefused;
    stream->release = nullptr;
    if (obs::refuseNull(kName, {bytes, state}) || refuseState(kName, *state, length)) return obs::kStatusRefused;
    return obs::guarded(kName, obs::kStatusRefused, [&] {
        const std::string_view file = fileName != nullptr ? obs::trimmedText(fileName) : std::string_view();
        auto table = obs::tableOf(kName, {columns, columnCount, batchRows}, {true, file});
        if (!table) return obs::kStatusRefused;
        ColumnSink sink(*table, report, user);
        const ObsReadState after = readFrom(*state, bytes, length, sink);
        *stream = table->finish();
        *state = after;
        return obs::kStatusOk;
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
