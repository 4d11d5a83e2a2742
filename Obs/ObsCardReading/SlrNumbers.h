/// The number tables of laser ranging backwards, for the writer. Nasa2SsnSat and Nasa2SsnSen are in Slr.h.
#pragma once

#include <cstdint>

namespace obs {

/// ILRS id of a satellite number, pad number of a sensor number; 0 when the tables have none.
std::int32_t Ssn2NasaSat(std::int32_t satNum);
std::int32_t Ssn2NasaSen(std::int32_t senNum);

}  // namespace obs
