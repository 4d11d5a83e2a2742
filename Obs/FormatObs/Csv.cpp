// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/Csv.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "Obs/CardLayouts/B3.h"
#include "Obs/CardLayouts/Csv.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// No number takes more: a double in its shortest form.
constexpr std::size_t kLongestNumber = 24;
constexpr std::size_t kLongestField = 2 * kLongestNumber + 2;

/// The nearest integer to a number from 0 on. What hangs on it is tried before it is used, so the last bit of the
/// sum does not matter.
std::int64_t nearest(double value) {
    const double raised = value + 0.5;
    return static_cast<std::int64_t>(raised);
}

char* putShortest(char* out, double value) { return std::to_chars(out, out + kLongestNumber, value).ptr; }

// --- The time ---------------------------------------------------------------------------------------

constexpr double kSecondsPerDay = 86400;
constexpr std::int32_t kMinutesPerDay = 1440;

/// Finds the parts that a reader composes to the bits of a time, with the fewest decimals of the second.
class TimeSplit {
public:
    explicit TimeSplit(double timeDs50) : time_(timeDs50), day_(std::floor(timeDs50)) {}

    /// False for a time outside the years 1 to 9999.
    bool find(csv::TimeParts& line) {
        constexpr double kBeyondAnyYear = 1e7;
        if (!(std::fabs(time_) < kBeyondAnyYear) || !setDay(day_, line)) return false;
        setMinute((time_ - day_) * kSecondsPerDay);
        if (hitsTick(kMilliseconds, 0, line) || hitsSomeTick(line) || hitsDouble(line)) return true;
        // Within two days of 1950 day 0 a time can be finer than the day gone tells, but not than the rest of the day.
        TimeSplit fromNextDay(*this);
        fromNextDay.minuteOfDay_ = 0;
        fromNextDay.second_ = (time_ - (day_ + 1)) * kSecondsPerDay;
        csv::TimeParts back;
        if (!setDay(day_ + 1, back)) return true;
        // NOTE: some times within half a day of 1950 day 0 (31 December 1949, 0h) have no parts that compose to the
        // last bit: hours, minutes and seconds are summed before they are divided. These are written as near as can be.
        if (fromNextDay.hitsDouble(back) || std::fabs(composed(back) - time_) < std::fabs(composed(line) - time_))
            line = back;
        return true;
    }

private:
    static constexpr std::size_t kFinestTick = 13;
    static constexpr auto kTicksPerSecond = [] {
        std::array<std::int64_t, kFinestTick + 1> ticks{1};
        for (std::size_t decimals = 1; decimals <= kFinestTick; ++decimals) ticks[decimals] = 10 * ticks[decimals - 1];
        return ticks;
    }();
    static constexpr std::size_t kMilliseconds = 3;

    static double composed(const csv::TimeParts& line) {
        return family::parts2utc(line.year, line.dayOfYear, line.hour, line.minute, line.seconds);
    }

    static bool setDay(double day, csv::TimeParts& line) {
        double dayOfYear = 0;
        family::fyklok(day, dayOfYear, line.year);
        if (line.year == 0) return false;
        line.dayOfYear = static_cast<std::int32_t>(dayOfYear);
        return true;
    }

    void setMinute(double secondOfDay) {
        minuteOfDay_ = static_cast<std::int32_t>(secondOfDay / 60);
        second_ = secondOfDay - 60.0 * minuteOfDay_;
    }

    static void setClock(std::int32_t minuteOfDay, double seconds, csv::TimeParts& line) {
        line.hour = minuteOfDay / 60;
        line.minute = minuteOfDay % 60;
        line.seconds = seconds;
    }

    /// Takes the tick nearest to the time, or one `apart` from it, when it composes to the time.
    bool hitsTick(std::size_t decimals, int apart, csv::TimeParts& line) const {
        const std::int64_t perSecond = kTicksPerSecond[decimals];
        std::int64_t count = nearest(second_ * static_cast<double>(perSecond)) + apart;
        csv::TimeParts tried = line;
        std::int32_t minute = minuteOfDay_;
        if (count >= 60 * perSecond) {  // never a second of 60
            count = 0;
            if (++minute == kMinutesPerDay) {
                minute = 0;
                if (!setDay(day_ + 1, tried)) return false;
            }
        }
        setClock(minute, static_cast<double>(count) / static_cast<double>(perSecond), tried);
        if (count < 0 || composed(tried) != time_) return false;
        line = tried;
        return true;
    }

