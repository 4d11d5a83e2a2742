// SPDX-License-Identifier: Apache-2.0
// Parts of the library's cost, each through one exported function.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "ObsDllExports.h"
#include "bench/peers/Peers.h"
#include "siblings/include/ObsFamily.h"
#include "tools/deck/Deck.h"

namespace {

constexpr std::size_t kCards = 100000;

std::vector<std::string> makeCards(double b3e) {
    deck::Options options;
    options.n = kCards;
    options.b3e = b3e;
    std::vector<std::string> cards;
    for (const deck::Look& look : deck::makeLooks(options)) {
        cards.push_back(deck::message(look, deck::Form::b3, options.year));
        cards.back().resize(512, ' ');
    }
    return cards;
}

const std::vector<std::string>& b3Cards() {
    static const std::vector<std::string> cards = makeCards(0);
    return cards;
}

/// Stops a measurement whose work was not done, so that no figure comes out of it.
void require(benchmark::State& state, bool done) {
    if (!done) state.SkipWithError("the library refused what it was given");
}

void loadAll(benchmark::State& state) {
    std::int32_t status = 0;
    for (const std::string& card : b3Cards()) status |= ObsLoadCard(card.data());
    require(state, status == 0 && ObsGetCount() == static_cast<std::int32_t>(kCards));
}

/// Fills the store and gives its keys in random order; empties it at the end.
class Filled {
public:
    explicit Filled(benchmark::State& state) : keys(kCards, 1) {
        loadAll(state);
        ObsGetLoaded(9, keys.data());
        deck::Random random{42};
        for (std::size_t i = kCards; i > 1; --i) std::swap(keys[i - 1], keys[random.below(i)]);
    }
    ~Filled() { ObsRemoveAll(); }
    Filled(const Filled&) = delete;
    Filled& operator=(const Filled&) = delete;

    std::vector<std::int64_t> keys;
};

void perItem(benchmark::State& state, std::size_t items) {
    state.counters["each"] = benchmark::Counter(
        static_cast<double>(items), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// With argument 1 the type 5 cards, a fifth, are B3E cards.
void parse(benchmark::State& state) {
    const std::vector<std::string> cards = makeCards(static_cast<double>(state.range(0)));
    char secClass = 0, type = 0;
    std::int32_t satNum = 0, senNum = 0, indicator1 = 0, indicator2 = 0, alt1 = 0, alt2 = 0, status = 0;
    double time = 0, el = 0, az = 0, range = 0, rate = 0, elRate = 0, azRate = 0, accel = 0, pos[3] = {};
    for (auto _ : state)
        for (const std::string& card : cards)
            status |= ObsB3Parse(card.data(), &secClass, &satNum, &senNum, &time, &el, &az, &range, &rate, &elRate,
                                 &azRate, &accel, &type, &indicator1, &indicator2, &alt1, &alt2, pos);
    require(state, status == 0);
    perItem(state, cards.size());
}
BENCHMARK(parse)->Name("ObsB3Parse")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void loadCard(benchmark::State& state) {
    for (auto _ : state) {
        loadAll(state);
        state.PauseTiming();
        ObsRemoveAll();
        state.ResumeTiming();
    }
    perItem(state, kCards);
}
BENCHMARK(loadCard)->Name("ObsLoadCard")->Unit(benchmark::kMillisecond);

void getCard(benchmark::State& state) {
    const Filled store(state);
    char card[512];
    std::int32_t status = 0;
    for (auto _ : state)
        for (const std::int64_t key : store.keys) status |= ObsGetB3Card(key, card);
    require(state, status == 0);
    perItem(state, kCards);
}
BENCHMARK(getCard)->Name("ObsGetB3Card")->Unit(benchmark::kMillisecond);

void lookUp(benchmark::State& state) {
    const Filled store(state);
    std::int64_t sum = 0, found = 0;
    for (auto _ : state)
        for (const std::int64_t key : store.keys) {
            const std::int32_t satNum = SatNumFrObsKey(key);
            sum += satNum;
            found += satNum >= 0;
        }
    benchmark::DoNotOptimize(sum);
    require(state, found == state.iterations() * static_cast<std::int64_t>(kCards));
    perItem(state, kCards);
}
BENCHMARK(lookUp)->Name("SatNumFrObsKey")->Unit(benchmark::kMillisecond);

void makeKey(benchmark::State& state) {
    double time = 27029.0;
    std::int64_t lowest = 0;
    for (auto _ : state) lowest = std::min(lowest, ObsFieldsToObsKey(12345, 211, time += 0.0001));
    require(state, lowest == 0);
    perItem(state, 1);
}
BENCHMARK(makeKey)->Name("ObsFieldsToObsKey");

void list(benchmark::State& state) {
    const Filled store(state);
    std::vector<std::int64_t> keys(kCards, -1);
    for (auto _ : state) ObsGetLoaded(static_cast<std::int32_t>(state.range(0)), keys.data());
    require(state, std::count(keys.begin(), keys.end(), -1) == 0);
    perItem(state, kCards);
}
BENCHMARK(list)->Name("ObsGetLoaded")->DenseRange(-10, -1)->Arg(1)->Arg(9)->Unit(benchmark::kMillisecond);

/// One bound that few observations meet, one that many do, and an expression.
void select(benchmark::State& state, const char* criteria) {
    const Filled store(state);
    std::vector<std::int64_t> keys(kCards);
    std::int32_t count = -1;
    for (auto _ : state) ObsGetSelectedByText(criteria, 9, &count, keys.data());
    require(state, count > 0);
    perItem(state, kCards);
}
BENCHMARK_CAPTURE(select, few, "el>85")->Name("ObsGetSelectedByText/few")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(select, many, "el>20")->Name("ObsGetSelectedByText/many")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(select, terms, "sat<20000 (el>45 or not range>1000)")
    ->Name("ObsGetSelectedByText/terms")
    ->Unit(benchmark::kMillisecond);

/// What a load cannot undercut: reading the file and finding its lines.
void scan(benchmark::State& state) {
    std::string path = std::filesystem::temp_directory_path() / "obs-parts-XXXXXX";
    const int file = ::mkstemp(path.data());
    std::FILE* const stream = file < 0 ? nullptr : ::fdopen(file, "wb");
    if (stream == nullptr) return state.SkipWithError("no temporary file");
    deck::Options options;
    options.n = kCards;
    deck::writeDeck(options, stream);
    std::fclose(stream);
    std::size_t lines = 0;
    for (auto _ : state) lines = peers::scanLines(path);
    ::unlink(path.c_str());
    require(state, lines == kCards);
    perItem(state, kCards);
}
BENCHMARK(scan)->Name("read and scan a file")->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    // A refusal shows its reason; without this it would only stop the measurement.
    FamilySetLogCallback(
        [](std::int32_t severity, const char* text, void*) {
            if (severity != 0) std::fprintf(stderr, "%s\n", text);
        },
        nullptr);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
