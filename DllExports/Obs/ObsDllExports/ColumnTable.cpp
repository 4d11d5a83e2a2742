// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/ObsDllExports/ColumnTable.h"

#include <algorithm>
#include <string>
#include <utility>

#include "DllExports/Obs/ObsDllExports/CallGuard.h"

namespace obs {

std::optional<TableBuilder> tableOf(std::string_view name, const WantedColumns& wanted, const RowsFrom& from) {
    constexpr std::size_t kUsualRows = 65536;
    if (refuseCount(name, wanted.count, {wanted.names})) return std::nullopt;
    if (wanted.batchRows < 0) {
        logFailure(name, "The number of rows of a batch must not be negative.");
        return std::nullopt;
    }
    std::vector<const ColumnDef*> defs;
    for (std::int32_t i = 0; i < wanted.count; ++i) {
        if (refuseNull(name, {wanted.names[i]})) return std::nullopt;
        const std::string_view given = wanted.names[i];
        const ColumnDef* const def = findColumn(given);
        const char* fault = nullptr;
        if (def == nullptr) fault = "\": There is no column of this name.";
        else if (def->isOfText && !from.isText && !from.hasOrigins)
            fault = "\": Stored observations have it while origins are kept (ObsKeepOrigins).";
        else if (std::find(defs.begin(), defs.end(), def) != defs.end()) fault = "\": It occurs twice.";
        if (fault != nullptr) {
            logFailure(name, std::string("Column \"").append(given).append(fault));
            return std::nullopt;
        }
        defs.push_back(def);
    }
    if (wanted.count == 0)
        for (const ColumnDef& def : columnList())
            if (!def.isOfText) defs.push_back(&def);
    const std::size_t batchRows = wanted.batchRows != 0 ? static_cast<std::size_t>(wanted.batchRows) : kUsualRows;
    return std::optional<TableBuilder>(std::in_place, std::move(defs), batchRows, !from.isText,
                                       std::string(from.fileName), from.files);
}

}  // namespace obs
