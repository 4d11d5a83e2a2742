// SPDX-License-Identifier: Apache-2.0
// Measures the library against its peers and prints how it stands to its speed targets.
//
// Every engine runs in a process of its own, forked fresh for every round, so that no heap is
// another's; within a round the engines follow each other on the same decks. Times are processor
// time, but for the two threads of row 10, which are wall time. A line's figure is the median of the
// figures of the rounds, each taken from one round. All stores must load the same counts, list the
// same keys and write the same bytes, in every round; else nothing is printed.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <vector>

#include "ObsDllExports.h"
#include "bench/Measure.h"
#include "bench/peers/Peers.h"
#include "tools/deck/Deck.h"

namespace {

using bench::median;
using bench::nsPer;
using bench::require;

// ---- what is measured ----------------------------------------------------------------------------

enum DeckId : std::size_t { kTime, kRandom, kTrack, kDirty, kLarge, kDecks };
constexpr const char* kDeckNames[] = {"time", "random", "track", "dirty", "large"};

enum Engine : std::size_t { kFloor, kNaive, kAvl, kBtree, kObs, kObsMemory, kObsThreads, kEngines };
constexpr const char* kEngineNames[] = {"floor", "naive", "avl", "btree", "Obs", "Obs memory", "Obs threads"};

/// In the order in which a store goes through them.
enum Measure : std::size_t {
    kLoad,
    kList9,
    kLookUp,
    kList1,
    kList6,
    kList10,
    kSave,
    kCardByKey,
    kRemove,
    kClear,
    kScan,
    kTouch,
    kWrite,  // the floors
    kBytes,
    kPeakBytes,  // per observation
    kOneThread,
    kTwoThreads,  // wall time
    kMeasures
};
constexpr const char* kMeasureNames[] = {"load",  "list 9", "look-up", "list 1",   "list 6",   "list 10",
                                         "save",  "card",   "remove",  "clear",    "scan",     "touch",
                                         "write", "bytes",  "peak",    "1 thread", "2 threads"};

/// What one engine did with one deck; sent through a pipe as it stands. Nanoseconds (or bytes) per
/// observation; the hashes are for comparing the engines.
struct Figures {
    std::array<double, kMeasures> value{};
    peers::Counts counts;
    std::array<std::uint64_t, 4> listHash{};
    std::uint64_t satNumSum = 0, savedBytes = 0, savedLines = 0;
};
static_assert(std::is_trivially_copyable_v<Figures>);

/// The figures of one round. While `wanted` is set it notes what is asked for instead.
class Round {
public:
    using Wanted = std::array<std::array<std::set<Measure>, kEngines>, kDecks>;
    Wanted* wanted = nullptr;
    std::array<std::array<Figures, kEngines>, kDecks> figures;

