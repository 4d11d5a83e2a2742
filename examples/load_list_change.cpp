// SPDX-License-Identifier: Apache-2.0
// Loads a deck, lists observations, corrects one, shows it in two formats and saves all.
//
//     c++ -std=c++17 load_list_change.cpp $(pkg-config --cflags --libs obs) -o load_list_change
//     ./load_list_change deck.txt all.csv
//
// The programs beside this one do the same in C, Fortran and Python and print the same.
#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <ObsDllExports.h>
#include <ObsFamily.h>

namespace {

constexpr std::int32_t kRangeField = 9;
constexpr std::int32_t kBySensorAscending = -4;
constexpr std::int32_t kCsvForm = 2;

/// Obs writes texts of 512 characters, blank-padded, without a NUL. This is one, and as a string without the blanks.
struct Text {
    char characters[512];

    std::string str() const {
        const std::string all(characters, sizeof characters);
        return all.substr(0, all.find_last_not_of(' ') + 1);
    }
};

/// Turns a status into an exception that says why: every failure leaves its reason as the thread's last error.
void check(bool done, const std::string& what) {
    if (done) return;
    Text reason;
    FamilyGetLastError(reason.characters);
    throw std::runtime_error(what + ": " + reason.str());
}

void list(std::int64_t key) {
    char secClass, type;
    std::int32_t satellite, sensor, indicator1, indicator2, altSatNum1, altSatNum2;
    double days, elOrDec, azOrRa, range, rangeRate, elRate, azRate, rangeAccel, pos[3], vel[3], unused[128];
    check(ObsGetAllFields(key, &secClass, &satellite, &sensor, &days, &elOrDec, &azOrRa, &range, &rangeRate, &elRate,
                          &azRate, &rangeAccel, &type, &indicator1, &indicator2, &altSatNum1, &altSatNum2, pos, vel,
                          unused) == 0,
          "An observation cannot be read");
    std::cout << std::fixed << std::setw(19) << key << std::setw(10) << satellite << std::setw(7) << sensor
              << std::setw(5) << type << std::setprecision(8) << std::setw(18) << days << std::setprecision(4)
              << std::setw(12) << elOrDec << std::setw(12) << azOrRa << std::setw(12) << range << '\n';
}

std::string field(std::int64_t key, std::int32_t index) {
    Text value;
    check(ObsGetField(key, index, value.characters) == 0, "A field cannot be read");
    return value.str();
}

/// Adds 0.1 km to a range, as for a radar found to measure short. Fields are exchanged as texts; one that ends
/// with a NUL, as c_str() does, need not be padded.
void correctRange(std::int64_t key) {
    const std::string before = field(key, kRangeField);
    std::ostringstream wanted;
    wanted << std::fixed << std::setprecision(15) << std::stod(before) + 0.1;
    check(ObsSetField(key, kRangeField, wanted.str().c_str()) == 0, "The range cannot be changed");
    std::cout << "Range before: " << before << " km, after: " << field(key, kRangeField) << " km\n";
}

void run(const char* deck, const char* csvFile) {
    // The result tells of the last line only; the counts tell of all. Bad lines are left out.
    ObsLoadFile(deck);
    check(ObsGetCount() > 0, "Nothing was loaded");
    std::int64_t loaded, duplicate, bad;
    ObsGetLoadCounts(&loaded, &duplicate, &bad);
    std::cout << loaded << " observations loaded, " << duplicate << " duplicate and " << bad << " bad ones left out\n";

    std::vector<std::int64_t> keys(static_cast<std::size_t>(ObsGetCount()));
    ObsGetLoaded(kBySensorAscending, keys.data());
    std::cout << "The first by sensor, satellite and time:\n"
                 "                key satellite sensor type   days since 1950  el/dec deg   az/ra deg    range km\n";
    std::for_each_n(keys.begin(), std::min<std::size_t>(keys.size(), 5), list);

    correctRange(keys.front());

    // A conversion needs no stored observation; here its card comes from one.
    Text card, line;
    check(ObsGetB3Card(keys.front(), card.characters) == 0, "There is no card");
    check(ObsB3ToCsv(card.characters, line.characters) == 0, "The card cannot be converted");
    std::cout << card.str() << '\n' << line.str() << '\n';

    check(ObsSaveFile(csvFile, 0, kCsvForm) == 0, "The file cannot be written");
    std::cout << keys.size() << " observations saved\n";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: load_list_change DECK CSV_FILE\n";
        return 2;
    }
    try {
        run(argv[1], argv[2]);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
