// SPDX-License-Identifier: Apache-2.0
// The example: a small deck with everything a load meets in practice, good and bad.
#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <utility>

#include "tools/deck/Deck.h"

namespace deck {

namespace {

constexpr std::size_t kMainLooks = 3000, kIncludeLooks = 300;
constexpr std::uint64_t kSeed = 1957;

// ---- damaged cards -------------------------------------------------------------------------------------

std::string with(char character, Look look, int year) {
    std::string text = message(look, Form::b3, year);
    text[33] = character;
    return text;
}

std::string letterInAzimuth(Look look, int year) { return with('X', look, year); }
std::string nulByte(Look look, int year) { return with('\0', look, year); }
std::string notAscii(Look look, int year) { return with('\xE9', look, year); }

std::string impossibleDay(Look look, int year) {
    look.asB3e = false;
    return message(look, Form::b3, year).replace(11, 3, "367");
}

std::string hourOf24(Look look, int year) {
    look.asB3e = false;
    return message(look, Form::b3, year).replace(14, 2, "24");
}

std::string noSatellite(Look look, int year) {
    look.sat = 0;
    return message(look, Form::b3, year);
}

std::string b3eOfAnotherType(Look look, int year) {
    look.type = 2;
    look.asB3e = true;
    return message(look, Form::b3, year);
}

/// Without its type column a B3 card is not known for one; a cut B3E card would be.
std::string cutOff(Look look, int year) {
    look.asB3e = false;
    return message(look, Form::b3, year).substr(0, 40);
}

std::string plainText(Look, int) { return "Up to here the passes of the first watch."; }

// ---- damaged TTY messages ------------------------------------------------------------------------------

std::string twoCards(Look look, int year) {
    look.type = 4;
    return message(look, Form::tty, year);
}

std::string letterInTime(Look look, int year) {
    look.type = 2;
    std::string text = message(look, Form::tty, year);
    text[20] = 'O';
    return text;
}

std::string badSecondCard(Look look, int year) {
    const std::string text = twoCards(look, year);
    return text.substr(0, text.find('\n') + 1) + "SECOND CARD GARBLED, REPEAT FOLLOWS";
}

/// The line after card 1 is taken for the second one, whatever it is; a comment is not a loss.
std::string missingSecondCard(Look look, int year) {
    const std::string text = twoCards(look, year);
    return text.substr(0, text.find('\n') + 1) + "* here a second card is missing";
}

// ---- damaged CSV and RF lines ----------------------------------------------------------------------------

std::string badDate(Look look, int year) {
    std::string text = message(look, Form::csv, year);
    setCsvFields(text, 4, 5, "1950,0,0,0,0");
    return text;
}

/// With 54 commas and one pair of values that has lost its colon, no CSV line.
std::string fieldMissing(Look look, int year) {
    std::string text = message(look, Form::csv, year);
    setCsvFields(text, 41, 2, "0");
    return text;
}

/// A good line but for its range, which becomes 0; a second and a half later, so that it repeats no other.
std::string textInNumber(Look look, int year) {
    look.msOfYear += 1500;
    std::string text = message(look, Form::csv, year);
    setCsvFields(text, 17, 1, "unknown");
    return text;
}

std::string unknownSite(Look look, int year) {
    std::string text = message(look, Form::rf, year);
    return text.replace(text.find("_ESP"), 4, "_XXX");
}

std::string itemMissing(Look look, int year) { return message(look, Form::rf, year).erase(48, 18); }

// ---- the lines -------------------------------------------------------------------------------------------

enum class Outcome { refused, passedOver, loaded };

struct Spoiler {
    Form form;  ///< the looks whose turn is this form are spoilt so
    std::string (*text)(Look, int);
    Outcome outcome = Outcome::refused;
};
constexpr Spoiler kSpoilers[] = {
    {Form::b3, letterInAzimuth},
    {Form::b3, impossibleDay},
    {Form::b3, hourOf24},
    {Form::b3, noSatellite},
    {Form::b3, b3eOfAnotherType},
    {Form::b3, nulByte},
    {Form::b3, notAscii},
    {Form::b3, cutOff, Outcome::passedOver},
    {Form::b3, plainText, Outcome::passedOver},
    {Form::tty, letterInTime},
    {Form::tty, badSecondCard},
    {Form::tty, missingSecondCard},
    {Form::csv, badDate},
    {Form::csv, fieldMissing, Outcome::passedOver},
    {Form::csv, textInNumber, Outcome::loaded},
    {Form::rf, unknownSite},
    {Form::rf, itemMissing},
};

/// The ways of a form take turns.
const Spoiler& nextSpoiler(Form form, std::array<std::size_t, 4>& turns) {
    const auto has = [form](const Spoiler& spoiler) { return spoiler.form == form; };
    const auto first = std::find_if(std::begin(kSpoilers), std::end(kSpoilers), has);
    const auto ways = static_cast<std::size_t>(std::count_if(first, std::end(kSpoilers), has));
    return first[turns[static_cast<std::size_t>(form)]++ % ways];
}

struct Counts {
    std::array<std::size_t, 4> good{};  ///< of each form
    std::size_t twoCards = 0, b3e = 0;
    std::size_t duplicate = 0, repeatedRf = 0;  ///< the store takes no RF observation for a duplicate
    std::array<std::size_t, 3> spoilt{};        ///< of each outcome
};

std::string withCarriageReturns(std::string text) {
    if (const std::size_t lineEnd = text.find('\n'); lineEnd != std::string::npos) text.insert(lineEnd, 1, '\r');
    return text += '\r';
}

/// The messages in their order, every fortieth followed by a spoilt one and about two in a hundred repeated
/// some lines later.
std::vector<std::string> messages(const Options& options, Counts& counts) {
    Random random{options.seed};
    std::array<std::size_t, 4> turns{};
    std::vector<std::pair<std::string, Form>> good;
    std::vector<std::string> all;
    for (const Look& look : makeLooks(options)) {
        const Form form = formOf(look, options.form);
        const std::string text = message(look, form, options.year);
        const std::size_t count = good.size();
        good.emplace_back(text, form);
        ++counts.good[static_cast<std::size_t>(form)];
        counts.b3e += text.starts_with("B3E");
        counts.twoCards += text.find('\n') != std::string::npos;
        if (count % 250 == 100) all.push_back(withCarriageReturns(text));
        else if (count % 1000 == 500) all.push_back(text + std::string(520, ' ') + "beyond column 512");
        else all.push_back(text);
        if (count % 40 == 20) {
            const Spoiler& spoiler = nextSpoiler(form, turns);
            all.push_back(spoiler.text(look, options.year));
            ++counts.spoilt[static_cast<std::size_t>(spoiler.outcome)];
        }
        if (random.chance(0.02)) {
            const auto& [again, formOfIt] = good[random.below(good.size())];
            all.push_back(again);
            ++(formOfIt == Form::rf ? counts.repeatedRf : counts.duplicate);
        }
    }
    return all;
}

bool writeFile(const std::string& path, const std::string& text) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return false;
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return (std::fclose(file) == 0) && written;
}

void report(const char* name, const Counts& counts) {
    std::printf(
        "%s: %zu B3 and B3E cards (%zu B3E), %zu TTY messages (%zu of two cards), %zu CSV lines, %zu RF lines, "
        "%zu with a number not read; %zu repeated and %zu RF lines, %zu damaged, %zu no observations\n",
        name, counts.good[0], counts.b3e, counts.good[1], counts.twoCards, counts.good[2], counts.good[3],
        counts.spoilt[2], counts.duplicate, counts.repeatedRf, counts.spoilt[0], counts.spoilt[1]);
}

}  // namespace

bool writeExample(const std::string& directory) {
    Options options;
    options.b3e = options.equinox = 0.3;
    options.n = kMainLooks;
    options.seed = kSeed;
    options.form = Form::mixed;
    Counts counts;
    std::string text = "* A year of observations, made by make_deck --example\n" + header(options.form, options.year) +
                       "OBSFIL include.txt\n\n";
    std::size_t count = 0;
    for (const std::string& one : messages(options, counts)) {
        if (count % 400 == 0) text += "\n* block " + std::to_string(count / 400 + 1) + "\n";
        text += one + "\n";
        ++count;
    }
    text.pop_back();  // the last line of a file may lack its end
    report("deck.txt", counts);
    if (!writeFile(directory + "/deck.txt", text)) return false;

    options.n = kIncludeLooks;
    options.seed = kSeed + 1;
    options.order = Order::track;
    text = "* Named by deck.txt\n" + header(options.form, options.year);
    counts = {};
    for (const std::string& one : messages(options, counts)) text += one + "\n";
    report("include.txt", counts);
    return writeFile(directory + "/include.txt", text);
}

}  // namespace deck
