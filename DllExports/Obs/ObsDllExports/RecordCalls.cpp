// SPDX-License-Identifier: Apache-2.0
// Groups "parsing" and "reading" of the exported header.
#include <algorithm>

#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"
#include "DllExports/Obs/ObsDllVarsUtils/Conversions.h"
#include "DllExports/Obs/ObsDllVarsUtils/LooseFields.h"
#include "Obs/FormatObs/B3.h"
#include "Obs/FormatObs/CardFormats.h"
#include "Obs/FormatObs/Csv.h"
#include "Obs/FormatObs/Tty.h"
#include "Obs/ObsCardReading/Loading/ReadObs.h"

namespace {

using obs::kStatusOk;
using obs::kStatusRefused;

/// The array at the end of ObsGetAllFields, kept for the array form.
constexpr std::size_t kClearedReals = 128;

void blank(char* text) { family::strtochararr({}, text); }

using Texts = std::initializer_list<char*>;

/// Blanks the output texts; true, and logged, when one is null.
bool refuseTexts(std::string_view name, Texts texts) {
    for (char* text : texts)
        if (obs::refuseNull(name, {text})) return true;
    for (char* text : texts) blank(text);
    return false;
}

/// Has a stored observation written into texts, which are blank before; status 2 and a message for an unknown key.
template <class Write>
std::int32_t getText(std::string_view name, std::int64_t obsKey, Texts texts, bool withParts, Write&& write) {
    if (refuseTexts(name, texts)) return kStatusRefused;
    return obs::guarded(name, kStatusRefused, [&] {
        obs::ObsRecord rec;
        const bool found = withParts ? obs::obsfindrec(obsKey, rec) : obs::obsfindfields(obsKey, rec);
        if (found) return write(rec);
        obs::logUnknownKey(name, obsKey);
        return kStatusRefused;
    });
}

/// True, and logged, when one of the places for loose fields is null.
template <class... Places>
bool refuseOutputs(std::string_view name, const obs::FieldOutputs<Places...>& out) {
    return std::apply([&](auto*... places) { return obs::refuseNull(name, {places...}); }, out.places);
}

/// As `getText` for loose fields; status 2 and a message for an equinox indicator that is none.
template <class Write>
std::int32_t fieldsToText(std::string_view name, const obs::Fields& fields, const double* pos, const double* vel,
                          Texts texts, Write&& write) {
    if (refuseTexts(name, texts) || obs::refuseNull(name, {pos, vel})) return kStatusRefused;
    return obs::guarded(name, kStatusRefused, [&] {
        if (obs::hasValidEquinox(fields)) return write(obs::fields2record(fields));
        obs::logFailure(name, "Invalid equinox indicator. Its valid range is from 0 to 3.");
        return kStatusRefused;
    });
}

/// Reads a line for taking apart; false after a message.
bool parse(const char* line1, std::string_view line2, std::string_view unsupported, obs::ObsRecord& rec) {
    const obs::MaybeRefusal refusal = obs::parseLines(obs::cardText(line1), line2, unsupported, rec);
    if (refusal) family::tracelogerror(refusal->message());
    return !refusal;
}

/// Lines of one observation after the other in a caller's buffer.
class CardBuffer {
public:
    CardBuffer(const obs::CardWriting& writing, char* buffer, std::int64_t size)
        : writing_(writing), buffer_(buffer), size_(size) {}

    /// The next observation's lines; 0, 1 when there is no room, or the status of the refusal that `why` becomes.
    std::int32_t add(const obs::ObsRecord& rec, std::int64_t& offset, std::int32_t& length, obs::MaybeRefusal& why) {
        offset = used_;
        if (isFull_) return kNoRoom;
        obs::CardLines lines{{texts_[0], texts_[1]}, {}};
        why = writing_.write(rec, lines);
        if (why) return why->status;
        for (std::size_t which = 0; which < lines.length.size(); ++which)
            if (lines.length[which] > 0 &&
                !append({texts_[which], obs::withoutBlanks(texts_[which], lines.length[which])})) {
                isFull_ = true;
                used_ = offset;
                return kNoRoom;
            }
        length = static_cast<std::int32_t>(used_ - offset);
        return kStatusOk;
    }

private:
    static constexpr std::int32_t kNoRoom = 1;

    bool append(std::string_view line) {
        const auto length = static_cast<std::int64_t>(line.size());
        if (size_ - used_ <= length) return false;
        line.copy(buffer_ + used_, line.size());
        used_ += length;
        buffer_[used_++] = '\n';
        return true;
    }

