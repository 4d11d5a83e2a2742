// SPDX-License-Identifier: Apache-2.0
// Makes decks of observations: see --help.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "tools/deck/Deck.h"

namespace {

constexpr const char* kHelp =
    "make_deck [options] > FILE     a deck of observations on standard output\n"
    "make_deck --example DIR        the example files deck.txt and include.txt\n"
    "  --n N                  observations (1000000)\n"
    "  --form b3|tty|csv|rf|mixed\n"
    "                         B3 cards (the default), TTY messages, CSV lines, RF lines, or these in turn, track\n"
    "                         by track; a deck has the same observations in every form, as far as the form goes\n"
    "  --order time|track|random\n"
    "                         by time (the default), track after track, or shuffled\n"
    "  --dups SHARE           share of observations that repeat an earlier one (0)\n"
    "  --bad SHARE            share of damaged observations (0)\n"
    "  --b3e SHARE            share of type 5 tracks as B3E cards (0)\n"
    "  --equinox SHARE        share of right-ascension tracks with an equinox digit (0)\n"
    "  --seed N               another deck of the same kind (1)\n"
    "  --year N               year of the observations (2024)\n"
    "The same options give the same bytes on every machine.\n";

std::optional<double> share(const char* text) {
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    if (end == text || *end != '\0' || !(value >= 0 && value <= 1)) return std::nullopt;
    return value;
}

std::optional<unsigned long long> number(const char* text) {
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(text, &end, 10);
    if (end == text || *end != '\0' || *text == '-' || errno != 0) return std::nullopt;
    return value;
}

std::optional<deck::Order> order(std::string_view text) {
    if (text == "time") return deck::Order::time;
    if (text == "track") return deck::Order::track;
    if (text == "random") return deck::Order::random;
    return std::nullopt;
}

std::optional<deck::Form> form(std::string_view text) {
    if (text == "b3") return deck::Form::b3;
    if (text == "tty") return deck::Form::tty;
    if (text == "csv") return deck::Form::csv;
    if (text == "rf") return deck::Form::rf;
    if (text == "mixed") return deck::Form::mixed;
    return std::nullopt;
}

template <class Target, class Value>
bool take(Target& target, std::optional<Value> value) {
    if (value) target = static_cast<Target>(*value);
    return value.has_value();
}

bool setOption(deck::Options& options, std::string_view name, const char* value) {
    if (name == "--n") return take(options.n, number(value)) && options.n < 0xFFFFFFFFu;
    if (name == "--order") return take(options.order, order(value));
    if (name == "--form") return take(options.form, form(value));
    if (name == "--dups") return take(options.duplicates, share(value));
    if (name == "--bad") return take(options.damaged, share(value));
    if (name == "--b3e") return take(options.b3e, share(value));
    if (name == "--equinox") return take(options.equinox, share(value));
    if (name == "--seed") return take(options.seed, number(value));
    if (name == "--year") return take(options.year, number(value)) && options.year >= 1957 && options.year <= 2056;
    return false;
}

int failed(const char* what) {
    std::fprintf(stderr, "make_deck: %s: %s\n", what, std::strerror(errno));
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    deck::Options options;
    for (int i = 1; i < argc; i += 2) {
        const std::string_view name = argv[i];
        if (name == "--help") return std::fputs(kHelp, stdout), 0;
        const char* const value = i + 1 < argc ? argv[i + 1] : "";
        if (name == "--example" && argc == 3) return deck::writeExample(value) ? 0 : failed(value);
        if (!setOption(options, name, value)) {
            std::fprintf(stderr, "make_deck: cannot use %s %s\n%s", argv[i], value, kHelp);
            return 2;
        }
    }
    deck::writeDeck(options, stdout);
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? 0 : failed("standard output");
}
