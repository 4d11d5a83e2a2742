// SPDX-License-Identifier: Apache-2.0
#include "RfLines.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <string>
#include <string_view>

#include "Formats.h"

namespace obstool {

namespace {

constexpr std::int64_t kFirstLine = 2;  // after the header

/// Whether a line has more than an observation that came from a CSV line: then the delays, the rf and
/// all after it are these.
bool isBeyondCsv(std::string_view line) {
    constexpr std::size_t kDelay1 = 113, kDelay2 = 125, kRf = 135;
    if (line.size() < kRf) return true;
    return line.substr(kDelay1, 3) != "0.0" || line.substr(kDelay2, 3) != "  0" ||
           line.substr(kRf) != "          0 1949:12:31::00:00:00.000000       0.00";
}

/// The time that a line begins with, days since 1950 UTC; not a number for asterisks.
double timeOf(const std::string& line) {
    using namespace std::chrono;
    int y = 0, hour = 0, minute = 0;
    unsigned m = 0, d = 0;
    double second = 0;
    if (std::sscanf(line.c_str(), "%4d:%2u:%2u::%2d:%2d:%9lf", &y, &m, &d, &hour, &minute, &second) != 6)
        return std::numeric_limits<double>::quiet_NaN();
    const auto days = sys_days{year{y} / month{m} / day{d}} - sys_days{year{1949} / December / 31};
    return static_cast<double>(days.count()) + (hour * 60 + minute) / 1440.0 + second / 86400.0;
}

bool isSameTime(double a, double b) {
    constexpr double kMicrosecond = 1e-6 / 86400.0;
    return std::fabs(a - b) <= 2 * kMicrosecond;
}

/// NOTE: the sensor is not compared, since descriptions may be ambiguous.
bool isSame(const Observation& a, const Observation& b) {
    return a.satellite == b.satellite && isSameTime(a.time, b.time) &&
           std::fabs(a.range - b.range) <= 1e-9 * std::fabs(a.range);
}

}  // namespace

RfLines::RfLines(std::int32_t freeGroup) : set_(*findFormat("rf"), freeGroup) {
    readFile();
    assignKeys();
}

void RfLines::readFile() {
    std::ifstream file(set_.path());
    std::string line;
    for (std::int64_t number = 1; std::getline(file, line); ++number)
        if (number >= kFirstLine) lines_.push_back({true, isBeyondCsv(line), 0, timeOf(line)});
}

void RfLines::assignKeys() {
    for (const std::int64_t number : set_.badLines()) {
        const auto index = static_cast<std::size_t>(number - kFirstLine);
        if (index < lines_.size()) lines_[index].readBack = -1;
    }
    auto key = set_.keys().begin();
    for (Line& line : lines_)
        if (line.readBack != -1) line.readBack = key != set_.keys().end() ? *key++ : -1;
}

RfLines::Line RfLines::next(const Observation& observation) {
    if (next_ == lines_.size()) return {};
    const Line& line = lines_[next_];
    // An observation before the one that has the line was refused. Of a bad line only the time is known.
    const bool isIts = line.readBack != -1 ? isSame(observation, observationOf(line.readBack))
                                           : std::isnan(line.time) || isSameTime(line.time, observation.time);
    if (!isIts) return {};
    ++next_;
    return line;
}

}  // namespace obstool
