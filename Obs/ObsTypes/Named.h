// SPDX-License-Identifier: Apache-2.0
/// Functions that the design of the record names and that nothing in the library calls: kept for whoever goes by it.
#pragma once

#include "Obs/ObsTypes/ObsNode.h"
#include "Obs/ObsTypes/ObsSelection.h"
#include "Obs/ObsTypes/TypeSets.h"

namespace obs {

/// Releases the node's record with its parts; never touches the children.
inline void freeobsbintree(ObsBinTree& node) { node.rec.release(); }

inline void freematchedobs(MatchedObs& matched) { matched.list.release(); }

/// NOTE: type 0, a range rate alone, counts among the types of angles alone.
constexpr bool isangleonlyob(std::int32_t type) { return ObsTypeSet{0, 1, 5, 8, 9}.has(type); }

}  // namespace obs
