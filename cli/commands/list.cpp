// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "cli/CommandLine.h"
#include "cli/Observations.h"
#include "cli/Session.h"
#include "cli/Text.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

constexpr auto kListFooter = R"(
Times are UTC. A value that the observation's type does not carry is shown as -. Lines
that are bad or passed over are named on standard error.

Orders (ascending when negative, descending when positive):
   1  time, sensor, type, elevation       6  sensor, satellite, type, time, elevation
   2  time, elevation                     7  satellite, sensor, type, elevation
   3  as 1, then satellite                8  order in the files
   4  sensor, satellite, time, elevation  9  key, always ascending (0: the same)
   5  sensor, time, elevation            10  satellite, sensor, time)";

struct ListOptions : CommonOptions {
    std::int32_t order = -1;  ///< of ObsGetLoaded
    bool keysOnly = false;
    std::optional<std::size_t> limit;
};

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

ExitStatus run(const ListOptions& options, Output& out) {
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

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    auto options = std::make_shared<ListOptions>();
    addCommonOptions(app, *options);
    app.add_option("--order", options->order, "Order, from the table below (-10 to 10)")
        ->type_name("CODE")
        ->check(CLI::Range(-10, 10).description(""))
        ->capture_default_str();
    app.add_flag("--keys", options->keysOnly, "Keys only, without a header");
    app.add_option("--limit", options->limit, "Stop after N observations")->type_name("N")->check(isCount());
    return runWith(std::move(options), run);
}

}  // namespace

Command commandList() { return {"list", "List observations, one a line", kListFooter, add}; }

}  // namespace obstool
