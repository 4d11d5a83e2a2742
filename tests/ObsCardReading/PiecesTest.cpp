// SPDX-License-Identifier: Apache-2.0
// Random decks with lines of every kind: whatever way they are cut, the pieces together give what the whole gives, and
// every line is accounted for once.
#include "Obs/ObsCardReading/Loading/Pieces.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "Obs/ObsCardReading/Loading/Cut.h"
#include "Obs/ObsCardReading/Loading/FilePieces.h"
#include "Obs/ObsCardReading/Loading/TextPieces.h"
#include "ObsDllExports.h"
#include "tests/CaseFile.h"
#include "tests/LoadFixture.h"
#include "tests/QuietSink.h"

namespace obs::test {

namespace {

const std::string kBlockHeader = "7603901890797105070253210009594200003300407300100650541\n";
const std::string kPoint = "2143607865450520359980000000066101352905055010800000049\n";
const std::string kRf =
    "2024:01:15::12:34:56.123456 1 1 1 1 CCH_ESP 1 CDE_ESP 1 25544 1 2024:01:15::12:35:00 10 A B C\n";
const std::string kCsv = "U,5,345,2024,163,12,34,56.7" + std::string(48, ',') + "\n";

struct Deck {
    std::string text;
    LineCounts lines;        ///< what its lines are, known from making them
    std::int64_t pairs = 0;  ///< messages of two cards
};

class Maker {
public:
    Maker(std::uint32_t seed, bool withSections) : random_(seed), withSections_(withSections) {
        const std::vector<Case> cases = readCases(OBS_TEST_DATA "/b3/b3.cases");
        b3_ = cases[0].card;
        for (const Case& one : readCases(OBS_TEST_DATA "/tty/tty.cases"))
            if (one.refusal.empty() && (one.card[7] == '1' || one.card[7] == '4'))
                (one.card[7] == '1' ? single_ : pair_) = one;
    }

    Deck make(int items) {
        deck_ = {};
        if (withSections_) add("TTY_YEAR 2024\n", &LineCounts::keywords);
        for (int i = 0; i < items; ++i) addItem();
        return deck_;
    }

private:
    void add(const std::string& lines, std::int64_t LineCounts::*kind, std::int64_t count = 1) {
        deck_.text += lines;
        deck_.lines.*kind += count;
        deck_.lines.lines += count;
    }

    void addItem() {
        switch (random_() % (withSections_ ? 16 : 14)) {
            case 0:
            case 1:
                return add(b3_.substr(0, 20) + std::to_string(100 + random_() % 900) + b3_.substr(23) + "\n",
                           &LineCounts::observations);
            case 2: return add(b3_.substr(0, 33) + "X" + b3_.substr(34) + "\r\n", &LineCounts::observations);
            case 3: return add(single_.card + "\n", &LineCounts::observations);
            case 4: ++deck_.pairs; return add(pair_.card + "\n" + pair_.card2 + "\n", &LineCounts::observations, 2);
            case 5: return add(kCsv, &LineCounts::observations);
            case 6: return add(kRf, &LineCounts::observations);
            case 7: return add(random_() % 2 == 0 ? "* U 1 2\n" : "\n", &LineCounts::comments);
            case 8: return add("# date  drange\n", &LineCounts::comments);
            case 9: return add("no observation\n", &LineCounts::passedOver);
            case 10: return add("SELOB x\n", &LineCounts::keywords);
            case 11: return add(b3_.substr(0, 40) + '\0' + b3_.substr(41) + "\n", &LineCounts::observations);
            case 12:  // a mark, which counts as bad when nothing of a block follows it
                add("99999\n", &LineCounts::observations);
                return add("SELOB sat=1:\n", &LineCounts::keywords);
            case 13: return addBlock();
            case 14: return addSession();
            default: return add("OBSFIL missing.txt\n", &LineCounts::keywords);
        }
    }

    void addBlock() {
        add((random_() % 2 == 0 ? "99999\n" : "88888\n") + kBlockHeader, &LineCounts::laser, 2);
        for (auto points = 1 + random_() % 4; points > 0; --points) {
            add(kPoint, &LineCounts::observations);
            if (random_() % 3 == 0) add("* a comment\n", &LineCounts::comments);
        }
    }

