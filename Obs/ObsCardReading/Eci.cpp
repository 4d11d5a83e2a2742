#include "Obs/ObsCardReading/Eci.h"

namespace obs {

MaybeRefusal ReadECIXYZ(const CardText&, ObsRecord&) {
    return Refusal{"ReadECIXYZ: This version does not read ECI position cards.", {}, 0, {}};
}

}  // namespace obs
