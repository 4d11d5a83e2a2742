// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/LaserRanging/RangeItems.h"

#include <cstring>
#include <limits>

#include "Obs/CardLayouts/PlainReals.h"
#include "Obs/ObsCardReading/LaserRanging/Items.h"

namespace obs {

namespace {

/// Half a day, light from beyond Neptune: it only keeps out what is not a time of flight.
constexpr double kLongestFlightS = 43200;

constexpr double kLeastFlightS = std::numeric_limits<double>::min();
constexpr std::int32_t kMostEpochEvent = 2, kMostFilterFlag = 2;

class PlainRange {
public:
    bool read(std::string_view line, bool isFullRate, RangeItems& items) {
        if (line.size() > kLongest) return false;
        line.copy(text_, line.size());
        std::memset(text_ + line.size(), ' ', kDigitRun);
        text_[line.size() + kDigitRun] = '\0';
        at_ = text_ + 2;
        if (!takeReal(items.secondOfDay) || !takeReal(items.timeOfFlightS)) return false;
        skipBlanks();
        const char* const name = at_;
        while (static_cast<unsigned char>(*at_) > ' ') ++at_;
        if (at_ == name || *at_ != ' ') return false;
        items.configuration = line.substr(static_cast<std::size_t>(name - text_), static_cast<std::size_t>(at_ - name));
        if (!takeFlag(kMostEpochEvent, items.epochEvent)) return false;
        skipBlanks();
        const bool hasFilterFlag = isFullRate && *at_ != '\0';
        if (hasFilterFlag && !takeFlag(kMostFilterFlag, items.filterFlag)) return false;
        return items.secondOfDay < kEndOfDayS && items.timeOfFlightS >= kLeastFlightS &&
               items.timeOfFlightS < kLongestFlightS && line.find('\0') == std::string_view::npos;
    }

private:
    static constexpr std::size_t kLongest = 100;

    void skipBlanks() {
        while (*at_ == ' ') ++at_;
    }
    bool takeReal(double& value) {
        skipBlanks();
        if (!isDigit(*at_)) return false;
        at_ = takePlainReal(at_, value);
        return at_ != nullptr && *at_ == ' ';
    }
    bool takeFlag(std::int32_t most, std::int32_t& value) {
        skipBlanks();
        value = *at_ - '0';
        return value >= 0 && value <= most && *++at_ == ' ';
    }

    char text_[kLongest + kDigitRun + 1];  ///< the line, blanks, and a NUL that ends them
    const char* at_ = nullptr;
};

}  // namespace

bool readPlainRangeItems(std::string_view line, bool isFullRate, RangeItems& items) {
    return PlainRange().read(line, isFullRate, items);
}

MaybeRefusal readRangeItems(std::string_view line, bool isFullRate, RangeItems& to) {
    const CrdItems items(line, crd::range::kFilterFlag + 1);
    to.filterFlag = 0;
    to.configuration = items[crd::range::kConfiguration];
    MaybeRefusal why = refuseNul(line);
    if (!why) why = readItem(items, crd::range::kSecondOfDay, "second of day", 0.0, kEndOfDayS, to.secondOfDay);
    if (!why)
        why = readItem(items, crd::range::kTimeOfFlight, "time of flight", kLeastFlightS, kLongestFlightS,
                       to.timeOfFlightS);
    if (!why) why = readItem(items, crd::range::kEpochEvent, "epoch event", 0, kMostEpochEvent, to.epochEvent);
    if (!why && isFullRate && !isMissing(items[crd::range::kFilterFlag]))
        why = readItem(items, crd::range::kFilterFlag, "filter flag", 0, kMostFilterFlag, to.filterFlag);
    return why;
}

}  // namespace obs
