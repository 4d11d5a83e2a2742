// SPDX-License-Identifier: Apache-2.0
// What a call for each observation costs, and what the calls for many observations save: processor time, medians of
// rounds in which both ways follow each other on the same store. bench/obs_calls.py does the same from Python.
#include <cstdint>
#include <map>
#include <random>

#include "ObsDllExports.h"
#include "bench/Measure.h"

namespace {

using bench::median;
using bench::nsPer;
using bench::require;

constexpr std::size_t kCount = 200000;
constexpr std::size_t kLength = 64;
constexpr int kRounds = 7;
constexpr int kRangeField = 9;

/// Looks of 20 satellites, a second apart.
std::vector<double> makeArrays() {
    std::vector<double> arrays(kCount * kLength);
    for (std::size_t i = 0; i < kCount; ++i) {
        double* array = &arrays[i * kLength];
        array[0] = 1;
        array[1] = 100 + static_cast<double>(i % 20);
        array[2] = 211;
        array[3] = 27030 + static_cast<double>(i) / 86400;
        array[4] = array[5] = 45.25;
        array[6] = 1000 + static_cast<double>(i);
        array[11] = 3;
    }
    return arrays;
}

class Report {
public:
    /// Both ways must come to the same sum, or one of them did not do the work.
    template <class Single, class Many>
    void compare(const char* what, Single single, Many many) {
        double sums[2] = {};
        for (int round = 0; round < kRounds; ++round) {
            times_[what].first.push_back(nsPer(kCount, [&] { sums[0] = single(); }));
            times_[what].second.push_back(nsPer(kCount, [&] { sums[1] = many(); }));
            require(sums[0] == sums[1], std::string(what) + ": the ways differ");
        }
        const double one = median(times_[what].first), all = median(times_[what].second);
        std::printf("%-42s %10.1f %10.1f %8.2f\n", what, one, all, one / all);
    }

private:
    std::map<std::string, std::pair<std::vector<double>, std::vector<double>>> times_;
};

/// Of the ranges, or of the one field that was asked for.
double sum(const std::vector<double>& values) {
    const std::size_t step = values.size() / kCount;
    double total = 0;
    for (std::size_t i = step == 1 ? 0 : 6; i < values.size(); i += step) total += values[i];
    return total;
}

void run() {
    const std::vector<double> arrays = makeArrays();
    std::vector<double> out(arrays.size()), values(kCount);
    std::vector<std::int64_t> keys(kCount), shuffled;
    Report report;
    std::printf("%-42s %10s %10s %8s\n", "ns per observation", "each", "at once", "ratio");
    report.compare(
        "arrays added to an empty store",
        [&] {
            ObsRemoveAll();
            for (std::size_t i = 0; i < kCount; ++i) keys[i] = ObsAddFrArray(&arrays[i * kLength]);
            return static_cast<double>(keys[kCount / 2]);
        },
        [&] {
            ObsRemoveAll();
            require(ObsAddFrArrays(kCount, arrays.data(), keys.data()) == 0, "not all added");
            return static_cast<double>(keys[kCount / 2]);
        });
    shuffled = keys;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
    for (const auto* order : {&keys, &shuffled}) {
        const bool inOrder = order == &keys;
        report.compare(
            inOrder ? "arrays read, by time" : "arrays read, shuffled",
            [&] {
                for (std::size_t i = 0; i < kCount; ++i) ObsDataToArray((*order)[i], &out[i * kLength]);
                return sum(out);
            },
            [&] {
                ObsDataToArrays(kCount, order->data(), out.data());
                return sum(out);
            });
        report.compare(
            inOrder ? "one field, by time" : "one field, shuffled",
            [&] {
                char text[513] = {};
                for (std::size_t i = 0; i < kCount; ++i) {
                    ObsGetField((*order)[i], kRangeField, text);
                    values[i] = std::strtod(text, nullptr);
                }
                return sum(values);
            },
            [&] {
                ObsGetFieldReals(kCount, order->data(), kRangeField, values.data());
                return sum(values);
            });
    }
}

}  // namespace

int main() {
    try {
        run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "obs_calls: %s\n", error.what());
        return 1;
    }
    return 0;
}