    /// Goes to finer and finer ticks and tries those that lie near enough.
    bool hitsSomeTick(csv::TimeParts& line) const {
        constexpr double kRoundingS = 5e-11;  // above that of the second, and of its composition
        const double size = std::fabs(time_);
        const double reachS = (std::nextafter(size, kInfinity) - size) * kSecondsPerDay + kRoundingS;
        for (std::size_t decimals = kMilliseconds + 1; decimals <= kFinestTick; ++decimals) {
            const auto perSecond = static_cast<double>(kTicksPerSecond[decimals]);
            const double exact = second_ * perSecond;
            const double aside = std::floor(exact + 0.5) - exact;
            for (const int apart : {0, -1, 1, -2, 2})
                if (std::fabs(aside + apart) <= reachS * perSecond && hitsTick(decimals, apart, line)) return true;
        }
        return false;
    }

    /// Takes, of the doubles around the second, the one with the shortest text that composes to the time. Sets the
    /// clock to the nearest one in any case.
    bool hitsDouble(csv::TimeParts& line) const {
        constexpr int kTriedEachWay = 8;
        setClock(minuteOfDay_, second_, line);
        csv::TimeParts tried = line;
        for (int i = 0; i < kTriedEachWay; ++i) tried.seconds = std::nextafter(tried.seconds, -kInfinity);
        std::ptrdiff_t shortest = kLongestNumber + 1;
        for (int i = 0; i < 2 * kTriedEachWay; ++i) {
            tried.seconds = std::nextafter(tried.seconds, kInfinity);
            char text[kLongestNumber];
            const std::ptrdiff_t length = putShortest(text, tried.seconds) - text;
            if (length >= shortest || composed(tried) != time_) continue;
            shortest = length;
            line.seconds = tried.seconds;
        }
        return shortest <= static_cast<std::ptrdiff_t>(kLongestNumber);
    }

    double time_;
    double day_;
    std::int32_t minuteOfDay_ = 0;
    double second_ = 0;  ///< of the minute
};

// --- Numbers ------------------------------------------------------------------------------------------

char* putInteger(char* out, std::int32_t value) {
    if (value >= 0 && value <= 9) {
        *out = static_cast<char>('0' + value);
        return out + 1;
    }
    return std::to_chars(out, out + kLongestNumber, value).ptr;
}

/// count / 10^decimals, without trailing zeros.
char* putDecimal(char* out, std::int64_t count, int decimals) {
    for (; decimals > 0 && count % 10 == 0; --decimals) count /= 10;
    char digits[2 * kLongestNumber] = {};
    const std::ptrdiff_t all = std::to_chars(digits, digits + kLongestNumber, count).ptr - digits;
    const std::ptrdiff_t whole = std::max<std::ptrdiff_t>(all - decimals, 0);  // of them, before the point
    if (whole == 0) *out++ = '0';
    // Copied with what is behind them: a fixed number of characters is no call.
    std::memcpy(out, digits, kLongestNumber);
    out += whole;
    if (decimals == 0) return out;
    *out++ = '.';
    for (std::ptrdiff_t zeros = decimals - (all - whole); zeros > 0; --zeros) *out++ = '0';
    std::memcpy(out, digits + whole, kLongestNumber);
    return out + (all - whole);
}

/// The shortest text that reads back to a finite value; plain notation where no exponent makes it shorter.
char* putReal(char* out, double value) {
    if (value == 0) {
        *out = '0';
        return out + 1;
    }
    // Up to 15 digits read back from no other number, so what gives the value back is its shortest text. The
    // limits keep away from numbers that an exponent makes shorter.
    const double size = std::fabs(value);
    if (size >= 1e-3 && size < 1e5) {
        struct Tried {
            double power;
            int decimals;
        };
        for (const Tried tried : {Tried{1e5, 5}, Tried{1e10, 10}}) {
            const std::int64_t count = nearest(size * tried.power);
            if (static_cast<double>(count) / tried.power != size) continue;
            if (value < 0) *out++ = '-';
            return putDecimal(out, count, tried.decimals);
        }
    }
    return putShortest(out, value);
}

/// Rounded to that many significant digits; the value itself where that leaves the range of a double.
double roundedTo(int digits, double value) {
    char text[kLongestNumber + 8];
    const char* const end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, digits - 1).ptr;
    double result = value;
    std::from_chars(text, end, result);
    return result;
}

// --- The line --------------------------------------------------------------------------------------------

constexpr int kAllDigits = 17;

