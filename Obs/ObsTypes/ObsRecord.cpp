#include "Obs/ObsTypes/ObsRecord.h"

#include "Obs/ObsTypes/Companions.h"

namespace obs {

const ObsFields kDefaultFields{};

void freeobsrecord(ObsRecord& rec) {
    static_cast<OptionalParts&>(rec) = OptionalParts{};
}

void freeobsbintree(ObsBinTree& node) {
    node.rec.release();
}

void freeselection(ObsSelection& selection) {
    selection.ends = {};
    selection.bounds.release();
}

void freematchedobs(MatchedObs& matched) {
    matched.list.release();
}

}  // namespace obs