    void addSession() {
        // A message may take the line as its second card; the first pass acts on it all the same.
        const bool isTaken = withSections_ && random_() % 4 == 0;
        deck_.pairs += isTaken;
        if (isTaken) add(pair_.card + "\n", &LineCounts::observations);
        add("SLROBS\n", isTaken ? &LineCounts::observations : &LineCounts::keywords);
        add(random_() % 2 == 0 ? "H1 CRD 2 2021 1 27 9\n" : "H1 CRD  1 2021  1 27  9\n", &LineCounts::laser);
        if (random_() % 3 != 0) add("H2 GRZL 7839 34 2 4\n", &LineCounts::laser);
        if (random_() % 3 != 0) add("H3 l 7603901 1155 8820 0 1 1\n", &LineCounts::laser);
        if (random_() % 3 == 0) add("C0 0 532.1 std x\n", &LineCounts::laser);
        add("H4 0 2004 10 3 12 0 0 na na na na na na 0 0 0 0 1 0 2 0\n20 43200 950 290 50 0\n", &LineCounts::laser, 2);
        for (auto ranges = random_() % 4; ranges > 0; --ranges) {
            add("10 432" + std::to_string(10 + random_() % 90) + " 0.25 std 2 2 0 0\n", &LineCounts::observations);
            add("30 43201 1 2\n", &LineCounts::laser);
            if (random_() % 3 == 0) add(kRf, &LineCounts::observations);
        }
        if (random_() % 4 != 0) add("H8\n", &LineCounts::laser);
        if (random_() % 2 != 0) add("H9\n", &LineCounts::laser);
    }

    std::mt19937 random_;
    bool withSections_;
    std::string b3_;
    Case single_, pair_;
    Deck deck_;
};

/// All that a reading hands over, as text.
struct Transcript final : QuietSink {
    std::string text;

    void put(const char* kind, LinePlace place, const std::string& what) {
        text += kind + std::to_string(place.number) + "@" + std::to_string(place.offset) + " " + what + "\n";
    }
    void observation(ObsRecord& rec, std::string_view, LinePlace place) override {
        put("obs ", place, std::to_string(rec.obsTime) + " " + std::to_string(rec.range + rec.elOrDec + rec.senPos[0]));
    }
    void refuse(const Refusal& why, std::string_view, LinePlace place) override { put("bad ", place, why.message()); }
    void fieldNote(const FieldNote& note, LinePlace place) override { put("zero ", place, note.text); }
    void passedOver(std::string_view line, LinePlace place) override { put("over ", place, std::string(line)); }
    void note(std::string what) override { put("note ", {}, what); }
    bool keyword(LineClass, std::string_view line, LinePlace place) override {
        put("key ", place, std::string(line));
        return true;
    }
};

ReadContext start(LinePlace before = {}) {
    ReadContext context;
    context.ttyYear = 2024;
    context.before = before;
    return context;
}

std::string readWhole(const std::string& text) {
    Transcript all;
    ReadContext context = start();
    readPiece(text, true, context, all);
    endReading(context, all);
    EXPECT_EQ(context.before.offset, std::ssize(text));
    return all.text;
}

/// What a program hears of lines.
struct Found {
    std::string text;
    static void take(const double array[64], std::int64_t line, std::int64_t offset, void* user) {
        static_cast<Found*>(user)->text += "type " + std::to_string(static_cast<int>(array[11])) + " " +
                                           std::to_string(line) + "@" + std::to_string(offset) + "|";
    }
    static void hear(std::int32_t kind, std::int64_t line, std::int64_t offset, const char* what, void* user) {
        static_cast<Found*>(user)->text +=
            std::to_string(kind) + " " + std::to_string(line) + "@" + std::to_string(offset) + " " + what + "|";
    }
};

std::string readLines(std::string_view bytes, bool isLast, ObsReadState& state) {
    Found found;
    state.isLast = isLast ? 1 : 0;
    EXPECT_EQ(ObsReadLines(bytes.data(), std::ssize(bytes), &state, Found::take, Found::hear, &found), 0);
    return found.text;
}

ObsReadState stateOf(const std::string& text) {
    ObsReadState state{};
    EXPECT_EQ(ObsReadStateFromText(text.c_str(), &state), 0) << text;
    return state;
}

std::string textOf(const ObsReadState& state) {
    char text[512];
    EXPECT_EQ(ObsReadStateToText(&state, text), 0);
    return {text, sizeof text};
}

/// The states at the cuts of a text, found by reading it once.
std::vector<std::string> scan(std::string_view text, const ObsReadState& begin, std::mt19937& random) {
    std::vector<std::string> states;
    for (ObsReadState state = begin; state.offset < std::ssize(text);) {
        states.push_back(textOf(state));
        const std::string_view rest = text.substr(static_cast<std::size_t>(state.offset));
        const ObsReadState before = state;
        for (std::size_t given = 1 + random() % rest.size();; given = rest.size()) {
            state = before;
            state.isLast = given == rest.size() ? 1 : 0;
            state.cutAfter = static_cast<std::int64_t>(1 + random() % 300);
            EXPECT_EQ(ObsReadLines(rest.data(), static_cast<std::int64_t>(given), &state, nullptr, nullptr, nullptr),
                      0);
            if (given == rest.size() || (state.atCut != 0 && state.offset > before.offset)) break;
        }
    }
    return states;
}

}  // namespace

class Pieces : public LoadFixture {};

TEST_F(Pieces, eachGoesOnFromTheContextBefore) {
    std::mt19937 random(5);
    for (std::uint32_t seed = 0; seed < 150; ++seed) {
        const std::string text = Maker(seed, true).make(30).text;
        Transcript pieces;
        ReadContext context = start();
        std::size_t at = 0, given = 0;
        while (given < text.size()) {
            given = std::min(given + 1 + random() % 300, text.size());
            at += readPiece(std::string_view(text).substr(at, given - at), given == text.size(), context, pieces);
            if (random() % 2 == 0) context = ReadContext(context);
        }
        endReading(context, pieces);
        ASSERT_EQ(pieces.text, readWhole(text)) << text;
    }
}

TEST_F(Pieces, standAloneBetweenCuts) {
    std::mt19937 random(6);
    for (std::uint32_t seed = 0; seed < 150; ++seed) {
        const std::string text = Maker(seed, false).make(40).text;
        Transcript pieces;
        LinePlace before;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t cut = at + nextCut(std::string_view(text).substr(at), 1 + random() % 400);
            ASSERT_GT(cut, at);
            ASSERT_TRUE(cut == text.size() || text[cut - 1] == '\n');
            ReadContext context = start(before);
            ASSERT_EQ(readPiece(std::string_view(text).substr(at, cut - at), true, context, pieces), cut - at);
            endReading(context, pieces);
            before = context.before;
            at = cut;
        }
        ASSERT_EQ(pieces.text, readWhole(text)) << text;
    }
    const std::string pair = "))U   54211A2345\n";
    EXPECT_EQ(nextCut(pair + pair + "x\n" + pair, 1), pair.size() * 2 + 2) << "no place is sure before a card alone";
    EXPECT_EQ(nextCut("99999\n1\n* x\nSELOB\n1\n", 1), 18u);
    EXPECT_EQ(nextCut("1\n2\n", 2), 2u);
    EXPECT_EQ(nextCut("1\n2\n", 3), 4u);
    EXPECT_EQ(nextCut("99999\n2\n3\n4\n5\n6\n", 14), 16u) << "a block that cannot be seen";
}

