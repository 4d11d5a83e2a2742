// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/SaveFile.h"

#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>

#include "Obs/FormatObs/CardFields.h"
#include "Obs/FormatObs/CardFormats.h"
#include "Obs/FormatObs/SaveReport.h"
#include "Obs/ObsTree/Store.h"

namespace obs {

namespace {

/// Gathers lines into blocks before they are written.
class LineWriter {
public:
    explicit LineWriter(family::Unit unit) : unit_(unit), buffer_(new char[kBlockSize]) {}

    /// Room for a line of at most that many characters, to be written there and then `take`n.
    char* room(std::size_t most) {
        if (used_ + most + 1 > kBlockSize) flush();
        return buffer_.get() + used_;
    }
    /// Ends the line that was written into the room, without its trailing blanks.
    void take(std::size_t length) {
        used_ += withoutBlanks(buffer_.get() + used_, length);
        buffer_[used_++] = '\n';
    }
    void put(std::string_view line) {
        line.copy(room(line.size()), line.size());
        take(line.size());
    }
    void flush() {
        if (used_ > 0) family::filewrite(unit_, buffer_.get(), used_);
        used_ = 0;
    }

private:
    static constexpr std::size_t kBlockSize = 256 * 1024;

    family::Unit unit_;
    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
};

/// Hands records on in the order in which they come, each some places after its memory was asked for: by
/// ascending key they lie anywhere.
template <class Take>
class Ahead {
public:
    explicit Ahead(Take take) : take_(take) {}

    void operator()(SlotNumber slot) {
        gStore.pools.prefetchRecord(slot);
        SlotNumber& place = waiting_[next_++ % kPlaces];
        if (next_ > kPlaces) take_(place);
        place = slot;
    }
    void finish() {
        for (std::size_t i = next_ > kPlaces ? next_ - kPlaces : 0; i < next_; ++i) take_(waiting_[i % kPlaces]);
    }

private:
    static constexpr std::size_t kPlaces = 32;

    Take take_;
    std::array<SlotNumber, kPlaces> waiting_{};
    std::size_t next_ = 0;
};

/// Observations that are written before it is asked whether it is time to tell of them.
constexpr std::size_t kLookAtClock = 4096;

/// Whether a card that is written meanwhile may have asterisks.
class AsteriskWatch {
public:
    bool seen() const { return gAsteriskFields.load(std::memory_order_relaxed) != before_; }

private:
    const std::uint32_t before_ = gAsteriskFields.load(std::memory_order_relaxed);
};

/// Smaller than all keys.
constexpr std::int64_t kBelowAll = std::numeric_limits<std::int64_t>::min();

/// Writes all observations, or a group's, by ascending key from the one above `key` on, until all are written or it is
/// time to tell of the progress; false then, and `key` is that of the last one.
bool writeLines(LineWriter& out, const CardWriting& writing, std::optional<std::int32_t> gid, SaveTally& tally,
                std::int64_t& key) {
    ObsRecord rec;
    SitesReadBack sites;
    char secondLine[kCardLength];
    const auto writeOne = [&](VectorSet vectors) -> LossSet {
        CardLines lines{{out.room(kCardLength), secondLine}, {}};
        const AsteriskWatch asterisks;
        // An observation that a writer refuses is left out.
        if (const MaybeRefusal refusal = writing.write(rec, lines)) {
            if (refusal->isLogged) family::tracelogerror(refusal->message());
            return lossIf(true, writing.lossOfRefused == nullptr ? SaveLoss::notOfForm : writing.lossOfRefused(rec));
        }
        const bool usual = isUsual(writing.usual, rec, vectors, asterisks.seen());
        const LossSet losses = usual ? 0 : writing.lossesOf({rec, vectors, lines, sites});
        out.take(lines.length[0]);
        if (lines.length[1] != 0) out.put(lines.line(1));
        return losses;
    };
    Ahead ahead([&](SlotNumber slot) {
        const VectorSet vectors = gStore.pools.read(slot, rec, writing.writesParts);
        if (const LossSet losses = writeOne(vectors)) tally.takeLosses(losses, gStore.pools.node(slot).key);
        else tally.takeWritten();
    });
    std::size_t count = 0;
    const bool isAll = walkNodesAbove(key, gid, [&](SlotNumber slot) {
        ahead(slot);
        if (++count % kLookAtClock != 0 || !tally.isProgressDue()) return true;
        key = gStore.pools.node(slot).key;
        return false;
    });
    ahead.finish();
    return isAll;
}

/// Returns what ObsSaveFile returns; the error of writing goes to `systemError`.
std::int32_t writeFile(std::string_view fileName, std::int32_t saveMode, std::int32_t saveForm,
                       std::optional<std::int32_t> gid, SaveTally& tally, std::int32_t& systemError) {
    family::Unit unit = family::kNoUnit;
    systemError = family::fileopen(fileName, saveMode != 0 ? family::kOpenAppend : family::kOpenReplace, unit);
    if (systemError != 0) return systemError;
    try {
        if (gid || !obstreeisempty()) obswritelines(unit, saveForm, gid, tally);
        tally.finishProgress();
    } catch (...) {
        family::filediscard(unit);
        throw;
    }
    // NOTE: a failing write does not change the result; the file service has named it.
    systemError = family::fileclose(unit);
    return kStatusOk;
}

std::int32_t saveFile(std::string_view fileName, std::int32_t saveMode, std::int32_t saveForm,
                      std::optional<std::int32_t> gid) {
    SaveTally tally;
    std::int32_t result = kStatusOk, systemError = 0;
    if (!gid || !obstreeisempty()) result = writeFile(fileName, saveMode, saveForm, gid, tally, systemError);
    tally.finish(systemError);
    return result;
}

}  // namespace

void obswritelines(family::Unit unit, std::int32_t saveForm, std::optional<std::int32_t> gid, SaveTally& tally) {
    LineWriter out(unit);
    const CardFormat* const format = cardFormatOfForm(saveForm);
    if (format == nullptr) return;
    const CardWriting* const writing = format->writing;
    if (!writing->headerLine.empty()) out.put(writing->headerLine);
    if (tally.isProgressWanted()) tally.expect(obsgetnumoftreenodes(gid));
    std::int64_t key = kBelowAll;
    for (bool isAll = false; !isAll;) {
        const SaveCounts before = tally.counts();
        {
            // Messages wait until the store is free: whoever receives them may be waiting for it.
            const family::MessageHold hold;
            const OrderGuard<StandstillGuard> guard;
            isAll = writeLines(out, *writing, gid, tally, key);
            if (isAll) out.flush();
        }
        tally.advance(tally.counts().written + tally.counts().leftOut - before.written - before.leftOut);
    }
}

std::int32_t saveObsFile(std::string_view fileName, std::int32_t saveMode, std::int32_t saveForm) {
    return saveFile(fileName, saveMode, saveForm, std::nullopt);
}

std::int32_t saveObsFileOfGroup(std::string_view fileName, std::int32_t gid, std::int32_t saveMode,
                                std::int32_t saveForm) {
    return saveFile(fileName, saveMode, saveForm, gid);
}

}  // namespace obs