/// Text of all fields in memory that holds the longest.
class LineText {
public:
    /// False when a value has no text.
    bool write(const csv::Owners<false>& owners, int digits) {
        digits_ = digits;
        good_ = true;
        char* out = text_;  // not a member: any character that is written might change one
        csv::forEachField([&](auto field) {
            out = put(field, owners, out);
            *out++ = csv::kSeparator;
        });
        length_ = static_cast<std::size_t>(out - text_) - 1;
        return good_;
    }

    std::size_t length() const { return length_; }
    const char* text() const { return text_; }

private:
    // These give the end of what they have put.
    template <class Field>
    char* put(Field field, const csv::Owners<false>& owners, char* out) {
        if constexpr (field.kind == csv::Kind::exactReal) out = putReal(out, field.in(owners));
        else if constexpr (field.kind == csv::Kind::integer) out = putInteger(out, field.in(owners));
        else if constexpr (field.kind == csv::Kind::character) out = putCharacter(out, field.in(owners));
        else out = putRounded(out, field.in(owners));
        if constexpr (field.kind == csv::Kind::realPair) {
            *out++ = csv::kPairSeparator;
            out = putRounded(out, field.secondIn(owners));
        }
        return out;
    }

    char* putRounded(char* out, double value) {
        // Most fields of most lines; looked for here, where it costs no call.
        if (value != 0) return putRoundedNotZero(out, value);
        *out = '0';
        return out + 1;
    }

    [[gnu::noinline]] char* putRoundedNotZero(char* out, double value) {
        good_ = good_ && std::isfinite(value);
        return good_ ? putReal(out, digits_ == kAllDigits ? value : roundedTo(digits_, value)) : out;
    }

    char* putCharacter(char* out, char value) {
        const auto code = static_cast<unsigned char>(value);
        good_ = good_ && code >= ' ' && code != 0x7f && value != csv::kSeparator;
        if (out == text_ + b3::kObsType.offset() && upperCase(value) == 'V') out = lengthenNumberBefore(out);
        if (value != ' ') *out++ = value;  // a blank is an empty field
        return out;
    }

    /// NOTE: a "V" in the column of a card's type would make the line a position-and-velocity card, so the
    /// integer before it gets a zero that means nothing.
    static char* lengthenNumberBefore(char* out) {
        char* at = out - 1;
        while (isDigit(at[-1])) --at;
        std::memmove(at + 1, at, static_cast<std::size_t>(out - at));
        *at = '0';
        return out + 1;
    }

    char text_[csv::kFieldCount * kLongestField];
    std::size_t length_ = 0;
    int digits_ = kAllDigits;
    bool good_ = true;
};

/// A part, or what stands for an absent one.
template <class T>
const T& partOr(const Owned<T>& part, const T& absent) {
    return part ? *part : absent;
}

constexpr CsvObsData kNoCsvData{};
constexpr ObsBiases kNoBiases{};
constexpr RfObsData kNoRfData{};

}  // namespace

MaybeRefusal CreateCsvObs(const ObsRecord& rec, CardLines& lines) {
    lines.length = {};
    if (rec.obsType == kTypePositionVelocity)
        return Refusal{"CreateCsvObs: Error - CSV format doesn't support type 7 obs.", {}, 0, {}};
    const Refusal notConstructed{"CreateCsvObs: Error - Unable to construct CSV card.", {}, 0, {}};
    csv::TimeParts time;
    if (!TimeSplit(rec.obsTime).find(time)) return notConstructed;
    const bool raDec = ObsHasRaDec(rec.obsType);
    const csv::Owners<false> owners{time,
                                    rec,
                                    raDec ? kDefaultFields : rec,
                                    raDec ? rec : kDefaultFields,
                                    partOr(rec.csvData, kNoCsvData),
                                    partOr(rec.biases, kNoBiases),
                                    partOr(rec.rfData, kNoRfData)};
    LineText text;
    for (int digits = kAllDigits; digits >= csv::kFewestDigits; --digits) {
        if (!text.write(owners, digits)) break;
        if (text.length() > kCardLength) continue;
        lines.length[0] = text.length();
        std::memcpy(lines.text[0], text.text(), text.length());
        return std::nullopt;
    }
    return notConstructed;
}

void finenessOfCsv(Elements& elements) {
    elements.putAsTheyAre<&ObsFields::obsTime>();
    forEachField([&](auto field) {
        if constexpr (field.facts.csv != 0 && field.facts.element != kNoElement)
            if (!field.isComponent || kSensorPositionTypes.has(elements.type()))
                elements.putElement(field.facts.element, field.isReal ? toDigits(csv::kFewestDigits) : toUnit(0));
    });
}

}  // namespace obs
