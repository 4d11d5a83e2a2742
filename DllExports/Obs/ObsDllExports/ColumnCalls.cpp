// SPDX-License-Identifier: Apache-2.0
// Group "columns" of the exported header, but for what reads lines (ReadCalls.cpp).
#include <algorithm>
#include <utility>

#include "DllExports/Obs/Columns/StoredColumns.h"
#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "DllExports/Obs/ObsDllExports/ColumnTable.h"
#include "Obs/ObsTree/Store.h"

using obs::kStatusOk;
using obs::kStatusRefused;

namespace {

constexpr std::string_view kExport = "ObsExportArrow";
constexpr std::string_view kImport = "ObsImportArrow";

obs::RowsFrom fromStore() {
    obs::RowsFrom from;
    if (from.hasOrigins = obs::gStore.origins.isKept(); from.hasOrigins) {
        const obs::ReadGuard guard;
        from.files = obs::gStore.origins.files();
    }
    return from;
}

}  // namespace

int32_t ObsExportArrow(int32_t count, const int64_t* keys, int32_t order, const char* const* columns,
                       int32_t columnCount, int32_t batchRows, struct ArrowArrayStream* stream) {
    constexpr int32_t kAll = -1;
    if (obs::refuseNull(kExport, {stream})) return kStatusRefused;
    stream->release = nullptr;
    if (count != kAll && obs::refuseCount(kExport, count, {keys})) return kStatusRefused;
    return obs::guarded(kExport, kStatusRefused, [&] {
        auto table = obs::tableOf(kExport, {columns, columnCount, batchRows}, fromStore());
        if (!table) return kStatusRefused;
        if (count == kAll && order == OBS_ORDER_STORED) {
            *stream = obs::streamAsStored(std::move(*table));
            return kStatusOk;
        }
        obs::UnknownKeys unknown;
        if (count == kAll) obs::putAllStored(order, *table);
        else
            obs::putStored(keys, static_cast<std::size_t>(count), *table, [&](std::int64_t key) { unknown.note(key); });
        if (unknown.count != 0) return unknown.status(kExport, static_cast<std::size_t>(count));
        *stream = table->finish();
        return kStatusOk;
    });
}

int32_t ObsImportArrow(struct ArrowArrayStream* stream, int32_t naiveIsUtc, int32_t gid,
                       int64_t counts[OBS_ARROW_COUNTS], int64_t room, int64_t* keys) {
    if (obs::refuseNull(kImport, {stream, counts}) || (room > 0 && obs::refuseNull(kImport, {keys})))
        return kStatusRefused;
    std::fill_n(counts, OBS_ARROW_COUNTS, 0);
    std::fill_n(keys, std::max<int64_t>(room, 0), obs::kNoKey);
    obs::Owner<ArrowArrayStream> own(*stream);
    stream->release = nullptr;
    if (own->release == nullptr || room < 0) {
        obs::logFailure(kImport, room < 0 ? "The room must not be negative." : "The stream has been released.");
        return kStatusRefused;
    }
    return obs::guarded(kImport, kStatusRefused, [&] {
        const obs::ImportOptions options{naiveIsUtc != 0, gid, room, keys,
                                         [](std::string_view why) { obs::logFailure(kImport, why); }};
        const obs::ImportCounts made = obs::addRows(*own, options);
        counts[OBS_ARROW_ROWS] = made.rows;
        counts[OBS_ARROW_ADDED] = made.added;
        counts[OBS_ARROW_DUPLICATES] = made.duplicates;
        counts[OBS_ARROW_REFUSED] = made.refused;
        if (made.refused == 0) return kStatusOk;
        obs::logFailure(kImport, std::to_string(made.refused) + " of " + std::to_string(made.rows) +
                                     " rows do not make an observation.");
        return kStatusRefused;
    });
}
