// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "Obs/ObsStates/Equinox.h"
#include "Obs/ObsTree/BulkAdd.h"
#include "Obs/ObsTypes/FieldList.h"
#include "Obs/ObsTypes/SecClass.h"
#include "siblings/include/Sensors.h"

namespace obs {

namespace {

template <auto kMember, std::size_t kAt = 0>
constexpr std::size_t kElementOf = kFactsOf<kMember, kAt>.element;

// Elements that do not simply hold a field.
constexpr std::size_t kSecClass = kElementOf<&ObsFields::secClass>;
constexpr std::size_t kType = kElementOf<&ObsFields::obsType>;
constexpr std::size_t kEquinox = kElementOf<&ObsFields::equinoxInd>;
constexpr std::size_t kPosition = kElementOf<&ObsFields::senPos>;
constexpr std::size_t kVelocity = kElementOf<&ObsFields::senVel>;
constexpr std::size_t kCsvReals = kElementOf<&CsvObsData::csvReals>;
constexpr std::size_t kCsvChar = kElementOf<&CsvObsData::csvChar>;
constexpr std::size_t kBiases = kElementOf<&ObsBiases::values>;
constexpr std::size_t kBiasesEnd = kElementOf<&ObsBiases::values, 6> + 1;
constexpr std::size_t kSigmas = kElementOf<&OptionalParts::extraValues>;
constexpr std::size_t kSigmaCount = kSigmaCountElement;
static_assert(kSigmas == kSigmaCount + 1);

constexpr std::size_t kVectorLength = 3;
constexpr std::int32_t kCsvMark = 7;  ///< the sigma count that also says "CSV data present"
constexpr std::size_t kMaxSigmas = kSigmasEnd - kSigmas;
constexpr std::size_t kSigmaCounts[] = {6, 7, kMaxSigmas};

/// Elements that go by other names than the fields that they hold.
struct OwnName {
    std::size_t element;
    std::string_view name, unit;
};
constexpr OwnName kOwnNames[] = {
    {kSecClass, "secClass", "1 U, 2 C, 3 S"},
    {kPosition, "posX", "km"},
    {kPosition + 1, "posY", "km"},
    {kPosition + 2, "posZ", "km"},
    {kVelocity, "velX", "km/s"},
    {kVelocity + 1, "velY", "km/s"},
    {kVelocity + 2, "velZ", "km/s"},
    {kCsvChar, "csvChar or bias3", "csvChar: 1 T, 0 other"},
    {kSigmaCount, "sigmaCount", "7 also when csv data"},
};

/// Calls `use(field)` for the fields of an owner that have an element of their own, whatever the type.
template <class Owner, class Use>
void forEachElementOf(Use&& use) {
    forEachFieldOf<Owner>([&](auto field) {
        if constexpr (field.facts.element != kNoElement && !field.isComponent &&
                      field.facts.meaning != Meaning::ofRaDec)
            use(field);
    });
}

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
        case 'V': out.put(kPosition, rec.satPos, kVectorLength); return out.put(kVelocity, rec.satVel, kVectorLength);
        case '7': out.put(kPosition, rec.senPos, kVectorLength); return out.put(kVelocity, rec.senVel, kVectorLength);
        default: return;
    }
}

void putSigmas(const RealList& sigmas, const Elements& out) {
    const std::size_t count = std::min(sigmas.values.size(), kArrayLength - kSigmas);
    out[kSigmaCount] = static_cast<double>(count);
    out.put(kSigmas, sigmas.values, count);
}

template <class Owner>
void putFields(const Owner& owner, const Elements& out) {
    forEachElementOf<Owner>([&](auto field) {
        if constexpr (!field.isCharacter) out[field.facts.element] = static_cast<double>(field.in(owner));
    });
}

void putCsvData(const CsvObsData& csv, const Elements& out) {
    putFields(csv, out);
    if (csv.csvChar == 'T') out[kCsvChar] = 1;  // else the third bias stays
    out[kSigmaCount] = kCsvMark;
}

