// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/Csv.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

#include "Obs/CardLayouts/Csv.h"
#include "Obs/CardLayouts/DigitRuns.h"
#include "Obs/CardLayouts/PlainReals.h"
#include "Obs/ObsStates/Equinox.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

// --- Plain numbers, as nearly all fields hold --------------------------------------------

/// As `readPlainReal`, for numbers with too many digits for one division.
const char* readOtherReal(const char* at, const char* limit, char end, double& value) {
    const bool hasDigit = isDigit(*at) || (*at == '.' && isDigit(at[1]));  // the library reads words as well
    const auto [behind, error] = std::from_chars(at, limit, value);
    return hasDigit && error == std::errc{} && *behind == end ? behind : nullptr;
}

/// A number that ends in `end` and has neither blanks nor a plus sign. Gives the place of `end`, null for
/// anything else. Some `end` must lie at or before `limit`.
const char* readPlainReal(const char* at, const char* limit, char end, double& value) {
    if (const char* const behind = takePlainReal(at, value); behind != nullptr && *behind == end) return behind;
    const bool negative = *at == '-';
    const char* const behind = readOtherReal(at + negative, limit, end, value);
    if (negative) value = -value;
    return behind;
}

const char* readPlainInteger(const char* at, std::int32_t& value) {
    const bool negative = *at == '-';
    at += negative;
    const LeadingDigits digits = leadingDigits(at);
    const char* const behind = at + digits.count;
    if (digits.count == 0 || *behind != csv::kSeparator) return nullptr;
    const auto size = static_cast<std::int32_t>(digits.number);
    value = negative ? -size : size;
    return behind;
}

// --- All others -------------------------------------------------------------------------------