    double operator()(DeckId deck, Engine engine, Measure measure) {
        if (wanted != nullptr) (*wanted)[deck][engine].insert(measure);
        return figures[deck][engine].value[measure];
    }
    double load(DeckId deck) { return (*this)(deck, kObs, kLoad); }
};

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

struct Line {
    int row;
    std::string what;
    bool atLeast;  ///< the bars are lower ones
    double must, reach;
    std::function<double(Round&)> figure;
};

struct Bars {
    double must, reach;
};

/// A peer's time divided by the library's, for the deck in order of time and the shuffled one.
struct Gain {
    int rowTime, rowRandom;
    const char* what;
    Engine peer;
    Measure measure;
    Bars time, random;
};
constexpr Gain kGains[] = {
    {1, 2, "load", kNaive, kLoad, {6.5, 8}, {kNone, kNone}},
    {1, 2, "load", kBtree, kLoad, {2.4, 2.9}, {2.5, 4.0}},
    {10, 10, "look-up", kAvl, kLookUp, {10, 14}, {10, 14}},
    {10, 10, "look-up", kBtree, kLookUp, {2.5, 4}, {2.5, 4}},
    {12, 12, "list -1", kBtree, kList1, {3.5, 4.5}, {1.6, 2.0}},
    {13, 13, "list -6", kBtree, kList6, {3.3, 4.0}, {3.3, 4.0}},
    {13, 13, "list -10", kBtree, kList10, {3.3, 4.0}, {3.3, 4.0}},
    {14, 14, "save", kNaive, kSave, {11, 14}, {kNone, kNone}},
    {16, 16, "remove", kBtree, kRemove, {1.6, 2.0}, {kNone, kNone}},
    {16, 16, "clear", kNaive, kClear, {10, 17}, {kNone, kNone}},
};

/// Figures that must stay below their bars, and the one that is not a comparison with a peer. Rows that are missing here,
/// and the bars of row 20, which are for the load of a version before, are those of obs_rows.py.
const Line kOthers[] = {
    {3, "load, time / (scan + fresh records)", false, 2.4, 1.8,
     [](Round& r) {
         const double floor = r(kTime, kFloor, kScan) + r(kTime, kFloor, kTouch);
         return r(kTime, kObs, kLoad) / floor;
     }},
    {5, "load per card, four times the deck / deck", false, 1.15, 1.06,
     [](Round& r) { return r.load(kLarge) / r.load(kTime); }},
    {6, "memory per observation, bytes", false, 135, 130, [](Round& r) { return r(kTime, kObsMemory, kBytes); }},
    {6, "peak above it, time, bytes", false, 30, 21, [](Round& r) { return r(kTime, kObsMemory, kPeakBytes); }},
    {6, "peak above it, random, bytes", false, kNone, kNone,
     [](Round& r) { return r(kRandom, kObsMemory, kPeakBytes); }},
    {10, "look-ups, two threads: one (wall)", true, kNone, kNone,
     [](Round& r) { return r(kTime, kObsThreads, kOneThread) / r(kTime, kObsThreads, kTwoThreads); }},
    {11, "card by key less own look-up, ns", false, kNone, kNone,
     [](Round& r) { return r(kTime, kObs, kCardByKey) - r(kTime, kObs, kLookUp); }},
    {12, "list 9, time, ns per key", false, kNone, kNone, [](Round& r) { return r(kTime, kObs, kList9); }},
    {14, "save, time / writing the lines alone", false, 5, 4,
     [](Round& r) { return r(kTime, kObs, kSave) / r(kTime, kFloor, kWrite); }},
    {20, "load, 2 % repeated and 1 % bad / own clean one", false, kNone, kNone,
     [](Round& r) {
         r(kDirty, kBtree, kLoad);  // for the counts
         return r.load(kDirty) / r.load(kTime);
     }},
};

std::vector<Line> allLines() {
    std::vector<Line> lines(std::begin(kOthers), std::end(kOthers));
    for (const Gain& gain : kGains) {
        const auto add = [&](int row, DeckId deck, Bars bars) {
            const std::string what = std::string(gain.what) + ", " + kDeckNames[deck];
            const auto ratio = [gain, deck](Round& r) {
                const double ofPeer = r(deck, gain.peer, gain.measure);
                return ofPeer / r(deck, kObs, gain.measure);
            };
            lines.push_back({row, what + ": " + kEngineNames[gain.peer], true, bars.must, bars.reach, ratio});
        };
        add(gain.rowTime, kTime, gain.time);
        add(gain.rowRandom, kRandom, gain.random);
    }
    std::stable_sort(lines.begin(), lines.end(), [](const Line& a, const Line& b) { return a.row < b.row; });
    return lines;
}

// ---- the library as a store ------------------------------------------------------------------------

struct ObsStore {
    bool load(const std::string& path, peers::Counts& counts) {
        ObsLoadFile(path.c_str());  // its result is the last line's, not the file's
        return ObsGetLoadCounts(&counts.loaded, &counts.duplicate, &counts.bad) == 0;
    }
    std::int32_t satNum(std::int64_t key) const { return SatNumFrObsKey(key); }
    void list(int order, std::int64_t* keys) const { ObsGetLoaded(order == 9 ? 9 : -order, keys); }
    bool save(const std::string& path) const { return ObsSaveFile(path.c_str(), 0, 0) == 0; }
    bool card(std::int64_t key, char text[512]) const { return ObsGetB3Card(key, text) == 0; }
    bool remove(std::int64_t key) { return ObsRemove(key) == 0; }
    void clear() { ObsRemoveAll(); }
    std::size_t count() const { return static_cast<std::size_t>(ObsGetCount()); }
};

// ---- running one engine ----------------------------------------------------------------------------

struct Job {
    std::string deckPath, savePath;
    Measure last;  ///< nothing after this one is wanted
};

std::uint64_t mixed(std::uint64_t hash, std::uint64_t word) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15u;
    return hash ^ (hash >> 29);
}