// One process scans a text, others read its pieces in any order.
TEST_F(Pieces, goOnFromStatesInTexts) {
    std::mt19937 random(8);
    std::size_t count = 0;
    for (std::uint32_t seed = 0; seed < 150; ++seed) {
        const std::string text = Maker(seed, true).make(30).text;
        ObsReadState begin = stateOf(
            "obs1 year=0 rotate=1 troposphere=0 centre=0 keys=0 section=0 file=0 pass=0 lines=0 offset=0 laser=");
        begin.troposphere = static_cast<std::int32_t>(seed % 3);
        begin.laserFile = seed % 4 == 0 ? 1 : 0;
        begin.pass = static_cast<std::int32_t>(seed / 4 % 4);
        ObsReadState whole = begin;
        const std::string expected = readLines(text, true, whole);
        const std::vector<std::string> states = scan(text, begin, random);
        count += states.size();
        std::string found;
        std::int64_t passedOver = 0;
        std::size_t end = text.size();
        for (auto at = states.rbegin(); at != states.rend(); ++at) {
            ObsReadState state = stateOf(*at);
            const auto from = static_cast<std::size_t>(state.offset);
            found.insert(0, readLines(std::string_view(text).substr(from, end - from), end == text.size(), state));
            passedOver += state.passedOver;
            end = from;
        }
        ASSERT_EQ(found, expected) << text;
        ASSERT_EQ(passedOver, whole.passedOver) << text;
        // Whatever else is taken for a text of a state says what it says.
        std::string damaged = states.back();
        damaged[random() % 200] = "0 =;:%sxAv9"[random() % 11];
        ObsReadState state{};
        if (ObsReadStateFromText(damaged.c_str(), &state) == 0) { EXPECT_EQ(textOf(state), damaged); }
    }
    EXPECT_GT(count, 1500u);
}

