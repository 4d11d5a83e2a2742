// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Named.h"

#include <cmath>
#include <random>
#include <string>

#include "siblings/include/Services.h"

namespace obs {

namespace {

std::int32_t refuseUnknown(std::string_view name, std::int64_t obsKey) {
    family::tracelogerror(std::string(name) + ": Can not locate obsKey = " + keyText(obsKey) + " in the tree.");
    return kStatusRefused;
}

}  // namespace

std::int64_t nextobskey(std::int64_t obsKey) {
    std::minstd_rand generator{std::random_device{}()};
    const double r = std::uniform_real_distribution<double>{0.0, 1.0}(generator);
    const auto step = static_cast<std::uint64_t>(std::floor(10000.0 * r)) * 1'000'000'000u;
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(obsKey) + step);
}

std::int32_t getobsdata(std::int64_t obsKey, ObsRecord& rec) {
    if (obsfindrec(obsKey, rec)) return kStatusOk;
    return refuseUnknown("GetObsData", obsKey);
}

std::int32_t getobsdataptr(std::int64_t obsKey, ObsRecordPtr& rec) {
    rec = obsfindrecptr(obsKey, nullptr, true);
    if (rec != nullptr && rec->satNum != kSatNumNotFound) return kStatusOk;
    return refuseUnknown("GetObsDataPtr", obsKey);
}

ObsRecordPtr getobsptr(ObsBinTreePtr node) { return &gStore.pools.record(node); }

void obsgetrec(ObsBinTreePtr node, ObsRecord& rec) { gStore.pools.read(node, rec); }

}  // namespace obs