std::uint64_t hashOf(const std::vector<std::int64_t>& keys) {
    std::uint64_t hash = keys.size();
    for (const std::int64_t key : keys) hash = mixed(hash, static_cast<std::uint64_t>(key));
    return hash;
}

/// Of a card; a second indicator 9 counts as the blank that the writers put for it.
std::uint64_t hashOf(std::string_view card) {
    std::uint64_t hash = card.size();
    for (std::size_t i = 0; i < card.size(); ++i)
        hash = mixed(hash, static_cast<unsigned char>(i == 79 && card[i] == '9' ? ' ' : card[i]));
    return hash;
}

/// Of a file of cards: one hash of all lines in their order, one that leaves the order out.
void hashFile(const std::string& path, std::uint64_t& inOrder, std::uint64_t& anyOrder) {
    const bool read = peers::CharsText::forEachLine(path, [&](std::string_view line) {
        inOrder = mixed(inOrder, hashOf(line));
        anyOrder += hashOf(line);
    });
    require(read, "cannot read " + path);
}

void shuffle(std::vector<std::int64_t>& keys) {
    deck::Random random{42};
    for (std::size_t i = keys.size(); i > 1; --i) std::swap(keys[i - 1], keys[random.below(i)]);
}

template <class Store>
void runLists(Store& store, const std::vector<std::int64_t>& keys, Measure last, Figures& f) {
    std::vector<std::int64_t> listed(keys.size(), 1);
    constexpr std::pair<Measure, int> kOrders[] = {{kList1, 1}, {kList6, 6}, {kList10, 10}};
    for (std::size_t i = 0; i < std::size(kOrders) && kOrders[i].first <= last; ++i) {
        f.value[kOrders[i].first] = nsPer(keys.size(), [&] { store.list(kOrders[i].second, listed.data()); });
        f.listHash[i + 1] = hashOf(listed);
    }
}

template <class Store>
void runStore(const Job& job, Figures& f) {
    Store store;
    bool loaded = false;
    const double whole = nsPer(1, [&] { loaded = store.load(job.deckPath, f.counts); });
    const std::size_t n = store.count();
    require(loaded && n > 0, "nothing loaded");
    f.value[kLoad] = whole / static_cast<double>(f.counts.loaded + f.counts.duplicate + f.counts.bad);
    if (job.last == kLoad) return;

    std::vector<std::int64_t> keys(n, 1);  // not zero: the pages must be there before the clock runs
    f.value[kList9] = nsPer(n, [&] { store.list(9, keys.data()); });
    f.listHash[0] = hashOf(keys);
    shuffle(keys);
    f.value[kLookUp] = nsPer(n, [&] {
        for (const std::int64_t key : keys) f.satNumSum += static_cast<std::uint64_t>(store.satNum(key));
    });
    runLists(store, keys, job.last, f);
    if (job.last < kSave) return;

    std::filesystem::remove(job.savePath);
    bool saved = false;
    f.value[kSave] = nsPer(n, [&] { saved = store.save(job.savePath); });
    require(saved, "cannot save");
    hashFile(job.savePath, f.savedBytes, f.savedLines);
    if constexpr (requires(char* text) { store.card(keys[0], text); }) {
        char text[512];
        std::size_t found = 0;
        f.value[kCardByKey] = nsPer(n, [&] {
            for (const std::int64_t key : keys) found += store.card(key, text);
        });
        std::uint64_t cards = 0;
        for (const std::int64_t key : keys) {
            store.card(key, text);
            cards += hashOf({text, peers::kCardColumns});
        }
        require(found == n && cards == f.savedLines, "cards by key differ from the saved ones");
    }
    if (job.last < kRemove) return;

    const std::size_t half = n / 2;
    std::size_t removed = 0;
    f.value[kRemove] = nsPer(half, [&] {
        for (std::size_t i = 0; i < half; ++i) removed += store.remove(keys[i]);
    });
    require(removed == half && store.count() == n - half, "keys were not removed");
    f.value[kClear] = nsPer(n - half, [&] { store.clear(); });
    require(store.count() == 0, "the store was not cleared");
}