// More configurations than a state holds: no cut before they are forgotten.
TEST_F(Pieces, haveNoCutWhereAStateWouldBeTooLong) {
    std::string text = "SLROBS\n";
    for (int i = 0; i < 90; ++i) text += "C0 0 532 c" + std::to_string(i) + "\nH8\n";
    const std::size_t end = text.size() + 3;
    text += "H9\n" + kRf + kRf;
    ObsReadState state{};
    state.size = sizeof state;
    state.cutAfter = 1;
    std::set<std::size_t> cuts;
    while (state.offset < std::ssize(text)) {
        const auto from = static_cast<std::size_t>(state.offset);
        ObsReadLines(text.data() + from, std::ssize(text) - state.offset, &state, nullptr, nullptr, nullptr);
        ASSERT_EQ(state.atCut, 1);
        cuts.insert(static_cast<std::size_t>(state.offset));
    }
    EXPECT_GT(cuts.size(), 20u);
    EXPECT_EQ(*cuts.lower_bound(end / 2), end);
    EXPECT_TRUE(cuts.contains(end + kRf.size()));
}

/// The places and lengths of all lines, where each piece is read but for its last line, as before a second card.
std::string linesOf(LinePieces& pieces) {
    Progress none;
    std::string found;
    std::string_view piece, line;
    bool isLast = false;
    std::int64_t number = 0;
    while (pieces.next(piece, isLast)) {
        if (number == 20) {
            EXPECT_TRUE(pieces.anyLineFrom(
                pieces.offset(), [](std::string_view one) { return one.starts_with("zz"); }, none));
        }
        LineReader lines(piece, isLast, {number, pieces.offset()});
        std::int64_t left = isLast ? 0 : 1;
        LineReader all(piece, isLast);
        while (all.next(line)) {}
        for (std::int64_t take = all.linesTaken() - left; take > 0 && lines.next(line); --take)
            found += std::to_string(lines.place().number) + "@" + std::to_string(lines.place().offset) + " " +
                     std::to_string(line.size()) + "\n";
        number += lines.linesTaken();
        const std::size_t second = lines.bytesTaken() / 2;  // a piece may be taken bit by bit
        pieces.took(lines.bytesTaken() - second);
        pieces.took(second);
    }
    return found;
}

// Blocks of the file service end anywhere; lines longer than a block come cut, at their places.
TEST_F(Pieces, ofFilesAreTheirText) {
    std::mt19937 random(7);
    std::string text = "\xEF\xBB\xBF", expected;
    for (int i = 0; i < 60; ++i) {
        const std::size_t length = i % 7 == 0 ? 200'000 + random() % 400'000 : random() % 20'000;
        expected += std::to_string(i + 1) + "@" + std::to_string(text.size()) + " " +
                    std::to_string(std::min<std::size_t>(length, kCardLength)) + "\n";
        text += std::string(length, static_cast<char>('a' + i % 26)) + (i % 2 == 0 ? "\n" : "\r\n");
    }
    const std::string name = write("lines.txt", text);
    family::Unit unit = family::kNoUnit;
    ASSERT_EQ(family::fileopen(name, family::kOpenRead, unit), 0);
    FilePieces ofFile(unit);
    EXPECT_EQ(linesOf(ofFile), expected);
    family::fileclose(unit);
    TextPieces ofText(text);
    EXPECT_EQ(linesOf(ofText), expected);
}

