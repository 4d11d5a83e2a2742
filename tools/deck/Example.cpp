// The example: a small deck with everything a load meets in practice, good and bad.
#include <cerrno>
#include <cstdio>
#include <iterator>

#include "tools/deck/Deck.h"

namespace deck {

namespace {

constexpr std::size_t kMainCards = 3000, kIncludeCards = 300;
constexpr std::uint64_t kSeed = 1957;

std::string letterInAzimuth(Look look, int year) {
    std::string text = card(look, year);
    text[33] = 'X';
    return text;
}

std::string impossibleDay(Look look, int year) {
    look.asB3e = false;
    return card(look, year).replace(11, 3, "367");
}

std::string hourOf24(Look look, int year) {
    look.asB3e = false;
    return card(look, year).replace(14, 2, "24");
}

std::string noSatellite(Look look, int year) {
    look.sat = 0;
    return card(look, year);
}

std::string b3eOfAnotherType(Look look, int year) {
    look.type = 2;
    look.asB3e = true;
    return card(look, year);
}

std::string nulByte(Look look, int year) {
    std::string text = card(look, year);
    text[33] = '\0';
    return text;
}

std::string notAscii(Look look, int year) {
    std::string text = card(look, year);
    text[33] = '\xE9';
    return text;
}

/// Without its type column a B3 card is not known for one; a cut B3E card would be.
std::string cutOff(Look look, int year) {
    look.asB3e = false;
    return card(look, year).substr(0, 40);
}

std::string plainText(Look, int) { return "Up to here the passes of the first watch."; }

/// Ways to spoil a card. Those from `cutOff` on leave a line that is no observation at all.
constexpr std::string (*kSpoilers[])(Look, int) = {letterInAzimuth, impossibleDay, hourOf24,
                                                   noSatellite,     b3eOfAnotherType, nulByte,
                                                   notAscii,        cutOff,        plainText};
constexpr std::size_t kRefusedSpoilers = 7;

struct Counts {
    std::size_t good = 0, duplicate = 0, bad = 0, skipped = 0;
};

/// The card lines in order of time, every hundredth followed by a spoilt one and about two in
/// a hundred repeated some lines later.
std::vector<std::string> cardLines(Options options, Counts& counts) {
    Random random{options.seed};
    std::vector<std::string> good, lines;
    for (const Look& look : makeLooks(options)) {
        const std::string text = card(look, options.year);
        const std::size_t count = good.size();
        good.push_back(text);
        if (count % 250 == 100) lines.push_back(text + "\r");
        else if (count % 1000 == 500) lines.push_back(text + std::string(470, ' ') + "beyond column 512");
        else lines.push_back(text);
        if (count % 100 == 50) {
            const std::size_t kind = count / 100 % std::size(kSpoilers);
            lines.push_back(kSpoilers[kind](look, options.year));
            ++(kind < kRefusedSpoilers ? counts.bad : counts.skipped);
        }
        if (random.chance(0.02)) {
            lines.push_back(good[random.below(good.size())]);
            ++counts.duplicate;
        }
    }
    counts.good = good.size();
    return lines;
}

bool writeFile(const std::string& path, const std::string& text) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return false;
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return (std::fclose(file) == 0) && written;
}

void report(const char* name, const Counts& counts) {
    std::printf("%s: %zu cards, %zu repeated, %zu damaged, %zu no observations\n", name, counts.good,
                counts.duplicate, counts.bad, counts.skipped);
}

}  // namespace

bool writeExample(const std::string& directory) {
    Options options;
    options.b3e = options.equinox = 0.3;
    options.n = kMainCards;
    options.seed = kSeed;
    Counts counts;
    std::string text = "* A year of observations, made by make_deck --example\n"
                       "TTY_YEAR 2024\n"
                       "OBSFIL include.txt\n\n";
    std::size_t lineCount = 0;
    for (const std::string& line : cardLines(options, counts)) {
        if (lineCount % 400 == 0) text += "\n* block " + std::to_string(lineCount / 400 + 1) + "\n";
        text += line + "\n";
        ++lineCount;
    }
    text.pop_back();  // the last line of a file may lack its end
    report("deck.txt", counts);
    if (!writeFile(directory + "/deck.txt", text)) return false;

    options.n = kIncludeCards;
    options.seed = kSeed + 1;
    options.order = Order::track;
    text = "* Named by deck.txt\n";
    counts = {};
    for (const std::string& line : cardLines(options, counts)) text += line + "\n";
    report("include.txt", counts);
    return writeFile(directory + "/include.txt", text);
}

}  // namespace deck
