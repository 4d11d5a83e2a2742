// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "Commands.h"
#include "Observations.h"
#include "Session.h"
#include "Text.h"

namespace obstool {

namespace {

/// A number in `width` columns, or "-" when the observation's type does not carry it.
void printValue(Output& out, bool carried, double value, int width, int decimals) {
    if (carried) out.print(" {:{}.{}f}", value, width, decimals);
    else out.print(" {:>{}}", '-', width);
}

void printObservation(Output& out, std::int64_t key) {
    const Observation o = observationOf(key);
    const TypeInfo& type = typeInfo(o.type);
    out.print("{:>19} {:<24} {:>9} {:>6} {:>4}", key, isoTime(o.time), o.satellite, o.sensor, o.type);
    printValue(out, type.angles, o.elOrDec, 13, 6);
    printValue(out, type.angles, o.azOrRa, 13, 6);
    printValue(out, type.range, o.range, 15, 5);
    printValue(out, type.rangeRate, o.rangeRate, 15, 5);
    out.print("\n");
}

}  // namespace

ExitStatus runList(const ListOptions& options, Output& out) {
    Session session(options, complainOfLine);
    if (!session.start()) return session.status();
    session.load();
    if (options.dryRun) {
        printText(out, *session.selection());
        return session.status();
    }

    std::vector<std::int64_t> keys = storedKeys(options.order);
    keys.resize(std::min(keys.size(), options.limit.value_or(keys.size())));
    if (options.keysOnly) {
        for (const std::int64_t key : keys) out.print("{}\n", key);
        return session.status();
    }
    out.print("{:>19} {:<24} {:>9} {:>6} {:>4} {:>13} {:>13} {:>15} {:>15}\n", "key", "time", "satellite", "sensor",
              "type", "el/dec_deg", "az/ra_deg", "range_km", "range_rate_km/s");
    for (const std::int64_t key : keys) printObservation(out, key);
    return session.status();
}

}  // namespace obstool