std::string_view withoutOuterBlanks(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos ? std::string_view{}
                                           : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Whether a number that was read as 0 is not 0 as it is written.
bool isTooSmall(std::string_view text) {
    return text.substr(0, text.find_first_of("EeDd")).find_first_of("123456789") != std::string_view::npos;
}

/// Fields by their numbers, from 1: `size` of them, from the first on.
struct FieldRun {
    std::size_t first, size;
};

/// Numbers that are 0 together in most lines, and are looked at together.
constexpr FieldRun kZeroRuns[] = {{10, 3}, {14, 3}, {21, 3}, {30, 4}, {34, 4}, {38, 4}, {46, 4}, {50, 4}, {54, 3}};

/// All fields in their order: those runs, and every other field by itself.
constexpr std::size_t kRunCount = [] {
    std::size_t count = csv::kFieldCount;
    for (const FieldRun& run : kZeroRuns) count -= run.size - 1;
    return count;
}();
constexpr auto kRuns = [] {
    std::array<FieldRun, kRunCount> runs{};
    std::size_t next = 1;
    for (FieldRun& run : runs) {
        run = {next, 1};
        for (const FieldRun& zeros : kZeroRuns)
            if (zeros.first == next) run = zeros;
        next += run.size;
    }
    return runs;
}();
static_assert(kRuns.back().first + kRuns.back().size == csv::kFieldCount + 1);

/// Goes through the fields of a line.
class FieldWalk {
public:
    FieldWalk(std::string_view line, FieldNotes* notes) : end_(text_ + line.size()), notes_(notes) {
        std::memcpy(text_, line.data(), line.size());
        // So that every field ends in one; the others are for those who look at eight characters at once.
        std::memset(text_ + line.size(), csv::kSeparator, 1 + kDigitRun);
    }

    /// Fills the owners' values from the line. False when a field of the date holds something else than what it counts.
    bool readAll(const csv::Owners<true>& owners) {
        [&]<std::size_t... i>(std::index_sequence<i...>) { (readRun<kRuns[i].first, kRuns[i].size>(owners), ...); }
        (std::make_index_sequence<kRunCount>{});
        const auto surplus = std::count(at_, std::max(at_, end_ + 1), csv::kSeparator);
        noteFieldCount(number_ + static_cast<std::size_t>(surplus));
        return dateIsSound_;
    }

private:
    template <std::size_t kFirst, std::size_t kSize>
    void readRun(const csv::Owners<true>& owners) {
        const auto forEach = [&]<std::size_t... i>(auto visit, std::index_sequence<i...>) {
            (visit(csv::FieldAt<kFirst + i>{}), ...);
        };
        constexpr auto kAll = std::make_index_sequence<kSize>{};
        if constexpr (kSize > 1) {
            static constexpr std::string_view kZeros = "0,0,0,0,";
            if (isNext(kZeros.substr(0, 2 * kSize))) {
                forEach([&](auto field) { setMissing(field, owners); }, kAll);
                at_ += 2 * kSize;
                number_ = kFirst + kSize - 1;
                return;
            }
        }
        forEach(
            [&](auto field) {
                if (at_ <= end_) at_ = read(field, owners) + 1;
                else setMissing(field, owners);
            },
            kAll);
    }

    /// Gives the place of the separator after the field.
    template <class Field>
    const char* read(Field field, const csv::Owners<true>& owners) {
        number_ = field.number;
        if constexpr (field.kind == csv::Kind::repeated) return fieldEnd();
        else if constexpr (field.kind == csv::Kind::realPair) return readPair(field.in(owners), field.secondIn(owners));
        else if constexpr (field.kind == csv::Kind::integer) return readInteger(field.in(owners));
        else if constexpr (field.kind == csv::Kind::character) return readCharacter(field.in(owners));
        else return readReal(field.in(owners));
    }

    template <class Field>
    static void setMissing(Field field, const csv::Owners<true>& owners) {
        if constexpr (field.kind == csv::Kind::realPair) field.secondIn(owners) = 0;
        if constexpr (field.kind == csv::Kind::character) field.in(owners) = ' ';
        else if constexpr (field.kind != csv::Kind::repeated) field.in(owners) = 0;
    }

    const char* readReal(double& value) {
        // Most fields of most lines; looked for here, where it costs no call.
        if (isNext(kZero)) {
            value = 0;
            return at_ + 1;
        }
        return readRealNotZero(value);
    }

    [[gnu::noinline]] const char* readRealNotZero(double& value) {
        if (const char* const behind = readPlainReal(at_, end_ + 1, csv::kSeparator, value)) return behind;
        const char* const behind = fieldEnd();
        value = carefulReal(at_, behind);
        return behind;
    }

    const char* readPair(double& first, double& second) {
        if (isNext(kZeroPair)) {
            first = second = 0;
            return at_ + kZeroPair.size() - 1;
        }
        const char* behind = readPlainReal(at_, end_ + 1, csv::kPairSeparator, first);
        if (behind) behind = readPlainReal(behind + 1, end_ + 1, csv::kSeparator, second);
        if (behind) return behind;
        behind = fieldEnd();
        const char* const colon = std::find(at_, behind, csv::kPairSeparator);
        first = carefulReal(at_, colon);
        second = colon == behind ? 0 : carefulReal(colon + 1, behind);
        return behind;
    }

    const char* readInteger(std::int32_t& value) {
        if (isDigit(at_[0]) && at_[1] == csv::kSeparator) {
            value = at_[0] - '0';
            return at_ + 1;
        }
        return readIntegerOfMoreDigits(value);
    }

    [[gnu::noinline]] const char* readIntegerOfMoreDigits(std::int32_t& value) {
        if (const char* const behind = readPlainInteger(at_, value)) return behind;
        const char* const behind = fieldEnd();
        const double number = carefulReal(at_, behind);
        constexpr double kLeast = std::numeric_limits<std::int32_t>::min(),
                         kMax = std::numeric_limits<std::int32_t>::max();
        value = static_cast<std::int32_t>(std::clamp(number, kLeast, kMax));
        if (number < kLeast || number > kMax) noteTaken("is out of range", std::to_string(value));
        else if (number != std::trunc(number)) noteTaken("is not a whole number", std::to_string(value));
        return behind;
    }

    const char* readCharacter(char& value) {
        if (at_[0] > csv::kSeparator && at_[1] == csv::kSeparator) {
            value = at_[0];
            return at_ + 1;
        }
        const char* const behind = fieldEnd();
        const std::string_view text = withoutOuterBlanks({at_, behind});
        value = text.empty() ? ' ' : text.front();
        if (text.size() > 1) noteTaken("has more than one character", text.substr(0, 1));
        return behind;
    }

    /// Any number with blanks, a plus sign or another exponent letter; 0 for what is none.
    double carefulReal(const char* from, const char* to) {
        const std::string_view text = withoutOuterBlanks({from, to});
        double value = 0;
        if (!family::readreal(text, 0, value)) {
            noteTaken("is not a number", "0");
            return 0;
        }
        if (value == 0 && isTooSmall(text)) noteTaken("is too small", "0");
        else if (std::fabs(value) == std::numeric_limits<double>::max())
            noteTaken("is out of range", "the largest number");
        return value;
    }

    static constexpr std::string_view kZero = "0,", kZeroPair = "0:0,";
    bool isNext(std::string_view text) const { return std::memcmp(at_, text.data(), text.size()) == 0; }

    const char* fieldEnd() const { return std::find(at_, end_, csv::kSeparator); }

    /// In the date nothing is taken for something else: it is a bad one then.
    void noteTaken(std::string_view what, std::string_view as) {
        const bool ofDate = number_ >= csv::kFirstDateField && number_ <= csv::kLastDateField;
        dateIsSound_ = dateIsSound_ && !ofDate;
        if (!notes_ || ofDate) return;
        const std::string_view name = csv::kFields[number_ - 1].name;
        std::string text = "ReadCsv: Field " + std::to_string(number_) + " (";
        text.append(name).append(") ").append(what).append(" and is taken as ").append(as).append(".");
        notes_->push_back({as == "0" ? FieldNote::Kind::zeroed : FieldNote::Kind::altered, name, std::move(text)});
    }

    void noteFieldCount(std::size_t count) {
        if (!notes_ || count == csv::kFields.size()) return;
        const bool isShort = count < csv::kFields.size();
        notes_->push_back(
            {isShort ? FieldNote::Kind::zeroed : FieldNote::Kind::altered,
             {},
             "ReadCsv: The line has " + std::to_string(count) + " fields instead of " +
                 std::to_string(csv::kFields.size()) +
                 (isShort ? "; the missing ones are taken as 0." : "; the ones after these are ignored.")});
    }

    char text_[kCardLength + 1 + kDigitRun];
    const char* const end_;  ///< the separator that was put after the line
    const char* at_ = text_;
    std::size_t number_ = 0;  ///< of the field at hand, or read last; from 1
    bool dateIsSound_ = true;
    FieldNotes* notes_;
};

// --- From fields to the record --------------------------------------------------------------------

/// Puts the values that types with right ascension and declination have in the place of the others'.
void takeRaDec(const ObsFields& ofRaDec, ObsFields& fields) {
    forEachFieldOf<ObsFields>([&](auto field) {
        if constexpr (field.facts.meaning == Meaning::ofRaDec) field.in(fields) = field.in(ofRaDec);
    });
}

/// Puts a part there, or takes it away.
template <class T>
void setPart(Owned<T>& part, bool wanted, const T& value) {
    if (!wanted) part.release();
    else if (part) *part = value;
    else part.create() = value;
}

/// In bytes, which go sixteen at a time.
std::size_t countOf(char wanted, std::string_view text) {
    constexpr std::size_t kMostInByte = 240;
    std::size_t count = 0;
    for (std::size_t from = 0; from < text.size(); from += kMostInByte) {
        std::uint8_t some = 0;
        for (const char c : text.substr(from, kMostInByte)) some = static_cast<std::uint8_t>(some + (c == wanted));
        count += some;
    }
    return count;
}

bool anyNonZero(const ObsBiases& biases) {
    return std::any_of(biases.values.begin(), biases.values.end(), [](double value) { return value != 0; });
}

bool anyNonZero(const RfObsData& rfData) { return rfData.rangeSigmaM != 0 || rfData.rangeRateSigmaMs != 0; }

/// Throws std::bad_alloc.
MaybeRefusal readFields(std::string_view line, ObsRecord& rec, FieldNotes* notes) {
    if (!rec.csvData) rec.csvData.create();
    csv::TimeParts time;
    ObsFields ofRaDec(rec);  // any values will do, and a copy in wide pieces takes less time than zeros
    ObsBiases biases;
    RfObsData rfData;
    const bool dateIsSound = FieldWalk(line, notes).readAll({time, rec, rec, ofRaDec, *rec.csvData, biases, rfData});
    rec.obsTime = family::tcomps2utc(time.year, time.dayOfYear, time.hour, time.minute, time.seconds);
    // NOTE: 0 stands for a failed composition, so the midnight that has this time cannot be read.
    if (!dateIsSound || rec.obsTime == 0) return Refusal{"ReadCsv: Bad date time in CSV string", {}, 0, {}};
    setPart(rec.biases, anyNonZero(biases), biases);
    setPart(rec.rfData, anyNonZero(rfData), rfData);
    if (ObsHasRaDec(rec.obsType)) takeRaDec(ofRaDec, rec);
    rec.obsType = typeWithRange(rec.obsType, rec.range);
    rotateIfAsked(rec);
    return std::nullopt;
}

}  // namespace

bool IsCsvObs(const CardText& line) {
    constexpr std::size_t kColons = 2, kCommas = 55;
    const std::string_view text = line.text();
    return isClassification(line.at(1)) &&
           (countOf(csv::kPairSeparator, text) == kColons || countOf(csv::kSeparator, text) == kCommas);
}

MaybeRefusal ReadCsv(const CardText& line, ObsRecord& rec, FieldNotes* notes) {
    const std::string_view text = line.text();
    const std::size_t last = text.find_last_not_of(' ');
    if (last == std::string_view::npos) return Refusal{"ReadCsv: CSV string is blank", {}, 0, {}};
    try {
        return readFields(text.substr(0, last + 1), rec, notes);
    } catch (const std::bad_alloc&) { return Refusal{"ReadCsv: Can't allocate memory space for CSV data", {}, 0, {}}; }
}

}  // namespace obs
