// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/SaveFile.h"

#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "Obs/CardLayouts/Rf.h"
#include "Obs/CardLayouts/Tty.h"
#include "Obs/FormatObs/B3.h"
#include "Obs/FormatObs/Csv.h"
#include "Obs/FormatObs/Rf.h"
#include "Obs/FormatObs/SaveReport.h"
#include "Obs/FormatObs/Tty.h"
#include "Obs/ObsTree/Store.h"

namespace obs {

namespace {

/// Gathers lines into blocks before they are written.
class LineWriter {
public:
    explicit LineWriter(family::Unit unit) : unit_(unit), buffer_(new char[kBlockSize]) {}

    /// Room for a line of at most so many characters, to be written there and then `take`n.
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

    /// A card is mostly blank at its end, so eight at a time first.
    static std::size_t withoutBlanks(const char* line, std::size_t length) {
        constexpr std::string_view kBlanks = "        ";
        while (length >= kBlanks.size() && std::memcmp(line + length - kBlanks.size(), kBlanks.data(), kBlanks.size()) == 0)
            length -= kBlanks.size();
        while (length > 0 && line[length - 1] == ' ') --length;
        return length;
    }

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

/// Whether a card that is written meanwhile may have asterisks.
class AsteriskWatch {
public:
    bool seen() const { return gAsteriskFields.load(std::memory_order_relaxed) != before_; }

private:
    const std::uint32_t before_ = gAsteriskFields.load(std::memory_order_relaxed);
};

/// Has `writeOne(record, vectors)`, which gives the losses, called for all observations, or a group's, by ascending key.
template <class WriteOne>
void forEachRecord(std::optional<std::int32_t> gid, bool withParts, SaveTally& tally, WriteOne writeOne) {
    ObsRecord rec;
    Ahead ahead([&](SlotNumber slot) {
        const VectorSet vectors = gStore.pools.read(slot, rec, withParts);
        if (const LossSet losses = writeOne(rec, vectors)) tally.takeLosses(losses, gStore.pools.node(slot).key);
        else tally.takeWritten();
    });
    walkNodes(gid, [&](SlotNumber slot) { ahead(slot); });
    ahead.finish();
}

void writeB3Lines(LineWriter& out, std::optional<std::int32_t> gid, SaveTally& tally) {
    forEachRecord(gid, false, tally, [&](const ObsRecord& rec, VectorSet vectors) {
        // NOTE: a position-and-velocity card is longer than the others and written whole, so that it loads again.
        char* const card = out.room(CardWriter::kCapacity);
        const AsteriskWatch asterisks;
        const std::size_t length = CreateB3Obs(rec, card);
        const LossSet losses =
            isUsualOnB3(rec, vectors, asterisks.seen()) ? 0 : lossesOfUnusualB3(rec, vectors, {card, length});
        out.take(length);
        return losses;
    });
}

void writeTtyLines(LineWriter& out, std::optional<std::int32_t> gid, SaveTally& tally) {
    char card2[CardWriter::kCapacity];
    forEachRecord(gid, false, tally, [&](const ObsRecord& rec, VectorSet vectors) {
        char* const card1 = out.room(CardWriter::kCapacity);
        const AsteriskWatch asterisks;
        CreateTTYObs(rec, card1, card2);
        const LossSet losses =
            isUsualOnTty(rec, vectors, asterisks.seen())
                ? 0
                : lossesOfUnusualTty(rec, vectors, {card1, tty::kCardColumns}, {card2, tty::kCardColumns});
        out.take(tty::kCardColumns);
        if (!tty::kTimeOnCard1WrittenTypes.has(rec.obsType)) out.put({card2, tty::kCardColumns});
        return losses;
    });
}

/// An observation that a writer refuses is left out; the writer's reason is logged.
void writeCsvLines(LineWriter& out, std::optional<std::int32_t> gid, SaveTally& tally) {
    forEachRecord(gid, true, tally, [&](const ObsRecord& rec, VectorSet vectors) {
        char* const line = out.room(kCardLength);
        std::size_t length = 0;
        if (const MaybeRefusal refusal = CreateCsvObs(rec, line, length)) {
            family::tracelogerror(refusal->message());
            return lossIf(true, rec.obsType == kTypePositionVelocity ? SaveLoss::csvType7 : SaveLoss::csvValue);
        }
        const LossSet losses = isUsualInCsv(rec, vectors) ? 0 : lossesOfUnusualCsv(rec, vectors, {line, length});
        out.take(length);
        return losses;
    });
}

void writeRfLines(LineWriter& out, std::optional<std::int32_t> gid, SaveTally& tally) {
    out.put(rf::kHeaderLine);
    SitesReadBack sites;
    forEachRecord(gid, true, tally, [&](const ObsRecord& rec, VectorSet vectors) {
        // All but RF observations are left out without a word; an unknown sensor is named by the sensor library.
        if (!rec.rfData) return lossIf(true, SaveLoss::rfNoRfPart);
        char* const line = out.room(rf::kLineColumns);
        std::size_t length = 0;
        if (CreateRFObs(rec, line, length) != kStatusOk) return lossIf(true, SaveLoss::rfSensor);
        const LossSet losses = lossesOfRf(rec, vectors, {line, length}, sites);
        out.take(length);
        return losses;
    });
}

/// Returns what ObsSaveFile returns; the error of writing goes to `systemError`.
std::int32_t writeFile(std::string_view fileName, std::int32_t saveMode, std::int32_t saveForm,
                       std::optional<std::int32_t> gid, SaveTally& tally, std::int32_t& systemError) {
    family::Unit unit = family::kNoUnit;
    systemError = family::fileopen(fileName, saveMode != 0 ? family::kOpenAppend : family::kOpenReplace, unit);
    if (systemError != 0) return systemError;
    try {
        if (gid || !obstreeisempty()) obswritelines(unit, saveForm, gid, tally);
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
    // Messages wait until the store is free: whoever receives them may be waiting for it.
    const family::MessageHold hold;
    const StandstillGuard guard;
    switch (static_cast<SaveForm>(saveForm)) {
        case SaveForm::b3: writeB3Lines(out, gid, tally); break;
        case SaveForm::tty: writeTtyLines(out, gid, tally); break;
        case SaveForm::csv: writeCsvLines(out, gid, tally); break;
        case SaveForm::rf: writeRfLines(out, gid, tally); break;
        default: break;
    }
    out.flush();
}

std::int32_t saveObsFile(std::string_view fileName, std::int32_t saveMode, std::int32_t saveForm) {
    return saveFile(fileName, saveMode, saveForm, std::nullopt);
}

std::int32_t saveObsFileOfGroup(std::string_view fileName, std::int32_t gid, std::int32_t saveMode,
                                std::int32_t saveForm) {
    return saveFile(fileName, saveMode, saveForm, gid);
}

}  // namespace obs
