// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/TtyYear.h"

#include <atomic>

namespace obs {

namespace {

std::atomic<std::int32_t> year{0};

}  // namespace

void SetTTYYear(std::int32_t newYear) { year.store(newYear, std::memory_order_relaxed); }

std::int32_t ttyYear() { return year.load(std::memory_order_relaxed); }

}  // namespace obs