void runFloor(const Job& job, Figures& f) {
    std::size_t n = 0;
    const double whole = nsPer(1, [&] { n = peers::scanLines(job.deckPath); });
    f.value[kScan] = whole / static_cast<double>(n);
    f.value[kTouch] = nsPer(n, [&] { require(peers::touchRecords(n) != nullptr, "no memory"); });
    std::filesystem::remove(job.savePath);
    bool written = false;
    f.value[kWrite] = nsPer(n, [&] { written = peers::writeLines(job.savePath, n); });
    require(written, "cannot write");
}

/// Anonymous memory in use by a process, bytes.
double anonymousBytes(const std::string& process) {
    std::ifstream status("/proc/" + process + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("RssAnon:")) return 1024.0 * std::atof(line.c_str() + 8);
    return 0;
}

void runMemory(const Job& job, Figures& f) {
    ObsStore store;
    const double before = anonymousBytes("self");
    require(store.load(job.deckPath, f.counts), "nothing loaded");
    f.value[kPeakBytes] = anonymousBytes("self");  // made relative by the parent, which knows the peak
    f.value[kBytes] = (f.value[kPeakBytes] - before) / static_cast<double>(store.count());
}

void runThreads(const Job& job, Figures& f) {
    ObsStore store;
    require(store.load(job.deckPath, f.counts), "nothing loaded");
    const std::size_t n = store.count();
    std::vector<std::int64_t> keys(n);
    store.list(9, keys.data());
    shuffle(keys);
    std::array<std::size_t, 3> found{};
    const auto lookUp = [&](std::size_t from, std::size_t to, std::size_t& count) {
        std::size_t mine = 0;  // of the thread's own: a shared cache line would be measured, too
        for (std::size_t i = from; i < to; ++i) mine += store.satNum(keys[i]) >= 0;
        count = mine;
    };
    lookUp(0, n, found[0]);  // both measured passes then meet the same caches
    f.value[kOneThread] = nsPer(
        n, [&] { lookUp(0, n, found[0]); }, CLOCK_MONOTONIC);
    f.value[kTwoThreads] = nsPer(
        n,
        [&] {
            std::thread other([&] { lookUp(0, n / 2, found[1]); });
            lookUp(n / 2, n, found[2]);
            other.join();
        },
        CLOCK_MONOTONIC);
    require(found[0] == n && found[1] + found[2] == n, "a stored key was not found");
}

constexpr void (*kRunners[])(const Job&, Figures&) = {
    runFloor,  runStore<peers::Naive>, runStore<peers::Avl>, runStore<peers::Btree>, runStore<ObsStore>, runMemory,
    runThreads};

/// The child's work. With `watchMemory` the child's peak of anonymous memory comes back as kPeakBytes.
Figures inChild(const std::string& what, bool watchMemory, const std::function<void(Figures&)>& work) {
    if (!watchMemory) return bench::inChild<Figures>(what, work);
    double peak = 0;
    Figures f = bench::inChild<Figures>(
        what, work, [&](const std::string& process) { peak = std::max(peak, anonymousBytes(process)); });
    f.value[kPeakBytes] = std::max(0.0, peak - f.value[kPeakBytes]) / static_cast<double>(f.counts.loaded);
    return f;
}

// ---- the whole run -----------------------------------------------------------------------------------

struct Settings {
    std::size_t n = 1000000;
    int rounds = 5;
    std::set<int> rows;
    bool large = false;
    std::filesystem::path directory;

    bool covers(const Line& line) const {
        if (line.row == 5 && !large) return false;
        return rows.empty() || rows.contains(line.row);
    }
};