    const obs::CardWriting& writing_;
    char* const buffer_;
    const std::int64_t size_;
    std::int64_t used_ = 0;
    bool isFull_ = false;
    char texts_[2][obs::kCardLength];
};

}  // namespace

int32_t ObsB3Parse(const char* b3Card, char* secClass, int32_t* satNum, int32_t* senNum, double* obsTime,
                   double* elOrDec, double* azOrRa, double* range, double* rangeRate, double* elRate, double* azRate,
                   double* rangeAccel, char* obsType, int32_t* indicator1, int32_t* indicator2, int32_t* altSatNum1,
                   int32_t* altSatNum2, double pos[3]) {
    const obs::FieldOutputs out(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, elRate, azRate,
                                rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos);
    if (obs::refuseNull("ObsB3Parse", {b3Card}) || refuseOutputs("ObsB3Parse", out)) return kStatusRefused;
    out.set({});
    return obs::guarded("ObsB3Parse", kStatusRefused, [&] {
        obs::ObsRecord rec;
        if (!parse(b3Card, {}, "ObsB3Parse: Invalid or unsupported obs format.", rec)) return kStatusRefused;
        out.set(obs::record2fields(rec));
        return kStatusOk;
    });
}

int32_t ObsParse(const char* line1, const char* line2, double obsArr[64]) {
    if (obs::refuseNull("ObsParse", {line1, line2, obsArr})) return kStatusRefused;
    std::fill_n(obsArr, obs::kArrayLength, 0.0);
    return obs::guarded("ObsParse", kStatusRefused, [&] {
        obs::ObsRecord rec;
        rec.rotateToDate = 0;  // angles stay in the equinox that the card states
        if (!parse(line1, family::chararrtostr(line2), "ObsParse: Invalid or unsupported obs format.", rec))
            return kStatusRefused;
        obs::obsrec2arr(rec, obsArr);
        return kStatusOk;
    });
}

int32_t ObsGetB3Card(int64_t obsKey, char b3Card[512]) {
    return getText("ObsGetB3Card", obsKey, {b3Card}, false,
                   [&](const obs::ObsRecord& rec) { return obs::writeLines(obs::CreateB3Obs, rec, b3Card); });
}

int32_t ObsGetTTYCard(int64_t obsKey, char card1[512], char card2[512]) {
    return getText("ObsGetTTYCard", obsKey, {card1, card2}, false,
                   [&](const obs::ObsRecord& rec) { return obs::writeLines(obs::CreateTTYObs, rec, card1, card2); });
}

int32_t ObsGetCsv(int64_t obsKey, char csvLine[512]) {
    return getText("ObsGetCsv", obsKey, {csvLine}, true,
                   [&](const obs::ObsRecord& rec) { return obs::writeLines(obs::CreateCsvObs, rec, csvLine); });
}

int32_t ObsFieldsToB3Card(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec, double azOrRa,
                          double range, double rangeRate, double elRate, double azRate, double rangeAccel, char obsType,
                          int32_t indicator1, int32_t indicator2, int32_t altSatNum1, int32_t altSatNum2,
                          const double pos[3], const double vel[3], char b3Card[512]) {
    return fieldsToText(
        "ObsFieldsToB3Card",
        obs::looseFields(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, elRate, azRate,
                         rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel),
        pos, vel, {b3Card}, [&](const obs::ObsRecord& rec) { return obs::writeLines(obs::CreateB3Obs, rec, b3Card); });
}

int32_t ObsFieldsToTTYCard(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec, double azOrRa,
                           double range, double rangeRate, double elRate, double azRate, double rangeAccel,
                           char obsType, int32_t indicator1, int32_t indicator2, int32_t altSatNum1, int32_t altSatNum2,
                           const double pos[3], const double vel[3], char card1[512], char card2[512]) {
    return fieldsToText(
        "ObsFieldsToTTYCard",
        obs::looseFields(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, elRate, azRate,
                         rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel),
        pos, vel, {card1, card2},
        [&](const obs::ObsRecord& rec) { return obs::writeLines(obs::CreateTTYObs, rec, card1, card2); });
}

int32_t ObsFieldsToCsv(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec, double azOrRa,
                       double range, double rangeRate, double elRate, double azRate, double rangeAccel, char obsType,
                       int32_t indicator1, int32_t indicator2, int32_t altSatNum1, int32_t altSatNum2,
                       const double pos[3], const double vel[3], char csvLine[512]) {
    return fieldsToText(
        "ObsFieldsToCsv",
        obs::looseFields(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, elRate, azRate,
                         rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel),
        pos, vel, {csvLine},
        [&](const obs::ObsRecord& rec) { return obs::writeLines(obs::CreateCsvObs, rec, csvLine); });
}

