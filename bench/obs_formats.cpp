// SPDX-License-Identifier: Apache-2.0
// Measures loading and saving in every format: the same observations as B3 cards, TTY messages, CSV lines and RF
// lines. Processor time, a process of its own for every format, medians of rounds in which the formats follow each
// other. Beside each figure stands what it is to the floor, which is reading the file for its line ends alone, or
// writing the saved bytes alone. All formats must load all observations and save as many lines; CSV, which loses
// nothing, the very lines that it was read from.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iterator>
#include <string_view>

#include "ObsDllExports.h"
#include "bench/Measure.h"
#include "bench/peers/Peers.h"
#include "tools/deck/Deck.h"

namespace {

using bench::median;
using bench::nsPer;
using bench::require;

struct Format {
    const char* name;
    deck::Form form;
    std::int32_t saveForm;
};
constexpr std::array<Format, 4> kFormats{
    {{"b3", deck::Form::b3, 0}, {"tty", deck::Form::tty, 1}, {"csv", deck::Form::csv, 2}, {"rf", deck::Form::rf, 3}}};

enum Step : std::size_t { kLoad, kScan, kSave, kWrite, kSteps };

/// Nanoseconds per observation; the sizes of the files and how many observations were loaded.
struct Figures {
    std::array<double, kSteps> ns{};
    std::size_t loadBytes = 0, saveBytes = 0, count = 0;
    std::uint64_t keys = 0;  ///< a sum over the keys that were loaded
};
using Round = std::array<Figures, kFormats.size()>;

struct Settings {
    std::size_t n = 200000;
    int rounds = 5;
    std::filesystem::path directory;
    std::string deck(const Format& format) const { return directory / (std::string("deck.") + format.name); }
    std::string saved(const Format& format) const { return directory / (std::string("saved.") + format.name); }
};

// ---- one format, one round -----------------------------------------------------------------------------

void loadAndSave(const Settings& settings, const Format& format, Figures& f) {
    const std::string path = settings.deck(format), saved = settings.saved(format);
    f.ns[kLoad] = nsPer(settings.n, [&] { ObsLoadFile(path.c_str()); });
    f.count = static_cast<std::size_t>(ObsGetCount());
    require(f.count == settings.n, "observations are missing");
    std::filesystem::remove(saved);
    f.ns[kSave] = nsPer(settings.n, [&] { require(ObsSaveFile(saved.c_str(), 0, format.saveForm) == 0, "not saved"); });
    f.loadBytes = std::filesystem::file_size(path);
    f.saveBytes = std::filesystem::file_size(saved);
    std::vector<std::int64_t> keys(settings.n);
    ObsGetLoaded(9, keys.data());
    for (const std::int64_t key : keys) f.keys = f.keys * 31 + static_cast<std::uint64_t>(key);
}

bool writeBytes(const std::string& path, const std::string& bytes) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    bool written = file >= 0;
    for (std::size_t at = 0; at < bytes.size(); at += peers::kBlock) {
        const std::string_view block = std::string_view(bytes).substr(at, peers::kBlock);
        written = written && ::write(file, block.data(), block.size()) == static_cast<ssize_t>(block.size());
    }
    return ::close(file) == 0 && written;
}

std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void floors(const Settings& settings, const Format& format, Figures& f) {
    f.ns[kScan] = nsPer(settings.n, [&] { require(peers::scanLines(settings.deck(format)) > 0, "no lines"); });
    const std::string bytes = textOf(settings.saved(format));
    std::filesystem::remove(settings.saved(format));
    f.ns[kWrite] = nsPer(settings.n, [&] { require(writeBytes(settings.saved(format), bytes), "cannot be written"); });
}

void checkSaved(const Settings& settings, const Format& format) {
    struct Lines {
        std::uint64_t count = 0, sum = 0;
    };
    const auto linesOf = [](const std::string& path) {
        Lines lines;
        peers::CharsText::forEachLine(path, [&](std::string_view line) {
            lines.sum += std::hash<std::string_view>{}(line);  // in any order
            ++lines.count;
        });
        return lines;
    };
    const Lines given = linesOf(settings.deck(format)), saved = linesOf(settings.saved(format));
    const bool yearIsLeftOut = format.form == deck::Form::tty;
    require(saved.count == given.count - yearIsLeftOut, "lines were not saved");
    require(format.form != deck::Form::csv || saved.sum == given.sum, "saved lines differ from the deck's");
}

