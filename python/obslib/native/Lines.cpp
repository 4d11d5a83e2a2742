// SPDX-License-Identifier: Apache-2.0
/// @file
/// Lines of text into observations and back, without the store.

#include <ObsDllExports.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <algorithm>

#include "Call.h"

namespace obslib {

namespace {

constexpr size_t kArrayLength = 64;

std::vector<std::string> arrayToLines(Reals values, int32_t format) {
    if (values.shape(1) != kArrayLength) throw Refused("an observation has 64 numbers");
    std::vector<std::string> lines;
    char line1[kTextLength], line2[kTextLength];
    for (size_t i = 0; i < values.shape(0); ++i) {
        if (ObsArrToLines(values.data() + i * kArrayLength, format, line1, line2) != 0) throw Refused(lastError());
        lines.push_back(given(line1));
        if (std::string second = given(line2); !second.empty()) lines.push_back(std::move(second));
    }
    return lines;
}

struct Reading {
    std::vector<double> values;
    std::optional<BadLine> fault;  // the first
};

/// The observations of a text in array form, as its lines state them.
Reals linesToArrays(const nb::bytes& text, int32_t year) {
    ObsReadState state{};
    state.size = sizeof state;
    state.ttyYear = year;
    state.isLast = 1;
    Reading reading;
    const int32_t result = ObsReadLines(
        text.c_str(), static_cast<int64_t>(text.size()), &state,
        [](const double values[kArrayLength], int64_t, int64_t, void* user) {
            auto& into = static_cast<Reading*>(user)->values;
            into.insert(into.end(), values, values + kArrayLength);
        },
        [](int32_t kind, int64_t line, int64_t, const char* reason, void* user) {
            auto& fault = static_cast<Reading*>(user)->fault;
            const std::string text = kind == OBS_LINE_BAD ? reason : std::string("not an observation: ") + reason;
            if (!fault && (kind == OBS_LINE_BAD || kind == OBS_LINE_PASSED_OVER)) fault.emplace(text, line);
        },
        &reading);
    if (result != 0) throw Refused(lastError());
    if (reading.fault) throw *reading.fault;
    return toArray(std::move(reading.values), kArrayLength);
}

std::vector<std::string> storedLines(Keys keys, int32_t format) {
    constexpr size_t kAtOnce = 4096, kMostBytes = 1026;
    std::vector<std::string> lines;
    std::vector<char> buffer(kMostBytes * std::min(kAtOnce, keys.shape(0)));
    std::vector<int64_t> offsets(kAtOnce);
    std::vector<int32_t> lengths(kAtOnce), statuses(kAtOnce);
    for (size_t from = 0; from < keys.shape(0); from += kAtOnce) {
        const int64_t* const some = keys.data() + from;
        const size_t count = std::min(kAtOnce, keys.shape(0) - from);
        if (ObsGetCards(static_cast<int32_t>(count), some, format, buffer.data(), static_cast<int64_t>(buffer.size()),
                        offsets.data(), lengths.data(), statuses.data()) != 0) {
            if (std::any_of(some, some + count, [](int64_t key) { return SatNumFrObsKey(key) < 0; }))
                throw KeyUnknown(lastError());
            throw Refused(lastError());
        }
        std::string_view text(buffer.data(), static_cast<size_t>(offsets[count - 1] + lengths[count - 1]));
        for (; !text.empty(); text.remove_prefix(text.find('\n') + 1)) {
            const std::string_view line = text.substr(0, text.find('\n'));
            lines.emplace_back(line.substr(0, line.find_last_not_of(' ') + 1));
        }
    }
    return lines;
}

}  // namespace

void bindLines(nb::module_& m) {
    define(m, "lines_to_arrays", linesToArrays, nb::arg("text"), nb::arg("year"));
    define(m, "array_to_lines", arrayToLines, nb::arg("values"), nb::arg("format"));
    define(m, "stored_lines", storedLines, nb::arg("keys"), nb::arg("format"));
}

}  // namespace obslib