int32_t ObsArrToLines(const double obsArr[64], int32_t format, char line1[512], char line2[512]) {
    if (refuseTexts("ObsArrToLines", {line1, line2}) || obs::refuseNull("ObsArrToLines", {obsArr}))
        return kStatusRefused;
    return obs::guarded("ObsArrToLines", kStatusRefused, [&] {
        const obs::ObsRecord rec = obs::obsarr2obsrec(obsArr, 0);  // the lines show the array's own equinox
        const obs::CardFormat* row = obs::cardFormatOfForm(format);
        if (row != nullptr && row->hasArrayForm) return obs::writeLines(row->writing->write, rec, line1, line2);
        obs::logFailure("ObsArrToLines", "Invalid or unsupported obs format.");
        return kStatusRefused;
    });
}

int32_t ObsGetLines(int64_t obsKey, int32_t saveForm, char line1[512], char line2[512]) {
    const obs::CardFormat* format = obs::cardFormatOfForm(saveForm);
    if (refuseTexts("ObsGetLines", {line1, line2})) return kStatusRefused;
    if (format == nullptr) {
        obs::logFailure("ObsGetLines", "No format has this save form.");
        return kStatusRefused;
    }
    return getText("ObsGetLines", obsKey, {line1, line2}, format->writing->writesParts, [&](const obs::ObsRecord& rec) {
        return obs::writeLines(format->writing->write, rec, line1, line2);
    });
}

int32_t ObsGetCards(int32_t count, const int64_t* keys, int32_t saveForm, char* buffer, int64_t size, int64_t* offsets,
                    int32_t* lengths, int32_t* statuses) {
    if (obs::refuseCount("ObsGetCards", count, {keys, buffer, offsets, lengths, statuses})) return kStatusRefused;
    const auto total = static_cast<std::size_t>(count);
    std::fill_n(offsets, total, 0);
    std::fill_n(lengths, total, 0);
    std::fill_n(statuses, total, kStatusRefused);
    const obs::CardFormat* format = obs::cardFormatOfForm(saveForm);
    if (format == nullptr || size < 0) {
        obs::logFailure("ObsGetCards", format == nullptr ? "No format has this save form."
                                                         : "The size of the buffer must not be negative.");
        return kStatusRefused;
    }
    return obs::guarded("ObsGetCards", kStatusRefused, [&] {
        CardBuffer cards(*format->writing, buffer, size);
        obs::UnknownKeys unknown;
        obs::RefusedKeys refused;
        obs::MaybeRefusal why;
        obs::obsfindrecs(keys, total, format->writing->writesParts, [&](std::size_t i, const obs::ObsRecord* rec) {
            if (rec == nullptr) return unknown.note(keys[i]);
            statuses[i] = cards.add(*rec, offsets[i], lengths[i], why);
            if (why) refused.note(keys[i], *why);
            else if (statuses[i] != kStatusOk) refused.note(keys[i], {"The buffer has no room for it."});
        });
        const std::int32_t ofRefused = refused.status("ObsGetCards", total);
        return std::max(ofRefused, unknown.status("ObsGetCards", total));
    });
}

int32_t ObsGetAllFields(int64_t obsKey, char* secClass, int32_t* satNum, int32_t* senNum, double* obsTime,
                        double* elOrDec, double* azOrRa, double* range, double* rangeRate, double* elRate,
                        double* azRate, double* rangeAccel, char* obsType, int32_t* indicator1, int32_t* indicator2,
                        int32_t* altSatNum1, int32_t* altSatNum2, double pos[3], double vel[3], double cleared[128]) {
    const obs::FieldOutputs out(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, elRate, azRate,
                                rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel);
    if (refuseOutputs("ObsGetAllFields", out) || obs::refuseNull("ObsGetAllFields", {cleared})) return kStatusRefused;
    out.set({});
    std::fill_n(cleared, kClearedReals, 0.0);
    return obs::guarded("ObsGetAllFields", kStatusRefused, [&] {
        obs::ObsRecord rec;
        if (!obs::obsfindfields(obsKey, rec)) {
            obs::logUnknownKey("ObsGetAllFields", obsKey);
            return kStatusRefused;
        }
        out.set(obs::record2fields(rec));
        return kStatusOk;
    });
}