deck::Options optionsOf(DeckId id, const Settings& settings) {
    deck::Options options;
    options.n = id == kLarge ? 4 * settings.n : settings.n;
    if (id == kRandom) options.order = deck::Order::random;
    if (id == kTrack) options.order = deck::Order::track;
    if (id == kDirty) options.duplicates = 0.02, options.damaged = 0.01;
    return options;
}

std::string deckPath(DeckId id, const Settings& settings) {
    return settings.directory / (std::string("deck-") + kDeckNames[id] + ".txt");
}

/// @return the hash of the deck's lines in any order.
std::uint64_t makeDeck(DeckId id, const Settings& settings) {
    const std::string path = deckPath(id, settings);
    // In a child, so that this process, of which all engines are copies, keeps a small heap.
    return inChild("making " + path, false,
                   [&](Figures& f) {
                       std::FILE* const file = std::fopen(path.c_str(), "wb");
                       require(file != nullptr, "cannot be opened");
                       deck::writeDeck(optionsOf(id, settings), file);
                       const bool written = std::ferror(file) == 0;
                       require((std::fclose(file) == 0) && written, "cannot be written");
                       hashFile(path, f.savedBytes, f.savedLines);
                   })
        .savedLines;
}

/// All stores must agree, and a clean deck come back line for line.
void check(const std::array<Figures, kEngines>& engines, const Round::Wanted::value_type& wanted, DeckId id,
           std::size_t cards, std::uint64_t deckLines) {
    const Figures* first = nullptr;
    for (std::size_t engine = kNaive; engine <= kObs; ++engine) {
        if (wanted[engine].empty()) continue;
        const Figures& f = engines[engine];
        const std::string who = std::string(kEngineNames[engine]) + " on the deck " + kDeckNames[id] + ": ";
        const auto& [loaded, duplicate, bad] = f.counts;
        require(loaded + duplicate + bad == static_cast<std::int64_t>(cards), who + "cards are missing");
        require(id == kDirty || loaded == static_cast<std::int64_t>(cards), who + "cards were refused");
        require(f.savedBytes == 0 || f.savedLines == deckLines, who + "saved lines differ from the deck's");
        if (first == nullptr) first = &f;
        require(loaded == first->counts.loaded && bad == first->counts.bad, who + "other counts");
        // A zero stands for what this engine was not asked to do.
        const auto same = [](std::uint64_t a, std::uint64_t b) { return a == 0 || b == 0 || a == b; };
        require(same(f.satNumSum, first->satNumSum), who + "other satellites under the keys");
        for (std::size_t i = 0; i < f.listHash.size(); ++i)
            require(same(f.listHash[i], first->listHash[i]), who + "other keys in a listing");
        require(same(f.savedBytes, first->savedBytes), who + "other bytes saved");
    }
}

double medianOf(std::vector<Round>& rounds, const std::function<double(Round&)>& figure) {
    std::vector<double> values;
    for (Round& round : rounds) values.push_back(figure(round));
    return median(values);
}

/// @return how many lines fall short of what they must reach.
int printLines(const Settings& settings, std::vector<Round>& rounds) {
    int shortLines = 0;
    std::printf("%3s  %-44s %9s %9s %9s\n", "row", "measure", "must", "reach", "measured");
    for (const Line& line : allLines()) {
        if (!settings.covers(line)) continue;
        const double figure = medianOf(rounds, line.figure);
        const auto meets = [&](double bar) {
            return std::isnan(bar) || (line.atLeast ? figure >= bar : figure <= bar);
        };
        const auto barText = [&](double bar) {
            char text[16];
            std::snprintf(text, sizeof text, "%s %.4g", line.atLeast ? ">=" : "<=", bar);
            return std::string(std::isnan(bar) ? "" : text);
        };
        const char* const verdict = std::isnan(line.must) ? ""
                                    : meets(line.reach)   ? "reached"
                                    : meets(line.must)    ? "pass"
                                                          : "short";
        shortLines += !meets(line.must);
        std::printf("%3d  %-44s %9s %9s %9.4g  %s\n", line.row, line.what.c_str(), barText(line.must).c_str(),
                    barText(line.reach).c_str(), figure, verdict);
    }
    return shortLines;
}