TEST_F(Pieces, everyLineIsAccountedForOnce) {
    for (std::uint32_t seed = 0; seed < 60; ++seed) {
        const bool twoPasses = seed % 2 == 0;
        const Deck deck = Maker(seed, twoPasses).make(30), inner = Maker(1000 + seed, false).make(20);
        obsemptytree();
        SetTTYYear(2024);
        write("inner.txt", inner.text);
        const std::string name = folder_ / "deck.txt";
        const std::string text = deck.text + (twoPasses ? "OBSFIL inner.txt\n" : "");
        if (seed % 4 < 2) write("deck.txt", text);
        else std::filesystem::remove(name);
        ASSERT_EQ((seed % 4 < 2 ? ObsLoadFileWith(name.c_str(), 0, nullptr)
                                : ObsLoadText(name.c_str(), text.data(), std::ssize(text), 0, nullptr)) &
                      ~2,
                  0);
        LineCounts expected = deck.lines;
        if (twoPasses) {
            expected += inner.lines;
            ++expected.lines;
            ++expected.keywords;
        }
        ObsLoadLines lines{};
        lines.size = sizeof lines;
        ASSERT_EQ(ObsGetLoadLines(&lines), 0);
        EXPECT_EQ(lines.lines, expected.lines) << deck.text;
        EXPECT_EQ(lines.observations, expected.observations) << deck.text;
        EXPECT_EQ(lines.comments, expected.comments) << deck.text;
        EXPECT_EQ(lines.keywords, expected.keywords) << deck.text;
        EXPECT_EQ(lines.laser, expected.laser) << deck.text;
        EXPECT_EQ(lines.passedOver, expected.passedOver) << deck.text;
        const LoadCounts& counts = latestLoad().counts;
        EXPECT_EQ(counts.loaded + counts.duplicate + counts.bad + deck.pairs + (twoPasses ? inner.pairs : 0),
                  lines.observations);
        EXPECT_EQ(counts.loaded, ObsGetCount());
        std::int64_t missing = 0;
        for (std::size_t at = deck.text.find("missing"); at != std::string::npos;
             at = deck.text.find("missing", at + 1))
            ++missing;
        EXPECT_EQ(lines.includesLeftOut, missing);
        ASSERT_FALSE(HasFailure()) << seed;
    }
}

// In calls that end anywhere, and without a trace in the process.
TEST_F(Pieces, programsReadLinesWithoutTheStore) {
    const std::string pair =
        "))U   1421112345\n0011200000000123456 1234567 12345673 00123456 001234 001234 001234  $$\n";
    const std::string text = "\xEF\xBB\xBF* x\n" + pair + "TTY_YEAR 2024\n" + pair + "TTY_YEAR x\nnothing\n" + kCsv +
                             "OBSFIL a\nSLROBS\nH1 CRD 2\nH2 G 7839\nH3 l 7603901 1155 8820\nH4 0 2004 10 3 12 0 0\n" +
                             "10 43201 0.25 std 2 2 0 0\nH8\nH9\nH1 CRD 2\nVM_DMA_OBS_ON\n" +
                             kCsv.substr(0, kCsv.size() - 1);
    const auto at = [&text](int line) {
        std::size_t offset = 3;  // after the byte-order mark
        for (int i = 1; i < line; ++i) offset = text.find('\n', offset) + 1;
        return std::to_string(line) + "@" + std::to_string(offset);
    };
    const std::string expected = "2 " + at(2) + " ReadTTY1stLine: Must set the year for TTY input file.|5 " + at(3) +
                                 " " + pair.substr(17, pair.size() - 18) + "|6 " + at(4) + " TTY_YEAR 2024|type 4 " +
                                 at(5) + "|6 " + at(7) + " TTY_YEAR x|7 " + at(7) +
                                 " ReadOnlyObs: No year in the line 'TTY_YEAR x'.|5 " + at(8) + " nothing|type 0 " +
                                 at(9) + "|6 " + at(10) + " OBSFIL a|6 " + at(11) + " SLROBS|type 6 " + at(16) + "|2 " +
                                 at(19) + " ReadObsRec: No SLROBS line introduces this header of laser ranges.|6 " +
                                 at(20) + " VM_DMA_OBS_ON|type 0 " + at(21) + "|";
    for (const std::size_t step : {text.size(), std::size_t{250}}) {
        Found found;
        ObsReadState state{};
        state.size = sizeof state;
        state.rotateToDate = 1;
        for (std::size_t given = 0; given < text.size();) {
            given = std::min(given + step, text.size());
            state.isLast = given == text.size() ? 1 : 0;
            const auto from = static_cast<std::size_t>(state.offset);
            ASSERT_EQ(ObsReadLines(text.data() + from, static_cast<std::int64_t>(given - from), &state, Found::take,
                                   Found::hear, &found),
                      0);
        }
        EXPECT_EQ(found.text, expected) << step;
        EXPECT_EQ(std::tuple(state.ttyYear, state.addressKeys, state.laserSection), std::tuple(2024, 1, 0));
        EXPECT_EQ(std::pair(state.lines, state.offset), std::pair(std::int64_t{21}, std::ssize(text)));
    }
    EXPECT_EQ(std::tuple(ObsGetCount(), ttyYear(), obskeymodeget()), std::tuple(0, 0, 0));
    EXPECT_TRUE(log_.errors.empty() && log_.informations.empty());
    EXPECT_EQ(ObsNextCut(text.data(), std::ssize(text), 10), text.find("TTY_YEAR")) << "not between two cards";
}

}  // namespace obs::test
