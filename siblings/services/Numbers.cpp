// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "siblings/include/Services.h"

namespace family {
namespace {

constexpr bool isBlank(int c) { return c == ' '; }  // a tab on a card is a fault
constexpr bool isDigit(int c) { return c >= '0' && c <= '9'; }

/// Walks a text past its blanks.
class Cursor {
public:
    explicit Cursor(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}
    /// The character here, -1 at the end.
    int here() {
        while (at_ != end_ && isBlank(*at_)) { ++at_; }
        return at_ == end_ ? -1 : static_cast<unsigned char>(*at_);
    }
    int next() {
        ++at_;
        return here();
    }

private:
    const char* at_;
    const char* end_;
};

constexpr int kMaxDigits = 1000;        ///< twice an exchanged text
constexpr int kSignificantKept = 19;    ///< decimal digits that 64 bits always hold
constexpr int kLargestExponent = 9999;  ///< beyond any real, so a longer one may stop there

/// Powers of ten that a double holds exactly.
constexpr std::array kPowersOfTen{1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                  1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr auto kLargestExactPower = static_cast<int>(kPowersOfTen.size()) - 1;
constexpr std::uint64_t kLargestExactInteger = std::uint64_t{1} << std::numeric_limits<double>::digits;

/// A decimal number taken apart, with a blank-free copy of its digits and point.
struct Decimal {
    char copy[kMaxDigits + 24];  ///< the last few for point and exponent
    int length = 0;
    std::uint64_t leading = 0;  ///< the first significant digits
    int leadingDigits = 0;
    int exponent = 0;   ///< power of ten of `leading`
    int written = 0;    ///< power of ten of the copy
    bool exact = true;  ///< `leading` holds all digits
    bool negative = false;
    bool plain = true;  ///< neither point nor exponent

    void addDigit(int c, bool afterPoint) {
        copy[length++] = static_cast<char>(c);
        if (leadingDigits < kSignificantKept) {
            leading = 10 * leading + static_cast<std::uint64_t>(c - '0');
            leadingDigits += leading != 0 ? 1 : 0;
            exponent -= afterPoint ? 1 : 0;
        } else {
            exact = false;
            exponent += afterPoint ? 0 : 1;
        }
    }

    void scale(int power) {
        exponent += power;
        written += power;
    }
};

/// Sign, digits and point; false when there is no digit or are too many.
bool scanDigits(Cursor& cursor, Decimal& number) {
    int c = cursor.here();
    if (c == '+' || c == '-') {
        number.negative = c == '-';
        c = cursor.next();
    }
    int digits = 0;
    bool point = false;
    for (; isDigit(c) || (c == '.' && !point); c = cursor.next()) {
        if (c == '.') {
            point = true;
            number.plain = false;
            number.copy[number.length++] = '.';
        } else if (digits++ < kMaxDigits) {
            number.addDigit(c, point);
        }
    }
    return digits > 0 && digits <= kMaxDigits;
}

bool scanExponent(Cursor& cursor, Decimal& number) {
    int c = cursor.here();
    if (c < 0) { return true; }
    if (c != 'E' && c != 'e' && c != 'D' && c != 'd') { return false; }
    number.plain = false;
    c = cursor.next();
    const bool negative = c == '-';
    if (c == '+' || c == '-') { c = cursor.next(); }
    if (!isDigit(c)) { return false; }
    int power = 0;
    for (; isDigit(c); c = cursor.next()) { power = std::min(10 * power + (c - '0'), kLargestExponent); }
    number.scale(negative ? -power : power);
    return c < 0;
}

/// An exact integer times or over an exact power of ten is rounded once, so correctly.
double scaled(std::uint64_t digits, int power) {
    const double powerOfTen = kPowersOfTen[static_cast<std::size_t>(std::abs(power))];
    const auto integer = static_cast<double>(digits);
    return power < 0 ? integer / powerOfTen : integer * powerOfTen;
}

/// Sign, a few digits and a point without blanks, as most fields are: the same result as
/// the full reader in a third of the time. False leaves everything to that one.
bool readShort(std::string_view text, int impliedDecimals, double& value) {
    constexpr std::size_t kMaxColumns = 16;
    const bool negative = !text.empty() && text.front() == '-';
    text.remove_prefix(negative ? 1 : 0);
    if (text.size() > kMaxColumns || impliedDecimals < 0 || impliedDecimals > kLargestExactPower) { return false; }
    std::uint64_t digits = 0;
    std::size_t count = 0, beforePoint = std::string_view::npos;
    for (const char c : text) {
        if (isDigit(c)) {
            digits = 10 * digits + static_cast<std::uint64_t>(c - '0');
            ++count;
        } else if (c == '.' && beforePoint == std::string_view::npos) {
            beforePoint = count;
        } else {
            return false;
        }
    }
    if (count == 0 || digits > kLargestExactInteger) { return false; }
    const int decimals =
        beforePoint == std::string_view::npos ? impliedDecimals : static_cast<int>(count - beforePoint);
    value = scaled(digits, -decimals);
    value = negative ? -value : value;
    return true;
}

/// Correctly rounded magnitude.
double magnitude(Decimal& number) {
    if (number.leading == 0) { return 0; }
    if (number.exact && number.leading <= kLargestExactInteger && std::abs(number.exponent) <= kLargestExactPower) {
        return scaled(number.leading, number.exponent);
    }
    number.copy[number.length++] = 'e';
    const auto written = std::to_chars(number.copy + number.length, std::end(number.copy), number.written);
    double value = 0;
    if (std::from_chars(number.copy, written.ptr, value).ec == std::errc::result_out_of_range) {
        return number.leadingDigits + number.exponent > 0 ? std::numeric_limits<double>::max() : 0.0;
    }
    return value;
}

constexpr std::uint8_t kNoDigit = 0xff;
constexpr std::string_view kAlpha5Letters = "ABCDEFGHJKLMNPQRSTUVWXYZ";
constexpr std::int32_t kLargestAlpha5 = 339999;

constexpr auto kAlpha5Values = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(kNoDigit);
    for (unsigned i = 0; i < 10; ++i) { values['0' + i] = static_cast<std::uint8_t>(i); }
    for (std::size_t i = 0; i < kAlpha5Letters.size(); ++i) {
        const auto letter = static_cast<unsigned char>(kAlpha5Letters[i]);
        values[letter] = values[letter - 'A' + std::size_t{'a'}] = static_cast<std::uint8_t>(10 + i);
    }
    return values;
}();

constexpr std::uint32_t alpha5Value(char c) { return kAlpha5Values[static_cast<unsigned char>(c)]; }

/// Five columns without a blank, as nearly every card has them.
bool readFullAlpha5(const char* text, std::int32_t& number) {
    const std::uint32_t lead = alpha5Value(text[0]);
    std::uint32_t rest = 0;
    bool good = lead != kNoDigit;
    for (int i = 1; i < 5; ++i) {
        const std::uint32_t value = static_cast<unsigned char>(text[i]) - std::uint32_t{'0'};
        good &= value <= 9;
        rest = 10 * rest + value;
    }
    number = good ? static_cast<std::int32_t>(10000 * lead + rest) : 0;
    return good;
}

/// A number written with blanks, or plain digits of another width.
bool readSparseAlpha5(std::string_view text, std::int32_t& number) {
    constexpr std::size_t kMaxColumns = 10;  // of a 32-bit integer
    char kept[kMaxColumns];
    std::size_t length = 0;
    for (const char c : text) {
        if (isBlank(c)) { continue; }
        if (length == kMaxColumns) { return false; }
        kept[length++] = c;
    }
    if (length == 5) { return readFullAlpha5(kept, number); }
    std::int64_t value = 0;
    for (std::size_t i = 0; i < length; ++i) {
        if (!isDigit(kept[i])) { return false; }
        value = 10 * value + (kept[i] - '0');
    }
    if (value > std::numeric_limits<std::int32_t>::max()) { return false; }
    number = static_cast<std::int32_t>(value);
    return true;
}

inline void putTwo(char* text, std::uint32_t value) {
    text[0] = static_cast<char>('0' + value / 10);
    text[1] = static_cast<char>('0' + value % 10);
}

}  // namespace

bool readreal(std::string_view text, int impliedDecimals, double& value) {
    if (readShort(text, impliedDecimals, value)) { return true; }
    value = 0;
    Cursor cursor(text);
    if (cursor.here() < 0) { return true; }
    Decimal number;
    if (!scanDigits(cursor, number) || !scanExponent(cursor, number)) { return false; }
    if (number.plain) { number.scale(-impliedDecimals); }
    value = magnitude(number);
    value = number.negative ? -value : value;
    return true;
}

double strtoreal(std::string_view text) {
    double value = 0;
    readreal(text, 0, value);
    return value;
}

std::int32_t strtoint(std::string_view text) {
    using Limits = std::numeric_limits<std::int32_t>;
    const double value = strtoreal(text);
    return static_cast<std::int32_t>(std::clamp<double>(value, Limits::min(), Limits::max()));
}

bool readalpha5(std::string_view text, std::int32_t& number) {
    number = 0;
    return text.size() == 5 && readFullAlpha5(text.data(), number) ? true : readSparseAlpha5(text, number);
}

std::int32_t alpha5tonum(std::string_view text) {
    std::int32_t number = 0;
    readalpha5(text, number);
    return number;
}

void numtoalpha5(std::int32_t number, char text[5]) {
    if (number < 0 || number > kLargestAlpha5) {
        std::memset(text, '*', 5);
        return;
    }
    const auto value = static_cast<std::uint32_t>(number);
    const std::uint32_t lead = value / 10000;
    const std::uint32_t rest = value % 10000;
    text[0] = lead < 10 ? static_cast<char>('0' + lead) : kAlpha5Letters[lead - 10];
    putTwo(text + 1, rest / 100);
    putTwo(text + 3, rest % 100);
}

void degtohhmmsss_str(double degrees, char text[7]) {
    if (!std::isfinite(degrees)) {
        std::memset(text, '*', 7);
        return;
    }
    constexpr double kTenthsPerDegree = 2400;
    constexpr std::uint32_t kTenthsPerDay = 864000;
    if (!(degrees >= 0 && degrees < 360)) {
        degrees = std::fmod(degrees, 360);
        degrees += degrees < 0 ? 360 : 0;
    }
    const double exact = degrees * kTenthsPerDegree;
    auto tenths = static_cast<std::uint32_t>(exact);
    tenths += exact - tenths >= 0.5 ? 1 : 0;
    tenths = tenths >= kTenthsPerDay ? 0 : tenths;
    const std::uint32_t seconds = tenths / 10;
    putTwo(text, seconds / 3600);
    putTwo(text + 2, seconds / 60 % 60);
    putTwo(text + 4, seconds % 60);
    text[6] = static_cast<char>('0' + tenths % 10);
}

bool eqr(double a, double b) {
    if (a == b) { return true; }
    if (a == 0 || b == 0 || !std::isfinite(a) || !std::isfinite(b)) { return false; }
    constexpr std::uint64_t kExponentBits = std::uint64_t{0x7ff} << 52;
    const double larger = std::max(std::fabs(a), std::fabs(b));
    const auto powerOfTwo = std::bit_cast<double>(std::bit_cast<std::uint64_t>(larger) & kExponentBits);
    const double lastPlace =
        std::max(powerOfTwo * std::numeric_limits<double>::epsilon(), std::numeric_limits<double>::denorm_min());
    return std::fabs(a - b) <= 4 * lastPlace;
}

bool neqr(double a, double b) { return !eqr(a, b); }

}  // namespace family
