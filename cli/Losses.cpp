// SPDX-License-Identifier: Apache-2.0
#include "Losses.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "BulkTrial.h"
#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "RfLines.h"
#include "Text.h"
#include "Trials.h"

namespace obstool {

namespace {

constexpr std::int32_t kUntold = 0;  ///< none of the kinds of loss that a save tells of

/// A value or a vector, as it is called in the report.
struct Field {
    ValueIndex first;
    std::size_t count;
    std::string_view name, nameOfRaDec;
    std::string_view unit;
    double perUnit;               ///< units of the report in one of the value
    std::int32_t told = kUntold;  ///< the kind of loss (OBS_SAVE_...) whose reason a save gives for a change
};
constexpr Field kFields[] = {
    {kSecClass, 1, "classification", "", "", 1},
    {kType, 1, "type", "", "", 1, OBS_SAVE_TYPE},
    {kSatellite, 1, "satellite number", "", "", 1},
    {kSensor, 1, "sensor number", "", "", 1, OBS_SAVE_SENSOR},
    {kTime, 1, "time", "", "s", 86400},
    {kElOrDec, 1, "elevation", "declination", "deg", 1},
    {kAzOrRa, 1, "azimuth", "right ascension", "deg", 1},
    {kRange, 1, "range", "", "km", 1},
    {kRangeRate, 1, "range rate", "", "km/s", 1},
    {kElRate, 1, "elevation rate", "declination rate", "", 1},
    {kAzRate, 1, "azimuth rate", "right ascension rate", "", 1},
    {kRangeAccel, 1, "range acceleration", "", "", 1},
    {kEquinox, 1, "equinox indicator", "", "", 1},
    {kIndicator1, 1, "first indicator", "", "", 1},
    {kIndicator2, 1, "second indicator", "", "", 1},
    {kAltSatNum1, 1, "first further satellite", "", "", 1},
    {kAltSatNum2, 1, "second further satellite", "", "", 1},
    {kPosition, 3, "position", "", "km", 1, OBS_SAVE_EXPONENT},
    {kVelocity, 3, "velocity", "", "km/s", 1, OBS_SAVE_EXPONENT},
};

/// Fields of a CSV line that ObsGetAllFields does not give, not for all types at least.
struct CsvField {
    std::size_t first, last;  ///< numbers, from 1
    std::string_view name;
    std::string_view comparedFor;  ///< types of which it is among the values
};
constexpr CsvField kCsvFields[] = {
    {18, 18, "range rate", "01234678MOPVR"},
    {28, 28, "CSV character", ""},
    {29, 29, "CSV reals 1 and 2", ""},
    {30, 34, "CSV reals 5 to 9", ""},
    {35, 41, "biases", ""},
    {42, 42, "CSV reals 3 and 4", ""},
    {43, 43, "CSV integer 1", ""},
    {44, 44, "equinox indicator", "59"},
    {45, 45, "CSV integer 2", ""},
    {50, 50, "range sigma", ""},
    {51, 51, "CSV real of field 51", ""},
    {52, 52, "range rate sigma", ""},
    {53, 55, "CSV reals of fields 53 to 55", ""},
    {56, 56, "CSV real 10", ""},
};
constexpr std::size_t kCsvFieldCount = 56, kCsvInt2 = 45;
constexpr int kRfSigmaDigits = 13;

constexpr auto kNothing = "nothing";

bool hasRaDec(char type) { return type == '5' || type == '9' || type == 'O'; }

/// What became of a field.
struct Outcome {
    std::optional<Loss> loss;
    double difference = 0;
    std::string before, after;
};

bool isAbsent(ValueIndex index, const Values& values) { return isAbsent(index, values[index], values[kSatellite]); }

double difference(ValueIndex index, double before, double after) {
    constexpr double kCircle = 360.0;
    const double apart = before - after;
    return std::fabs(index == kAzOrRa ? std::remainder(apart, kCircle) : apart);
}

/// @param bound differences up to this one are rounding. The last bit does not count at all.
std::optional<Loss> compare(double before, double after, double apart, double bound) {
    constexpr double kLastBit = std::numeric_limits<double>::epsilon();
    if (apart <= kLastBit * std::max(std::fabs(before), std::fabs(after))) return std::nullopt;
    if (apart <= bound) return Loss::rounded;
    return after == 0 ? Loss::dropped : Loss::changed;
}

std::string shown(ValueIndex index, double value) {
    if (index == kTime) return isoTime(value);
    if (index == kSecClass) return fmt::format("\"{}\"", static_cast<char>(value));
    return fmt::format("{}", value);
}

class CsvLine {
public:
    /// The fields are empty when there is no line.
    explicit CsvLine(std::optional<std::int64_t> key) {
        if (!key || ObsGetCsv(*key, line_.data()) != 0) return;
        std::string_view rest = withoutTrailingBlanks({line_.data(), kTextLength});
        for (std::string_view& field : fields_) {
            const std::size_t comma = std::min(rest.find(','), rest.size());
            field = rest.substr(0, comma);
            rest.remove_prefix(std::min(comma + 1, rest.size()));
        }
    }
    std::string_view field(std::size_t number) const { return fields_[number - 1]; }

private:
    Text512 line_;
    std::array<std::string_view, kCsvFieldCount> fields_{};
};

bool isNothing(std::size_t number, std::string_view text) {
    const bool isDefault = number == kCsvInt2 && text == "1";
    return isDefault || text.find_first_not_of(" 0:") == std::string_view::npos;
}

double toReal(std::string_view text) {
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

/// Goes through the observations and counts.
class LossFinder {
public:
    LossFinder(const Format& format, const std::vector<Told>& told, std::int64_t firstLine, std::size_t examples,
               std::int32_t freeGroup)
        : told_(told),
          nextTold_(told_.begin()),
          format_(format),
          nextLine_(firstLine),
          examples_(examples),
          freeGroup_(freeGroup),
          trial_(format.tryOut(format, freeGroup)) {}

    void examine(std::int64_t key, bool showsMoreAsCsv);
    /// An observation that comes back whole, unless a save tells something of it: then it is to be examined.
    bool passOver(std::int64_t key, int lines);
    Losses result();

private:
    bool isBeyondCsv();
    void takeTold(std::int64_t key);
    std::optional<std::string_view> toldReason(std::int32_t kind);
    void countRestOfTold();
    void compareYear();
    void compareField(const Field& field, const Values& before, const Values& after);
    void compareCsvFields(std::int64_t key, std::optional<std::int64_t> csvKeyBack);
    void compareCsvField(const CsvField& field, const CsvLine& before, const CsvLine& after);
    LossOfField& lossOf(std::vector<LossOfField>& losses, std::string_view field, std::string_view unit,
                        Loss loss) const;
    void count(std::string_view field, const Outcome& outcome, std::string_view unit = "");
    void countReason(std::string_view reason, const Outcome& outcome, std::string_view unit = "");
    void countIn(LossOfField& loss, const Outcome& outcome) const;

    const std::vector<Told>& told_;
    std::vector<Told>::const_iterator nextTold_;
    const Format& format_;
    std::int64_t nextLine_;
    const std::size_t examples_;
    const std::int32_t freeGroup_;
    std::unique_ptr<Trial> trial_;
    std::optional<RfLines> rfLines_;     ///< made when needed
    std::optional<int> year_;            ///< of the first observation, for a format that carries none
    std::vector<LossOfField> byReason_;  ///< of what a save tells; all types together
    std::array<std::vector<LossOfField>, 256> byType_;
    std::int64_t observations_ = 0, written_ = 0;

    // the observation at hand
    Observation observation_{};
    std::int64_t line_ = 0;         ///< its first; 0: none
    std::vector<Told> toldOfThis_;  ///< what is not in the report yet
};

void LossFinder::examine(std::int64_t key, bool showsMoreAsCsv) {
    constexpr char kUnknown = ' ';
    observation_ = observationOf(key);
    ++observations_;
    const bool beyondCsv = isBeyondCsv();
    const Trial::Result tried = trial_->next(key, observation_);
    line_ = tried.lines > 0 ? nextLine_ : 0;
    nextLine_ += tried.lines;
    takeTold(key);
    if (const auto reason = toldReason(OBS_SAVE_LEFT_OUT)) return countReason(*reason, {Loss::refused, 0, "", ""});
    if (!tried.written) return count("", {Loss::refused, 0, "", ""});
    ++written_;
    if (!format_.carriesYear()) compareYear();
    if (const auto reason = toldReason(OBS_SAVE_UNREADABLE)) return countReason(*reason, {Loss::unreadable, 0, "", ""});
    if (!tried.readBack) return count("", {Loss::unreadable, 0, "", ""});
    const Values values = valuesOf(observation_);
    Values back = *tried.readBack;
    // A type without a character has no number here, so there is nothing to compare.
    if (observation_.type == kUnknown) back[kType] = values[kType];
    for (const Field& field : kFields) compareField(field, values, back);
    if (showsMoreAsCsv && !format_.carriesCsvFields()) compareCsvFields(key, tried.csvKey);
    if (beyondCsv) count("delays, rf, process time, snr, flags", {Loss::dropped, 0, "", ""});
    countRestOfTold();
}

bool LossFinder::passOver(std::int64_t key, int lines) {
    if (nextTold_ != told_.end() && nextTold_->key == key) return false;
    ++observations_;
    ++written_;
    nextLine_ += lines;
    return true;
}

void LossFinder::takeTold(std::int64_t key) {
    toldOfThis_.clear();
    for (; nextTold_ != told_.end() && nextTold_->key == key; ++nextTold_) toldOfThis_.push_back(*nextTold_);
}

/// Why a save says that there is a loss of some kind; it then counts as reported.
std::optional<std::string_view> LossFinder::toldReason(std::int32_t kind) {
    const auto told =
        std::find_if(toldOfThis_.begin(), toldOfThis_.end(), [kind](const Told& t) { return t.kind == kind; });
    if (told == toldOfThis_.end()) return std::nullopt;
    const std::string_view reason = told->reason;
    toldOfThis_.erase(told);
    return reason;
}

/// What a comparison of values does not show.
void LossFinder::countRestOfTold() {
    for (const Told& told : toldOfThis_)
        countReason(told.reason, {told.kind == OBS_SAVE_POSITION ? Loss::dropped : Loss::changed, 0, "", ""});
}

/// Whether the observation has values that only RF lines have, and the format another has no place for.
/// NOTE: not only those of type R may have them, but these alone are looked at.
bool LossFinder::isBeyondCsv() {
    constexpr char kRf = 'R';
    if (!format_.dropsRfFields() || observation_.type != kRf) return false;
    if (!rfLines_) rfLines_.emplace(freeGroup_);
    return rfLines_->next(observation_).isBeyondCsv;
}

/// A file can be read back when one year holds for all of it.
void LossFinder::compareYear() {
    const auto time = splitTime(observation_.time);
    const int year = time ? time->year : 0;
    if (!year_) year_ = year;
    if (year != *year_) count("year", {Loss::dropped, 0, std::to_string(year), std::to_string(*year_)});
}

void LossFinder::compareField(const Field& field, const Values& before, const Values& after) {
    Outcome outcome;
    for (std::size_t i = field.first; i < field.first + field.count; ++i) {
        if (before[i] == after[i]) continue;
        const auto index = static_cast<ValueIndex>(i);
        if (isAbsent(index, before)) continue;
        const double apart = difference(index, before[i], after[i]);
        const double bound = halfLastDigit(format_, index, observation_.type, before[i]);
        auto loss = compare(before[i], after[i], apart, bound);
        if (!loss) continue;
        if (isAbsent(index, after)) loss = Loss::dropped;
        outcome.difference = std::max(outcome.difference, apart * field.perUnit);
        if (outcome.loss && *outcome.loss <= *loss) continue;
        outcome.loss = loss;
        if (*loss == Loss::rounded) continue;
        outcome.before = shown(index, before[i]);
        outcome.after = isAbsent(index, after) ? kNothing : shown(index, after[i]);
    }
    if (!outcome.loss) return;
    if (*outcome.loss != Loss::rounded)
        if (const auto reason = toldReason(field.told)) return countReason(*reason, outcome, field.unit);
    const bool raDec = hasRaDec(observation_.type) && !field.nameOfRaDec.empty();
    count(raDec ? field.nameOfRaDec : field.name, outcome, field.unit);
}

void LossFinder::compareCsvFields(std::int64_t key, std::optional<std::int64_t> csvKeyBack) {
    const CsvLine before(key), after(csvKeyBack);
    for (const CsvField& field : kCsvFields)
        if (field.comparedFor.find(observation_.type) == std::string_view::npos) compareCsvField(field, before, after);
}

void LossFinder::compareCsvField(const CsvField& field, const CsvLine& before, const CsvLine& after) {
    Outcome outcome;
    for (std::size_t number = field.first; number <= field.last; ++number) {
        const std::string_view had = before.field(number), has = after.field(number);
        if (had == has || isNothing(number, had)) continue;
        Outcome here{Loss::dropped, 0, std::string(had), kNothing};
        if (!isNothing(number, has)) {
            const double value = toReal(had), valueBack = toReal(has);
            here.difference = std::fabs(value - valueBack);
            const bool rounded = here.difference <= std::fabs(value) * std::pow(10, 1 - kRfSigmaDigits);
            here.loss = rounded ? Loss::rounded : Loss::changed;
            here.after = has;
        }
        if (!outcome.loss || *here.loss < *outcome.loss) outcome = here;
    }
    if (outcome.loss) count(field.name, outcome);
}

LossOfField& LossFinder::lossOf(std::vector<LossOfField>& losses, std::string_view field, std::string_view unit,
                                Loss loss) const {
    const auto known = std::find_if(losses.begin(), losses.end(),
                                    [&](const LossOfField& l) { return l.field == field && l.loss == loss; });
    if (known != losses.end()) return *known;
    return losses.emplace_back(LossOfField{observation_.type, field, unit, loss, 0, 0, {}});
}

void LossFinder::count(std::string_view field, const Outcome& outcome, std::string_view unit) {
    countIn(lossOf(byType_[static_cast<unsigned char>(observation_.type)], field, unit, *outcome.loss), outcome);
}

void LossFinder::countReason(std::string_view reason, const Outcome& outcome, std::string_view unit) {
    LossOfField& loss = lossOf(byReason_, reason, unit, *outcome.loss);
    if (loss.type != observation_.type) loss.type = LossOfField::kSeveralTypes;
    countIn(loss, outcome);
}

void LossFinder::countIn(LossOfField& loss, const Outcome& outcome) const {
    ++loss.observations;
    loss.largest = std::max(loss.largest, outcome.difference);
    if (loss.loss == Loss::rounded || loss.examples.size() >= examples_) return;
    std::string example = line_ > 0 ? fmt::format("line {}, ", line_) : "";
    example += fmt::format("satellite {}, sensor {}, {}", observation_.satellite, observation_.sensor,
                           isoTime(observation_.time));
    if (!outcome.after.empty()) example += fmt::format(": {} became {}", outcome.before, outcome.after);
    loss.examples.push_back(std::move(example));
}

Losses LossFinder::result() {
    Losses losses;
    losses.observations = observations_;
    const auto append = [&](std::vector<LossOfField>& some) {
        std::stable_sort(some.begin(), some.end(),
                         [](const LossOfField& a, const LossOfField& b) { return a.loss < b.loss; });
        std::move(some.begin(), some.end(), std::back_inserter(losses.ofFields));
    };
    append(byReason_);
    for (auto& ofType : byType_) append(ofType);
    if (!format_.remark.empty() && written_ > 0) losses.remarks.emplace_back(format_.remark);
    if (year_)
        losses.remarks.push_back(fmt::format("There is no year in these lines: read them with --tty-year {}.", *year_));
    return losses;
}

}  // namespace

bool Losses::any(bool exact) const {
    return std::any_of(ofFields.begin(), ofFields.end(),
                       [exact](const LossOfField& loss) { return exact || loss.loss != Loss::rounded; });
}

std::vector<Told> toldBySaving(const std::function<void()>& save) {
    std::vector<Told> told;
    ObsSetSaveCallback(
        [](std::int64_t key, std::int32_t kind, const char* reason, void* list) {
            static_cast<std::vector<Told>*>(list)->push_back({key, kind, reason});
        },
        &told);
    save();
    ObsSetSaveCallback(nullptr, nullptr);
    return told;
}

std::vector<Told> toldBySaving(const Format& format) {
    constexpr std::int32_t kReplace = 0;
    return toldBySaving([&] { format.save(Text512("/dev/null").data(), kReplace); });
}

Losses findLosses(const Format& format, const std::vector<Told>& told, std::int64_t firstLine, std::size_t examples,
                  std::int32_t freeGroup) {
    constexpr std::int32_t kAscendingKeys = 9;  // as they are saved
    constexpr std::size_t kAtOnce = 256;        // whose arrays stay at the processor's hand
    const std::vector<std::int64_t> keys = storedKeys(kAscendingKeys);
    LossFinder finder(format, told, firstLine, examples, freeGroup);
    BulkTrial bulk(format);
    for (std::size_t from = 0; from < keys.size(); from += kAtOnce) {
        const std::span some(&keys[from], std::min(kAtOnce, keys.size() - from));
        bulk.tryOut(some);
        for (std::size_t i = 0; i < some.size(); ++i)
            if (!bulk.comesBackWhole(i) || !finder.passOver(some[i], 1))
                finder.examine(some[i], bulk.showsMoreAsCsv(i));
    }
    return finder.result();
}

std::string describe(const Losses& losses, const Format& format, std::string_view output) {
    static constexpr std::string_view kNames[] = {"refused", "unreadable", "dropped", "changed", "rounded"};
    if (losses.ofFields.empty() && losses.remarks.empty()) return {};
    std::string text =
        fmt::format("obstool: {}: {} observations as {}", printable(output), losses.observations, format.description);
    text += losses.ofFields.empty() ? ", nothing lost\n" : "\ntype loss       observations field\n";
    for (const LossOfField& loss : losses.ofFields) {
        text += fmt::format("{:>4} {:<10} {:>12} {}", loss.type, kNames[static_cast<std::size_t>(loss.loss)],
                            loss.observations, loss.field.empty() ? "(the whole observation)" : loss.field);
        if (loss.loss == Loss::rounded)
            text += fmt::format(", by up to {:.2g}{}{}", loss.largest, loss.unit.empty() ? "" : " ", loss.unit);
        text += '\n';
        for (const std::string& example : loss.examples) text += fmt::format("     {}\n", printable(example));
    }
    for (const std::string& remark : losses.remarks) text += remark + '\n';
    return text;
}

}  // namespace obstool
