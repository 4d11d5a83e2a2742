// SPDX-License-Identifier: Apache-2.0
/// Decks of observations made up for measuring and for the example: tracks of one sensor
/// and one satellite, a few looks some seconds apart, spread over one year. The same options
/// give the same bytes everywhere, so that figures taken on different machines compare.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace deck {

inline constexpr std::int64_t kMsPerDay = 86400000;

/// A small permuted-congruential generator (64-bit state, 32-bit output). The standard library's
/// distributions differ between implementations; these do not.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15u + 1) { next(); }

    std::uint32_t next() {
        const std::uint64_t old = state_;
        state_ = old * 6364136223846793005u + 1442695040888963407u;
        const auto mixed = static_cast<std::uint32_t>(((old >> 18) ^ old) >> 27);
        const auto turn = static_cast<std::uint32_t>(old >> 59);
        return (mixed >> turn) | (mixed << ((32 - turn) & 31));
    }
    /// 0 to n-1.
    std::size_t below(std::size_t n) { return static_cast<std::size_t>((std::uint64_t{next()} * n) >> 32); }
    /// 0 to n-1, low numbers far more often: the square of an even draw.
    std::size_t skewedBelow(std::size_t n) {
        const std::uint64_t u = next();
        return static_cast<std::size_t>((((u * u) >> 32) * n) >> 32);
    }
    int between(int low, int high) { return low + static_cast<int>(below(static_cast<std::size_t>(high - low + 1))); }
    bool chance(double share) { return next() < share * 4294967296.0; }

private:
    std::uint64_t state_;
};

enum class Order {
    time,    ///< by time
    track,   ///< track after track, the tracks in no order
    random,  ///< shuffled
};

enum class Form {
    b3,     ///< B3 cards, and B3E cards for the looks that ask for them
    tty,    ///< messages of one or two cards, which carry no year and no second indicator
    csv,    ///< carries everything
    rf,     ///< time, satellite, range and range rate, as type 13 from one of the built-in sites
    mixed,  ///< the four in turn, track by track
};

struct Options {
    std::size_t n = 1000000;
    Order order = Order::time;
    Form form = Form::b3;
    double duplicates = 0;  ///< share of observations that repeat an earlier one
    double damaged = 0;     ///< share of observations that no reader may accept
    double b3e = 0;         ///< share of the type 5 tracks that are B3E cards, or as fine as those
    double equinox = 0;     ///< share of the right-ascension tracks with an equinox digit of 1 to 3
    std::uint64_t seed = 1;
    int year = 2024;
};

/// One look of a track; the values are the integers that stand on a card.
struct Look {
    int track = 0;
    std::int64_t msOfYear = 0;
    int sat = 0, sen = 0, type = 0;
    int elevation = 0;       ///< or declination, 1e-4 degrees
    int azimuth = 0;         ///< 1e-4 degrees
    int rightAscension = 0;  ///< tenths of a second of time
    int mantissa = 0, exponent = 0;
    int rangeRate = 0;            ///< 1e-5 km/s
    std::array<int, 3> rates{};   ///< 1e-4 of degrees/s, degrees/s, km/s2
    std::array<int, 3> senPos{};  ///< metres
    int indicator = 0, equinox = 0;
    bool withRange = false;  ///< on cards that carry a sensor position
    bool asB3e = false;
    std::uint32_t fine = 0;  ///< B3E: the digits after those of a B3 card; RF: what no card has
};

std::vector<Look> makeLooks(const Options& options);

/// The form of a look in a deck: of a mixed deck, the one whose turn it is.
Form formOf(const Look& look, Form ofDeck);

/// What a deck begins with: the year of TTY messages, the heading of RF lines. Whole lines or none.
std::string header(Form form, int year);

/// A look in one of the four forms, without the end of the last line; TTY messages may have two. TTY cards and RF
/// lines take what they can hold: the former no digit beyond a B3 card's, the latter neither angles nor sensor.
std::string message(const Look& look, Form form, int year);

/// Puts text in the place of some fields of a CSV line, counted from 1.
void setCsvFields(std::string& line, int first, int count, std::string_view text);

/// Spoils a message in one of two ways, both refused by every reader.
void damage(std::string& message, Form form, Random& random);

/// Writes a whole deck. The caller looks at the stream's error flag.
void writeDeck(const Options& options, std::FILE* file);

/// Writes deck.txt and include.txt, the examples, into a directory and says on standard
/// output what they hold.
/// @return false, with errno set, when a file cannot be written.
bool writeExample(const std::string& directory);

}  // namespace deck