void printFigures(const Round::Wanted& wanted, std::vector<Round>& rounds) {
    std::puts("\nMedians, nanoseconds (or bytes) per observation:");
    for (std::size_t deck = 0; deck < kDecks; ++deck)
        for (std::size_t engine = 0; engine < kEngines; ++engine) {
            if (wanted[deck][engine].empty()) continue;
            std::printf("%-7s %-11s", kDeckNames[deck], kEngineNames[engine]);
            for (std::size_t measure = 0; measure < kMeasures; ++measure) {
                const double value = medianOf(rounds, [&](Round& r) { return r.figures[deck][engine].value[measure]; });
                if (value > 0) std::printf("  %s %.4g", kMeasureNames[measure], value);
            }
            std::puts("");
        }
}

int run(const Settings& settings) {
    Round::Wanted wanted;
    Round asker;
    asker.wanted = &wanted;
    for (const Line& line : allLines())
        if (settings.covers(line)) line.figure(asker);

    std::array<std::uint64_t, kDecks> deckLines{};
    const auto isWanted = [&](std::size_t deck) {
        return std::any_of(wanted[deck].begin(), wanted[deck].end(),
                           [](const std::set<Measure>& measures) { return !measures.empty(); });
    };
    for (std::size_t deck = 0; deck < kDecks; ++deck)
        if (isWanted(deck)) deckLines[deck] = makeDeck(static_cast<DeckId>(deck), settings);

    std::vector<Round> rounds;
    while (rounds.size() < static_cast<std::size_t>(settings.rounds)) {
        Round round;
        for (std::size_t deck = 0; deck < kDecks; ++deck) {
            if (!isWanted(deck)) continue;
            const auto id = static_cast<DeckId>(deck);
            for (std::size_t engine = 0; engine < kEngines; ++engine) {
                const std::set<Measure>& measures = wanted[deck][engine];
                if (measures.empty()) continue;
                const Job job{deckPath(id, settings), settings.directory / "saved.txt", *measures.rbegin()};
                round.figures[deck][engine] =
                    inChild(std::string(kEngineNames[engine]) + " on " + job.deckPath, engine == kObsMemory,
                            [&](Figures& f) { kRunners[engine](job, f); });
            }
            check(round.figures[deck], wanted[deck], id, optionsOf(id, settings).n, deckLines[deck]);
        }
        rounds.push_back(round);
        std::fprintf(stderr, "round %zu of %d done\n", rounds.size(), settings.rounds);
    }
    const int shortLines = printLines(settings, rounds);
    printFigures(wanted, rounds);
    return shortLines == 0 ? 0 : 3;
}

// ---- command line --------------------------------------------------------------------------------------

constexpr const char* kHelp =
    "obs_ratios [options]    the library against its peers; exit code 3 when a figure falls short\n"
    "  --n N         cards in a deck (1000000)\n"
    "  --rounds N    rounds whose medians are taken (5)\n"
    "  --rows LIST   only these rows, for example 1,2,10\n"
    "  --large       also row 5, with a deck four times as large\n"
    "  --dir DIR     where decks and saved files go and stay (a temporary directory, in memory\n"
    "                when the system has one)\n";

bool readSettings(int argc, char** argv, Settings& settings) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (name == "--large") settings.large = true;
        else if (i + 1 == argc) return false;
        else if (name == "--n") settings.n = std::strtoull(argv[++i], nullptr, 10);
        else if (name == "--rounds") settings.rounds = std::atoi(argv[++i]);
        else if (name == "--dir") settings.directory = argv[++i];
        else if (name == "--rows") {
            std::stringstream list(argv[++i]);
            for (std::string row; std::getline(list, row, ',');) settings.rows.insert(std::atoi(row.c_str()));
        } else return false;
    }
    return settings.n >= 100 && settings.n <= 100000000 && settings.rounds > 0;
}

}  // namespace

int main(int argc, char** argv) {
    Settings settings;
    if (!readSettings(argc, argv, settings)) return std::fputs(kHelp, stderr), 2;
    try {
        if (!settings.directory.empty()) return run(settings);
        const bench::TemporaryDirectory directory("obs-ratios");
        settings.directory = directory.path;
        return run(settings);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "obs_ratios: %s\n", error.what());
        return 1;
    }
}
