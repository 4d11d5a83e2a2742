/// Decks of observation cards made up for measuring and for the example: tracks of one sensor
/// and one satellite, a few looks some seconds apart, spread over one year. The same options
/// give the same bytes everywhere, so that figures taken on different machines compare.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace deck {

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
    int between(int low, int high) {
        return low + static_cast<int>(below(static_cast<std::size_t>(high - low + 1)));
    }
    bool chance(double share) { return next() < share * 4294967296.0; }

private:
    std::uint64_t state_;
};

enum class Order {
    time,    ///< by time
    track,   ///< track after track, the tracks in no order
    random,  ///< shuffled
};

struct Options {
    std::size_t n = 1000000;
    Order order = Order::time;
    double duplicates = 0;  ///< share of cards that repeat an earlier one
    double damaged = 0;     ///< share of cards that no reader may accept
    double b3e = 0;         ///< share of the type 5 tracks written as B3E cards
    double equinox = 0;     ///< share of the right-ascension tracks with an equinox digit of 1 to 3
    std::uint64_t seed = 1;
    int year = 2024;
};

/// One look of a track; the values are the integers that stand on the card.
struct Look {
    std::int64_t msOfYear = 0;
    int sat = 0, sen = 0, type = 0;
    int elevation = 0;       ///< or declination, 1e-4 degrees
    int azimuth = 0;         ///< 1e-4 degrees
    int rightAscension = 0;  ///< tenths of a second of time
    int mantissa = 0, exponent = 0;
    int rangeRate = 0;             ///< 1e-5 km/s
    std::array<int, 3> rates{};    ///< 1e-4 of degrees/s, degrees/s, km/s2
    std::array<int, 3> senPos{};   ///< metres
    int indicator = 0, equinox = 0;
    bool withRange = false;        ///< on cards that carry a sensor position
    bool asB3e = false;
    std::uint32_t fine = 0;        ///< the digits that only a B3E card holds
};

std::vector<Look> makeLooks(const Options& options);

/// The card of a look, 90 columns without line end: B3E when the look says so, else B3.
std::string card(const Look& look, int year);

/// Spoils a card in one of two ways, both refused by every reader: a letter in the azimuth
/// columns or an impossible day.
void damage(std::string& card, Random& random);

/// Writes a whole deck, one card a line. The caller looks at the stream's error flag.
void writeDeck(const Options& options, std::FILE* file);

/// Writes deck.txt and include.txt, the examples, into a directory and says on standard
/// output what they hold.
/// @return false, with errno set, when a file cannot be written.
bool writeExample(const std::string& directory);

}  // namespace deck
