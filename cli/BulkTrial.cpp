// SPDX-License-Identifier: Apache-2.0
#include "BulkTrial.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>

#include "ColumnScan.h"
#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"

namespace obstool {

namespace {

// Elements of the array form. CSV data set the number of sigmas.
constexpr std::size_t kSatelliteElement = 1, kRangeRateElement = 7, kTypeElement = 11, kEquinoxElement = 22;
constexpr std::size_t kFirstCompared = 1, kComparedEnd = kEquinoxElement + 1;  ///< the class is a character of the line
constexpr std::string_view kWithRangeRate = "01234678MOPVR";                   ///< among what ObsGetAllFields gives
constexpr int kRaDec = 5, kPositionVelocity = 7, kSpaceRaDec = 9;              ///< types
constexpr char kRf = 'R';

/// The last bit does not count. Not a number is never the same.
bool isSame(double a, double b) {
    return a == b || std::fabs(a - b) <= std::numeric_limits<double>::epsilon() * std::max(std::fabs(a), std::fabs(b));
}

bool isZero(double value) { return value == 0; }

/// Of elements which may be anything on the way back, see isAbsent of Values.
bool isAbsent(std::size_t element, const std::array<double, 64>& array) {
    constexpr std::size_t kElements[] = {13, 14, 15};
    constexpr ValueIndex kIndices[] = {kIndicator2, kAltSatNum1, kAltSatNum2};
    const auto* const at = std::find(std::begin(kElements), std::end(kElements), element);
    return at != std::end(kElements) &&
           isAbsent(kIndices[at - std::begin(kElements)], array[element], array[kSatelliteElement]);
}

}  // namespace

BulkTrial::BulkTrial(const Format& format) : format_(format), isLookedAt_(format.isOfCards() && format.carriesYear()) {}

void BulkTrial::tryOut(std::span<const std::int64_t> keys) {
    const std::size_t count = keys.size();
    arrays_.resize(count);
    ObsDataToArrays(static_cast<std::int32_t>(count), keys.data(), arrays_.front().data());
    isWhole_.assign(count, 0);
    showsMore_.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const Array& array = arrays_[i];
        const char type = ObsTypeIToC(static_cast<std::int32_t>(array[kTypeElement]));
        const bool hasRangeRate = kWithRangeRate.find(type) != std::string_view::npos;
        const bool isPlain = (hasRangeRate || isZero(array[kRangeRateElement])) && type != kRf &&
                             std::all_of(array.begin() + kEquinoxElement, array.end(), isZero);
        showsMore_[i] = static_cast<std::uint8_t>(!isPlain);
    }
    if (!isLookedAt_) return;
    ColumnScan scan(keys, {"sec_class", "sen_vel_x", "sen_vel_y", "sen_vel_z"});
    scan.next();
    scan.values(0, secClass_);
    for (std::size_t i = 0; i < velocities_.size(); ++i) scan.values(i + 1, velocities_[i]);
    constexpr std::size_t kRoom = 1026;
    text_.resize(kRoom * count);
    offsets_.resize(count);
    lengths_.resize(count);
    statuses_.resize(count);
    ObsGetCards(static_cast<std::int32_t>(count), keys.data(), format_.facts[OBS_FORMAT_SAVE_FORM], text_.data(),
                static_cast<std::int64_t>(text_.size()), offsets_.data(), lengths_.data(), statuses_.data());
    readBack();
}

void BulkTrial::readBack() {
    std::int64_t end = 0;
    for (std::size_t i = 0; i < offsets_.size(); ++i)
        if (lengths_[i] > 0) end = offsets_[i] + lengths_[i];
    ObsReadState state{};
    state.size = sizeof state;  // angles stay in the equinox that the line states
    state.isLast = 1;
    next_ = 0;
    ObsReadLines(
        text_.data(), end, &state,
        [](const double* array, std::int64_t, std::int64_t offset, void* self) {
            static_cast<BulkTrial*>(self)->compare(array, offset);
        },
        nullptr, this);
}

/// What a line at a place gives back.
void BulkTrial::compare(const double* back, std::int64_t offset) {
    while (next_ < offsets_.size() && (lengths_[next_] == 0 || offsets_[next_] < offset)) ++next_;
    if (next_ == offsets_.size() || offsets_[next_] != offset) return;
    const std::size_t i = next_++;
    const Array& array = arrays_[i];
    const char* const line = text_.data() + offset;
    const auto secClass = static_cast<unsigned char>(line[format_.facts[OBS_FORMAT_CLASS_COLUMN] - 1]);
    const bool isSameClass = secClass == secClass_[i];
    const bool isOneLine = std::memchr(line, '\n', static_cast<std::size_t>(lengths_[i])) == line + lengths_[i] - 1;
    bool isWhole = statuses_[i] == 0 && isOneLine && isSameClass;
    for (std::size_t e = kFirstCompared; e < kComparedEnd; ++e)
        isWhole = isWhole && (isSame(array[e], back[e]) || isAbsent(e, array));
    isWhole_[i] = static_cast<std::uint8_t>(isWhole && !needsCloserLook(i));
}

/// Where the array does not hold what ObsGetAllFields gives, or that is not all.
bool BulkTrial::needsCloserLook(std::size_t i) const {
    const Array& array = arrays_[i];
    const auto type = static_cast<int>(array[kTypeElement]);
    if (type == kPositionVelocity) return true;
    if ((type == kRaDec || type == kSpaceRaDec) && !isZero(array[kRangeRateElement])) return true;
    if (type == kSpaceRaDec && !isZero(array[kEquinoxElement])) return true;
    const auto hasVelocity = [i](const std::vector<double>& ofAll) {
        return !std::isnan(ofAll[i]) && !isZero(ofAll[i]);
    };
    if (std::any_of(velocities_.begin(), velocities_.end(), hasVelocity)) return true;
    if (format_.dropsRfFields() && ObsTypeIToC(type) == kRf) return true;
    return showsMoreAsCsv(i) && !format_.carriesCsvFields();
}

}  // namespace obstool
