#include "Obs/ObsCardReading/Eci.h"

namespace obs {

MaybeRefusal ReadECIXYZ(const CardText&, ObsRecord&) {
    return Refusal{"ReadECIXYZ: This version does not read ECI position cards.", {}, 0, {}};
}

MaybeRefusal convertType7(ObsRecord&) {
    return Refusal{"ReadTTY2Lines: This version does not convert type 7 observations.", {}, 0, {}};
}

}  // namespace obs
