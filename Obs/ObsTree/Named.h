// SPDX-License-Identifier: Apache-2.0
/// Functions that the design of the store names and that nothing in the library calls: kept for whoever goes by it.
#pragma once

#include "Obs/ObsTree/Store.h"

namespace obs {

/// Another key near `obsKey`, some 10^9 steps of a random draw further. Seeded anew at every
/// call, so that consecutive results do not depend on each other.
std::int64_t nextobskey(std::int64_t obsKey);

/// Whether node a comes before node b in the order |code|; equal in all fields means no.
/// Inside a read of the caller's.
bool lessthan(ObsBinTreePtr a, ObsBinTreePtr b, std::int32_t code);

/// `obsfindrec` with a message in the log: status 2 when there is no such observation.
std::int32_t getobsdata(std::int64_t obsKey, ObsRecord& rec);

/// A reference to a stored record, inside a read of the caller's; status 2 and a message when there is none.
std::int32_t getobsdataptr(std::int64_t obsKey, ObsRecordPtr& rec);

/// The record of a node, by reference and as a deep copy, inside a read of the caller's.
ObsRecordPtr getobsptr(ObsBinTreePtr node);
void obsgetrec(ObsBinTreePtr node, ObsRecord& rec);

}  // namespace obs
