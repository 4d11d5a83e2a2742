#include "Obs/ObsCardReading/Csv.h"

#include <algorithm>

namespace obs {

bool IsCsvObs(const CardText& line) {
    constexpr std::ptrdiff_t kColons = 2, kCommas = 55;
    const std::string_view text = line.text();
    return isClassification(line.at(1)) && (std::count(text.begin(), text.end(), ':') == kColons ||
                                            std::count(text.begin(), text.end(), ',') == kCommas);
}

}  // namespace obs
