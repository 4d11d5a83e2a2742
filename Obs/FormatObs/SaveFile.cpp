#include "Obs/FormatObs/SaveFile.h"

#include <array>
#include <memory>
#include <string_view>

#include "Obs/CardLayouts/Rf.h"
#include "Obs/CardLayouts/Tty.h"
#include "Obs/FormatObs/B3.h"
#include "Obs/FormatObs/Csv.h"
#include "Obs/FormatObs/Rf.h"
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
        const char* line = buffer_.get() + used_;
        while (length > 0 && line[length - 1] == ' ') --length;
        used_ += length;
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

/// Has `writeOne(record)` called for all observations, or a group's, by ascending key.
template <class WriteOne>
void forEachRecord(std::optional<std::int32_t> gid, bool withParts, WriteOne writeOne) {
    ObsRecord rec;
    Ahead ahead([&](SlotNumber slot) {
        gStore.pools.read(slot, rec, withParts);
        writeOne(rec);
    });
    walkNodes(gid, [&](SlotNumber slot) { ahead(slot); });
    ahead.finish();
}

void writeB3Lines(LineWriter& out, std::optional<std::int32_t> gid) {
    // NOTE: a position-and-velocity card is longer than the others and written whole, so that it loads again.
    forEachRecord(gid, false, [&](const ObsRecord& rec) { out.take(CreateB3Obs(rec, out.room(CardWriter::kCapacity))); });
}

void writeTtyLines(LineWriter& out, std::optional<std::int32_t> gid) {
    char card2[CardWriter::kCapacity];
    forEachRecord(gid, false, [&](const ObsRecord& rec) {
        CreateTTYObs(rec, out.room(CardWriter::kCapacity), card2);
        out.take(tty::kCardColumns);
        if (!tty::kTimeOnCard1WrittenTypes.has(rec.obsType)) out.put({card2, tty::kCardColumns});
    });
}

/// An observation that a writer refuses is left out; the writer's reason is logged.
void writeCsvLines(LineWriter& out, std::optional<std::int32_t> gid) {
    forEachRecord(gid, true, [&](const ObsRecord& rec) {
        std::size_t length = 0;
        if (const MaybeRefusal refusal = CreateCsvObs(rec, out.room(kCardLength), length))
            family::tracelogerror(refusal->message());
        else out.take(length);
    });
}

void writeRfLines(LineWriter& out, std::optional<std::int32_t> gid) {
    out.put(rf::kHeaderLine);
    forEachRecord(gid, true, [&](const ObsRecord& rec) {
        std::size_t length = 0;
        // All but RF observations are left out without a word; an unknown sensor is named by the sensor library.
        if (rec.rfData && CreateRFObs(rec, out.room(rf::kLineColumns), length) == kStatusOk) out.take(length);
    });
}

std::int32_t writeFile(std::string_view fileName, std::int32_t saveMode, std::int32_t saveForm,
                       std::optional<std::int32_t> gid) {
    family::Unit unit = family::kNoUnit;
    const std::int32_t opened =
        family::fileopen(fileName, saveMode != 0 ? family::kOpenAppend : family::kOpenReplace, unit);
    if (opened != kStatusOk) return opened;
    try {
        if (gid || !obstreeisempty()) obswritelines(unit, saveForm, gid);
    } catch (...) {
        family::filediscard(unit);
        throw;
    }
    // NOTE: a failing write does not change the result; the file service has named it.
    family::fileclose(unit);
    return kStatusOk;
}

}  // namespace

void obswritelines(family::Unit unit, std::int32_t saveForm, std::optional<std::int32_t> gid) {
    LineWriter out(unit);
    // Messages wait until the store is free: whoever receives them may be waiting for it.
    const family::MessageHold hold;
    const StandstillGuard guard;
    switch (static_cast<SaveForm>(saveForm)) {
        case SaveForm::b3: writeB3Lines(out, gid); break;
        case SaveForm::tty: writeTtyLines(out, gid); break;
        case SaveForm::csv: writeCsvLines(out, gid); break;
        case SaveForm::rf: writeRfLines(out, gid); break;
        default: break;
    }
    out.flush();
}

std::int32_t saveObsFile(std::string_view fileName, std::int32_t saveMode, std::int32_t saveForm) {
    return writeFile(fileName, saveMode, saveForm, std::nullopt);
}

std::int32_t saveObsFileOfGroup(std::string_view fileName, std::int32_t gid, std::int32_t saveMode,
                                std::int32_t saveForm) {
    return obstreeisempty() ? kStatusOk : writeFile(fileName, saveMode, saveForm, gid);
}

}  // namespace obs
