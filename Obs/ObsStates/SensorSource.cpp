// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsStates/SensorSource.h"

namespace obs {

namespace {

class FamilySensors final : public SensorSource {
    bool find(std::int32_t number, family::SensorData& sensor) const override {
        return family::findsendata(number, sensor);
    }
    std::int64_t numberOf(std::string_view description) const override { return family::desctokey(description); }
};

constinit const FamilySensors kFamilySensors;

}  // namespace

const SensorSource& familySensors() { return kFamilySensors; }

}  // namespace obs