Figures measured(const Settings& settings, const Format& format) {
    const std::string what = settings.deck(format);
    Figures f = bench::inChild<Figures>(what, [&](Figures& found) { loadAndSave(settings, format, found); });
    checkSaved(settings, format);
    const auto floor = bench::inChild<Figures>(what, [&](Figures& found) { floors(settings, format, found); });
    f.ns[kScan] = floor.ns[kScan];
    f.ns[kWrite] = floor.ns[kWrite];
    return f;
}

// ---- the whole run -------------------------------------------------------------------------------------

void makeDeck(const Settings& settings, const Format& format) {
    bench::inChild<Figures>("making " + settings.deck(format), [&](Figures&) {
        deck::Options options;
        options.n = settings.n;
        options.form = format.form;
        std::FILE* const file = std::fopen(settings.deck(format).c_str(), "wb");
        require(file != nullptr, "cannot be opened");
        deck::writeDeck(options, file);
        const bool written = std::ferror(file) == 0;
        require((std::fclose(file) == 0) && written, "cannot be written");
    });
}

double medianOf(const std::vector<Round>& rounds, const std::function<double(const Round&)>& figure) {
    std::vector<double> values;
    for (const Round& round : rounds) values.push_back(figure(round));
    return median(values);
}

void printTable(const char* title, const std::vector<Round>& rounds, Step step, Step floor,
                std::size_t Figures::*bytes) {
    std::printf("%-5s %12s %12s %12s %8s %9s %18s\n", title, "bytes/obs", "ns/obs", "million/s", "MB/s", "x floor",
                "per byte, x b3");
    for (std::size_t i = 0; i < kFormats.size(); ++i) {
        const double size = static_cast<double>(rounds[0][i].*bytes);
        const double ns = medianOf(rounds, [&](const Round& r) { return r[i].ns[step]; });
        const double toFloor = medianOf(rounds, [&](const Round& r) { return r[i].ns[step] / r[i].ns[floor]; });
        const double perByte = medianOf(rounds, [&](const Round& r) {
            return r[i].ns[step] / size / (r[0].ns[step] / static_cast<double>(r[0].*bytes));
        });
        const double perObs = size / static_cast<double>(rounds[0][i].count);
        std::printf("%-5s %12.1f %12.1f %12.2f %8.0f %9.2f %18.2f\n", kFormats[i].name, perObs, ns, 1e3 / ns,
                    1e3 * perObs / ns, toFloor, perByte);
    }
    std::puts("");
}

/// @return whether a CSV line loads as fast as it must, compared with a B3 card.
bool printCsvToB3(const std::vector<Round>& rounds) {
    constexpr double kMust = 4, kReach = 2.5;
    const double ratio = medianOf(rounds, [](const Round& r) { return r[2].ns[kLoad] / r[0].ns[kLoad]; });
    std::printf("row 19, load per line, csv / b3: must <= %.4g, reach <= %.4g, measured %.4g: %s\n", kMust, kReach,
                ratio,
                ratio <= kReach  ? "reached"
                : ratio <= kMust ? "pass"
                                 : "short");
    return ratio <= kMust;
}

int run(const Settings& settings) {
    for (const Format& format : kFormats) makeDeck(settings, format);
    std::vector<Round> rounds(static_cast<std::size_t>(settings.rounds));
    for (Round& round : rounds) {
        for (std::size_t i = 0; i < kFormats.size(); ++i) round[i] = measured(settings, kFormats[i]);
        // RF lines come from sensors of their own.
        require(round[0].keys == round[1].keys && round[0].keys == round[2].keys, "other keys in another format");
    }
    printTable("load", rounds, kLoad, kScan, &Figures::loadBytes);
    printTable("save", rounds, kSave, kWrite, &Figures::saveBytes);
    return printCsvToB3(rounds) ? 0 : 3;
}

constexpr const char* kHelp =
    "obs_formats [options]   loading and saving in every format; exit code 3 when a figure falls short\n"
    "  --n N         observations (200000)\n"
    "  --rounds N    rounds whose medians are taken (5)\n";

bool readSettings(int argc, char** argv, Settings& settings) {
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string_view name = argv[i];
        if (name == "--n") settings.n = std::strtoull(argv[i + 1], nullptr, 10);
        else if (name == "--rounds") settings.rounds = std::atoi(argv[i + 1]);
        else return false;
    }
    return argc % 2 == 1 && settings.n >= 100 && settings.n <= 100000000 && settings.rounds > 0;
}

}  // namespace

int main(int argc, char** argv) {
    Settings settings;
    if (!readSettings(argc, argv, settings)) return std::fputs(kHelp, stderr), 2;
    try {
        const bench::TemporaryDirectory directory("obs-formats");
        settings.directory = directory.path;
        return run(settings);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "obs_formats: %s\n", error.what());
        return 1;
    }
}
