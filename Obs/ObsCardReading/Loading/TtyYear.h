// SPDX-License-Identifier: Apache-2.0
/// The year of TTY cards, which carry none: one process-wide setting, 0 while it is not set. Set it before
/// loading, not while other threads read TTY cards.
#pragma once

#include <cstdint>

namespace obs {

void SetTTYYear(std::int32_t year);
std::int32_t ttyYear();

}  // namespace obs