std::int32_t integerOf(double real) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (std::isnan(real)) return 0;
    return static_cast<std::int32_t>(std::clamp(real, double{Limits::min()}, double{Limits::max()}));
}

template <class Owner>
void takeFields(const double* obsArr, Owner& owner) {
    forEachElementOf<Owner>([&](auto field) {
        if constexpr (field.isReal) field.in(owner) = obsArr[field.facts.element];
        else if constexpr (field.isInteger) field.in(owner) = integerOf(obsArr[field.facts.element]);
    });
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
    takeFields(obsArr, csv);
    csv.csvChar = integerOf(obsArr[kCsvChar]) == 1 ? 'T' : 'R';
}

void takeBiases(const double* obsArr, ObsRecord& rec) {
    if (!anyNonzero(obsArr, kBiases, kBiasesEnd)) return;
    takeFields(obsArr, rec.biases.create());
}

/// NOTE: the value 7 that marks a CSV block is also a count of sigmas, so a record may have both.
void attachCsvDataOrBiases(const double* obsArr, ObsRecord& rec) {
    hasCsvBlock(obsArr) ? takeCsvData(obsArr, rec) : takeBiases(obsArr, rec);
}

/// A record without its optional parts.
ObsRecord plainRecord(const double* obsArr, std::int32_t rotateFlag) {
    ObsRecord rec;
    const std::int32_t type = integerOf(obsArr[kType]);
    takeFields<ObsFields>(obsArr, rec);
    rec.rotateToDate = rotateFlag;
    rec.secClass = secclassinttochar(integerOf(obsArr[kSecClass]));
    if (!kRateTypes.has(type)) rec.elRate = rec.azRate = 0;
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
    } catch (const std::bad_alloc&) {}
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
    } catch (const std::bad_alloc&) { return false; }
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
        } catch (const std::bad_alloc&) { outOfMemory = true; }
    }
    if (outOfMemory) throw std::bad_alloc{};
}

}  // namespace

std::optional<ElementDef> elementDef(std::int32_t element) {
    if (element < 0 || element >= std::int32_t{kArrayLength}) return std::nullopt;
    const auto number = static_cast<std::size_t>(element);
    for (const OwnName& own : kOwnNames)
        if (own.element == number) return ElementDef{std::string(own.name), own.unit};
    ElementDef def;
    forEachField([&](auto field) {
        if (field.facts.element != element || field.facts.meaning == Meaning::ofRaDec) return;
        def.name.append(def.name.empty() ? "" : " or ").append(field.facts.storageName());
        def.unit = field.facts.unit;
    });
    if (number >= kSigmas && number < kSigmas + kMaxSigmas) def.name = "sigma" + std::to_string(number - kSigmas + 1);
    return def;
}

void obsrec2arr(const ObsRecord& rec, double* obsArr, std::size_t stride) {
    const Elements out(obsArr, stride);
    for (std::size_t element = 0; element < kArrayLength; ++element) out[element] = 0;
    putFields<ObsFields>(rec, out);
    out[kSecClass] = secclasschartoint(rec.secClass);
    if (rec.obsType == kTypeSpaceAzElRange) out[kType] = 8;
    if (rec.obsType == kTypeSpaceRaDecRange) out[kType] = 9;
    if (!ObsHasRaDec(rec.obsType)) out[kEquinox] = 0;
    putVectors(rec, out);
    if (rec.biases) putFields(*rec.biases, out);
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

std::int64_t addfrarray(const double* obsArr) { return AddObOnly(obsarr2obsrec(obsArr)); }

bool addfrarrays(std::size_t count, const double* obsArrs, std::int64_t* keys) {
    std::fill_n(keys, count, kNoKey);
    std::vector<BulkAdd::Refused> duplicates;
    // Under address keys there is nothing to gain from a batch: keys are handles and never collide.
    if (!addressKeysInForce() && enterAtOnce(count, obsArrs, keys, duplicates)) tellDuplicates(duplicates, keys);
    else addEach(count, obsArrs, keys);
    return std::all_of(keys, keys + count, [](std::int64_t key) { return key > 0; });
}

}  // namespace obs
