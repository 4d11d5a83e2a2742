// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "DllExports/Obs/ObsDllVarsUtils/SecClass.h"
#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "Obs/ObsTree/BulkAdd.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Sensors.h"

namespace obs {

namespace {

// Elements of the array.
enum : std::size_t {
    kSecClass = 0,
    kElRate = 8,
    kAzRate = 9,
    kType = 11,
    kPosition = 16,
    kVelocity = 19,
    kEquinox = 22,
    kCsvReals = 23,
    kCsvReal10 = 32,
    kCsvInt1 = 33,
    kCsvInt2 = 34,
    kCsvChar = 35,
    kBiases = 33,
    kBiasesEnd = 40,
    kSigmaCount = 40,
    kSigmas = 41,
};
constexpr std::size_t kVectorLength = 3;
constexpr std::int32_t kCsvMark = 7;  ///< the sigma count that also says "CSV data present"
constexpr std::size_t kSigmaCounts[] = {6, 7, 21};

/// In order of their numbers, from 0. The optional parts share elements: "or" stands between their names.
constexpr std::array<ElementDef, kArrayLength> kElements{{
    {"secClass", "1 U, 2 C, 3 S"}, {"satNum", ""}, {"senNum", ""}, {"obsTime", "days since 1950 UTC"},
    {"elOrDec", "degrees"}, {"azOrRa", "degrees"}, {"range", "km"}, {"rangeRate", "km/s"},
    {"elRate", "as on the cards"}, {"azRate", "as on the cards"}, {"rangeAccel", "as on the cards"},
    {"obsType", ""}, {"indicator1", ""}, {"indicator2", ""}, {"altSatNum1", ""}, {"altSatNum2", ""},
    {"posX", "km"}, {"posY", "km"}, {"posZ", "km"}, {"velX", "km/s"}, {"velY", "km/s"}, {"velZ", "km/s"},
    {"equinoxInd", ""},
    {"csvReal1", ""}, {"csvReal2", ""}, {"csvReal3", ""}, {"csvReal4", ""}, {"csvReal5", ""}, {"csvReal6", ""},
    {"csvReal7", ""}, {"csvReal8", ""}, {"csvReal9", ""}, {"csvReal10", ""},
    {"csvInt1 or bias1", ""}, {"csvInt2 or bias2", ""}, {"csvChar or bias3", "csvChar: 1 T, 0 other"},
    {"bias4", ""}, {"bias5", ""}, {"bias6", ""}, {"bias7", ""},
    {"sigmaCount", "7 also when csv data"},
    {"sigma1", ""}, {"sigma2", ""}, {"sigma3", ""}, {"sigma4", ""}, {"sigma5", ""}, {"sigma6", ""}, {"sigma7", ""},
    {"sigma8", ""}, {"sigma9", ""}, {"sigma10", ""}, {"sigma11", ""}, {"sigma12", ""}, {"sigma13", ""},
    {"sigma14", ""}, {"sigma15", ""}, {"sigma16", ""}, {"sigma17", ""}, {"sigma18", ""}, {"sigma19", ""},
    {"sigma20", ""}, {"sigma21", ""}, {"", ""}, {"", ""},
}};

/// Elements that pass between array and record as they are.
template <class T>
using Plain = std::pair<std::size_t, T ObsFields::*>;
constexpr std::array kReals{
    Plain<double>{3, &ObsFields::obsTime},   Plain<double>{4, &ObsFields::elOrDec},
    Plain<double>{5, &ObsFields::azOrRa},    Plain<double>{6, &ObsFields::range},
    Plain<double>{7, &ObsFields::rangeRate}, Plain<double>{10, &ObsFields::rangeAccel},
};
constexpr std::array kIntegers{
    Plain<std::int32_t>{1, &ObsFields::satNum},      Plain<std::int32_t>{2, &ObsFields::senNum},
    Plain<std::int32_t>{12, &ObsFields::indicator1}, Plain<std::int32_t>{13, &ObsFields::indicator2},
    Plain<std::int32_t>{14, &ObsFields::altSatNum1}, Plain<std::int32_t>{15, &ObsFields::altSatNum2},
};

/// An array whose elements stand a stride apart.
class Elements {
public:
    Elements(double* first, std::size_t stride) : first_(first), stride_(stride) {}
    double& operator[](std::size_t element) const { return first_[element * stride_]; }
    template <class Values>
    void put(std::size_t element, const Values& values, std::size_t count) const {
        for (std::size_t i = 0; i < count; ++i) (*this)[element + i] = values[i];
    }

private:
    double* first_;
    std::size_t stride_;
};

void putVectors(const ObsRecord& rec, const Elements& out) {
    switch (family::obstypeinttochar(rec.obsType)) {
        case '8':
        case '9':
        case 'M':
        case 'O':  // NOTE: the sensor velocity of these types is deliberately not given
            return out.put(kPosition, rec.senPos, kVectorLength);
        case 'P':
        case 'V':
            out.put(kPosition, rec.satPos, kVectorLength);
            return out.put(kVelocity, rec.satVel, kVectorLength);
        case '7':
            out.put(kPosition, rec.senPos, kVectorLength);
            return out.put(kVelocity, rec.senVel, kVectorLength);
        default: return;
    }
}

void putSigmas(const RealList& sigmas, const Elements& out) {
    const std::size_t count = std::min(sigmas.values.size(), kArrayLength - kSigmas);
    out[kSigmaCount] = static_cast<double>(count);
    out.put(kSigmas, sigmas.values, count);
}

void putCsvData(const CsvObsData& csv, const Elements& out) {
    out.put(kCsvReals, csv.csvReals, csv.csvReals.size());
    out[kCsvReal10] = csv.csvReal10;
    out[kCsvInt1] = csv.csvInt1;
    out[kCsvInt2] = csv.csvInt2;
    if (csv.csvChar == 'T') out[kCsvChar] = 1;  // else the third bias stays
    out[kSigmaCount] = kCsvMark;
}

std::int32_t integerOf(double real) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (std::isnan(real)) return 0;
    return static_cast<std::int32_t>(std::clamp(real, double{Limits::min()}, double{Limits::max()}));
}

bool anyNonzero(const double* obsArr, std::size_t from, std::size_t end) {
    return std::any_of(obsArr + from, obsArr + end, [](double value) { return value != 0; });
}

/// NOTE: decided on the number of the type, where the way out goes by its character.
void takeVectors(const double* obsArr, std::int32_t type, ObsRecord& rec) {
    const bool ofSensor = type == kTypePositionVelocity || kSensorPositionTypes.has(type);
    const bool ofSatellite = type == kTypeEciPosition || type == kTypeEciPositionVelocity;
    if (!ofSensor && !ofSatellite) return;
    std::copy_n(obsArr + kPosition, kVectorLength, (ofSensor ? rec.senPos : rec.satPos).begin());
    std::copy_n(obsArr + kVelocity, kVectorLength, (ofSensor ? rec.senVel : rec.satVel).begin());
}

bool hasCsvBlock(const double* obsArr) {
    return integerOf(obsArr[kSigmaCount]) == kCsvMark && anyNonzero(obsArr, kCsvReals, kCsvChar);
}

void takeCsvData(const double* obsArr, ObsRecord& rec) {
    CsvObsData& csv = rec.csvData.create();
    std::copy_n(obsArr + kCsvReals, csv.csvReals.size(), csv.csvReals.begin());
    csv.csvReal10 = obsArr[kCsvReal10];
    csv.csvInt1 = integerOf(obsArr[kCsvInt1]);
    csv.csvInt2 = integerOf(obsArr[kCsvInt2]);
    csv.csvChar = integerOf(obsArr[kCsvChar]) == 1 ? 'T' : 'R';
}

void takeBiases(const double* obsArr, ObsRecord& rec) {
    if (!anyNonzero(obsArr, kBiases, kBiasesEnd)) return;
    ObsBiases& biases = rec.biases.create();
    std::copy_n(obsArr + kBiases, biases.values.size(), biases.values.begin());
}

/// NOTE: the value 7 that marks a CSV block is also a count of sigmas, so a record may have both.
void attachCsvDataOrBiases(const double* obsArr, ObsRecord& rec) {
    hasCsvBlock(obsArr) ? takeCsvData(obsArr, rec) : takeBiases(obsArr, rec);
}

/// A record without its optional parts.
ObsRecord plainRecord(const double* obsArr, std::int32_t rotateFlag) {
    ObsRecord rec;
    const std::int32_t type = integerOf(obsArr[kType]);
    rec.rotateToDate = rotateFlag;
    rec.secClass = secclassinttochar(integerOf(obsArr[kSecClass]));
    for (const auto& [element, field] : kReals) rec.*field = obsArr[element];
    for (const auto& [element, field] : kIntegers) rec.*field = integerOf(obsArr[element]);
    if (kRateTypes.has(type)) {
        rec.elRate = obsArr[kElRate];
        rec.azRate = obsArr[kAzRate];
    }
    rec.obsType = type;
    rec.equinoxInd = integerOf(obsArr[kEquinox]);
    takeVectors(obsArr, type, rec);
    if (rotateFlag != 0 && ObsHasRaDec(type) && rec.equinoxInd != 0) {
        rotobstodate(rec);
        rec.equinoxInd = 0;
    }
    rec.obsType = typeWithRange(type, rec.range);
    return rec;
}

/// A record rotated to date with all its parts. Throws std::bad_alloc.
ObsRecord wholeRecord(const double* obsArr) {
    ObsRecord rec = plainRecord(obsArr, 1);
    attachSigmas(obsArr, rec);
    attachCsvDataOrBiases(obsArr, rec);
    return rec;
}

/// Attaches an optional part, or leaves it out when there is no memory for it.
template <class Attach>
void orLeaveOut(Attach&& attach) {
    try {
        attach();
    } catch (const std::bad_alloc&) {
    }
}

/// Observations of a batch and where they stand among the arrays.
struct Batch {
    BulkAdd adder{0};
    std::vector<std::size_t> places;
};

/// Enters all arrays that name a satellite at once. False when memory did not suffice and nothing was entered.
bool enterAtOnce(std::size_t count, const double* obsArrs, std::int64_t* keys, std::vector<BulkAdd::Refused>& refused) {
    Batch batch;
    try {
        batch.adder.expect(count);
        batch.places.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            ObsRecord rec = wholeRecord(obsArrs + i * kArrayLength);
            const std::int64_t key = getobskey(rec);
            if (key == kNoKey) continue;
            batch.places.push_back(i);
            batch.adder.add(key, rec);
        }
        std::vector<std::int64_t> given(batch.places.size());
        try {
            refused = batch.adder.commit(given.data());
        } catch (const std::bad_alloc&) {
            if (batch.adder.size() != 0) throw;  // else all are entered, and duplicates go without a message
        }
        for (std::size_t i = 0; i < given.size(); ++i) keys[batch.places[i]] = given[i];
        for (BulkAdd::Refused& one : refused) one.position = batch.places[one.position];
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void tellDuplicates(const std::vector<BulkAdd::Refused>& refused, std::int64_t* keys) {
    for (const BulkAdd::Refused& one : refused) keys[one.position] = refuseDuplicate(one.key);
}

/// One by one; what memory does not suffice for stays without a key, and the others are added all the same.
void addEach(std::size_t count, const double* obsArrs, std::int64_t* keys) {
    bool outOfMemory = false;
    for (std::size_t i = 0; i < count; ++i) {
        try {
            keys[i] = AddObOnly(wholeRecord(obsArrs + i * kArrayLength));
        } catch (const std::bad_alloc&) {
            outOfMemory = true;
        }
    }
    if (outOfMemory) throw std::bad_alloc{};
}

}  // namespace

const ElementDef* elementDef(std::int32_t element) {
    if (element < 0 || element >= std::int32_t{kArrayLength}) return nullptr;
    return &kElements[static_cast<std::size_t>(element)];
}

void obsrec2arr(const ObsRecord& rec, double* obsArr, std::size_t stride) {
    const Elements out(obsArr, stride);
    for (std::size_t element = 0; element < kArrayLength; ++element) out[element] = 0;
    out[kSecClass] = secclasschartoint(rec.secClass);
    for (const auto& [element, field] : kReals) out[element] = rec.*field;
    for (const auto& [element, field] : kIntegers) out[element] = rec.*field;
    out[kElRate] = rec.elRate;
    out[kAzRate] = rec.azRate;
    out[kType] = rec.obsType == kTypeSpaceAzElRange ? 8 : rec.obsType == kTypeSpaceRaDecRange ? 9 : rec.obsType;
    putVectors(rec, out);
    if (ObsHasRaDec(rec.obsType)) out[kEquinox] = rec.equinoxInd;
    if (rec.biases) out.put(kBiases, rec.biases->values, rec.biases->values.size());
    if (rec.extraValues) putSigmas(*rec.extraValues, out);
    if (rec.csvData) putCsvData(*rec.csvData, out);
}

ObsRecord obsarr2obsrec(const double* obsArr, std::int32_t rotateFlag) {
    ObsRecord rec = plainRecord(obsArr, rotateFlag);
    orLeaveOut([&] { attachSigmas(obsArr, rec); });
    orLeaveOut([&] { attachCsvDataOrBiases(obsArr, rec); });
    return rec;
}

void attachSigmas(const double* obsArr, ObsRecord& rec) {
    const std::int32_t stated = integerOf(obsArr[kSigmaCount]);
    for (const std::size_t count : kSigmaCounts) {
        if (stated != static_cast<std::int32_t>(count) || !anyNonzero(obsArr, kSigmas, kSigmas + count)) continue;
        RealList sigmas;
        sigmas.values.assign(obsArr + kSigmas, obsArr + kSigmas + count);
        rec.extraValues.create() = std::move(sigmas);
    }
}

std::int64_t addfrarray(const double* obsArr) {
    return AddObOnly(obsarr2obsrec(obsArr));
}

bool addfrarrays(std::size_t count, const double* obsArrs, std::int64_t* keys) {
    std::fill_n(keys, count, kNoKey);
    std::vector<BulkAdd::Refused> duplicates;
    // Under address keys there is nothing to gain from a batch: keys are handles and never collide.
    if (!addressKeysInForce() && enterAtOnce(count, obsArrs, keys, duplicates)) tellDuplicates(duplicates, keys);
    else addEach(count, obsArrs, keys);
    return std::all_of(keys, keys + count, [](std::int64_t key) { return key > 0; });
}

}  // namespace obs
