// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTypes/ObsRecord.h"

#include "Obs/ObsTypes/Companions.h"

namespace obs {

void freeobsrecord(ObsRecord& rec) {
    rec.extraValues.release();
    rec.biases.release();
    rec.csvData.release();
    rec.rfData.release();
}

void freeobsbintree(ObsBinTree& node) {
    node.rec.release();
}

void freeselection(ObsSelection& selection) {
    selection.testCount = selection.termCount = 0;
    selection.bounds.release();
}

void freematchedobs(MatchedObs& matched) {
    matched.list.release();
}

}  // namespace obs
