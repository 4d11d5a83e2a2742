// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/SaveFile.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "Obs/FormatObs/CardFields.h"
#include "Obs/FormatObs/CardFormats.h"
#include "Obs/FormatObs/SaveReport.h"
#include "Obs/ObsTree/Store.h"
#include "Obs/ObsTypes/InTurn.h"

namespace obs {

namespace {

/// Lines of text, one after another.
class LineBuffer {
public:
    /// Room for a line of at most that many characters, to be written there and then `take`n.
    char* room(std::size_t most) {
        if (used_ + most + 1 > size_) grow(most + 1);
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
    void writeTo(family::Unit unit) const {
        if (used_ > 0) family::filewrite(unit, buffer_.get(), used_);
    }
    void clear() { used_ = 0; }

private:
    static constexpr std::size_t kStartSize = 256 * 1024;

    void grow(std::size_t more) {
        const std::size_t size = std::max({kStartSize, 2 * size_, used_ + more});
        std::unique_ptr<char[]> larger(new char[size]);
        if (used_ > 0) std::memcpy(larger.get(), buffer_.get(), used_);
        buffer_ = std::move(larger);
        size_ = size;
    }

    std::unique_ptr<char[]> buffer_;
    std::size_t size_ = 0, used_ = 0;
};

/// Whether a card that is written meanwhile may have asterisks.
class AsteriskWatch {
public:
    bool seen() const { return gAsteriskFields.load(std::memory_order_relaxed) != before_; }

private:
    const std::uint32_t before_ = gAsteriskFields.load(std::memory_order_relaxed);
};

/// Some observations, by ascending key, and what was written of them.
struct SavedBlock {
    std::vector<SlotNumber> slots;
    LineBuffer lines;
    std::int64_t withoutLoss = 0;
    std::vector<SaveTally::Loss> losses;
    std::vector<family::Message> messages;
    std::exception_ptr failure;
};

/// Writes the lines of all observations, or of a group's, from a key on, in blocks that threads share. The store stands
/// still meanwhile.
class BlockWriting {
public:
    using Portion = SavedBlock;

    class Hand {
    public:
        explicit Hand(const BlockWriting& task) : writing_(task.writing_) {}
        void write(SavedBlock& block);

    private:
        LossSet writeOne(VectorSet vectors, SavedBlock& block);

        const CardWriting& writing_;
        ObsRecord rec_;
        SitesReadBack sites_;
        char secondLine_[kCardLength];
    };

    BlockWriting(const CardWriting& writing, std::optional<std::int32_t> gid, std::int64_t key)
        : writing_(writing), gid_(gid), key_(key) {}

    bool begin(SavedBlock& block) {
        block.slots.clear();
        if (isAll_) return false;
        isAll_ = walkNodesAbove(key_, gid_, [&](SlotNumber slot) {
            block.slots.push_back(slot);
            return block.slots.size() < kBlockObservations;
        });
        if (block.slots.empty()) return false;
        key_ = gStore.pools.node(block.slots.back()).key;
        return true;
    }
    static void work(SavedBlock& block, Hand& hand) noexcept {
        try {
            hand.write(block);
        } catch (...) { block.failure = std::current_exception(); }
    }

    bool isAll() const { return isAll_; }
    std::int64_t key() const { return key_; }  ///< the last one begun

private:
    static constexpr std::size_t kBlockObservations = 2048;

    const CardWriting& writing_;
    const std::optional<std::int32_t> gid_;
    std::int64_t key_;
    bool isAll_ = false;
};

void BlockWriting::Hand::write(SavedBlock& block) {
    block.lines.clear();
    block.withoutLoss = 0;
    block.losses.clear();
    block.messages.clear();
    block.failure = nullptr;
    const family::MessageCapture capture(block.messages);
    // By ascending key the records lie anywhere: each is asked for some places before it is written.
    constexpr std::size_t kAhead = 32;
    const std::vector<SlotNumber>& slots = block.slots;
    for (std::size_t i = 0; i < std::min(kAhead, slots.size()); ++i) gStore.pools.prefetchRecord(slots[i]);
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (i + kAhead < slots.size()) gStore.pools.prefetchRecord(slots[i + kAhead]);
        const VectorSet vectors = gStore.pools.read(slots[i], rec_, writing_.writesParts);
        if (const LossSet losses = writeOne(vectors, block))
            block.losses.push_back({gStore.pools.node(slots[i]).key, losses});
        else ++block.withoutLoss;
    }
}

LossSet BlockWriting::Hand::writeOne(VectorSet vectors, SavedBlock& block) {
    CardLines lines{{block.lines.room(kCardLength), secondLine_}, {}};
    const AsteriskWatch asterisks;
    // An observation that a writer refuses is left out.
    if (const MaybeRefusal refusal = writing_.write(rec_, lines)) {
        if (refusal->isLogged) family::tracelogerror(refusal->message());
        return lossIf(true, writing_.lossOfRefused == nullptr ? SaveLoss::notOfForm : writing_.lossOfRefused(rec_));
    }
    const bool usual = isUsual(writing_.usual, rec_, vectors, asterisks.seen());
    const LossSet losses = usual ? 0 : writing_.lossesOf({rec_, vectors, lines, sites_});
    block.lines.take(lines.length[0]);
    if (lines.length[1] != 0) block.lines.put(lines.line(1));
    return losses;
}

/// Smaller than all keys.
constexpr std::int64_t kBelowAll = std::numeric_limits<std::int64_t>::min();

/// Writes all observations, or a group's, by ascending key from the one above `key` on, until all are written or it is
/// time to tell of the progress; false then, and `key` is that of the last one.
bool writeLines(family::Unit unit, const CardWriting& writing, std::optional<std::int32_t> gid,
                std::int32_t threadCount, SaveTally& tally, std::int64_t& key) {
    BlockWriting task(writing, gid, key);
    InTurn<BlockWriting> blocks(task, threadCount);
    while (const SavedBlock* const block = blocks.next()) {
        if (block->failure) std::rethrow_exception(block->failure);
        block->lines.writeTo(unit);
        family::saymessages(block->messages);
        tally.takeWritten(block->withoutLoss);
        for (const SaveTally::Loss& loss : block->losses) tally.takeLosses(loss);
        if (tally.isProgressDue()) blocks.endBeginning();
    }
    key = task.key();
    return task.isAll();
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
    const CardFormat* const format = cardFormatOfForm(saveForm);
    if (format == nullptr) return;
    const CardWriting* const writing = format->writing;
    if (!writing->headerLine.empty()) {
        LineBuffer header;
        header.put(writing->headerLine);
        header.writeTo(unit);
    }
    const std::int64_t expected = obsgetnumoftreenodes(gid);
    tally.expect(expected);
    constexpr std::int64_t kUsualLine = 100, kLeastShare = 256 * 1024;  // bytes
    const std::int32_t threadCount = threadsFor(expected * kUsualLine, kLeastShare);
    std::int64_t key = kBelowAll;
    for (bool isAll = false; !isAll;) {
        const SaveCounts before = tally.counts();
        {
            // Messages wait until the store is free: whoever receives them may be waiting for it.
            const family::MessageHold hold;
            const OrderGuard<StandstillGuard> guard;
            isAll = writeLines(unit, *writing, gid, threadCount, tally, key);
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
