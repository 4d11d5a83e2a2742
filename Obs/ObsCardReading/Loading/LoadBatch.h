// SPDX-License-Identifier: Apache-2.0
/// Observations of a load on their way into the store. Under field keys they are collected and entered in
/// bulk; messages about bad and duplicate lines are written when the batch is entered, in the order of the file, so
/// that all looks as if done line by line. Under address keys each is entered at once.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Obs/ObsCardReading/Loading/LoadState.h"
#include "Obs/ObsCardReading/Refusal.h"
#include "Obs/ObsTree/BulkAdd.h"

namespace obs {

class LoadBatch {
public:
    /// `fileSize` in bytes (-1 unknown) and the fewest bytes that an observation takes in it size the batch.
    LoadBatch(LoadState& state, std::int64_t fileSize, std::int64_t bytesPerObservation);

    /// A line of the file: its text may be empty when it is not known any more.
    struct Line {
        std::string_view text;
        std::int64_t number;
    };

    /// Takes what a reader made of a line, and what it had to say besides. The record's optional parts become the
    /// batch's. Sets the load's status.
    void take(ObsRecord& rec, const MaybeRefusal& refusal, const Line& line,
              const std::vector<std::string>& notes = {});

    /// An information line that belongs to no observation, to be written when its turn comes.
    void note(std::string text);

    void count(const SlrCorrectionCounts& corrections) { state_.counts.slr.add(corrections); }

    /// Whether it is time to flush.
    bool isFull() const { return remarkBytes_ >= kMostRemarkBytes || batch_.size() >= batchLimit_; }

    /// Enters the batch and says what is to be said about its lines, in their order.
    void flush();

    /// Forgets what was collected.
    void drop();

private:
    /// Text about lines that may wait for their turn.
    static constexpr std::size_t kMostRemarkBytes = 4u << 20;

    /// What is to be said of a line once its turn comes.
    struct Remark {
        std::size_t position;  ///< observations collected before it
        std::int64_t lineNumber;
        bool isBad;
        bool isLogged;
        std::string reason;  ///< why it is bad; empty when the reader had nothing to say
        std::string line;
        std::vector<std::string> notes;
    };
    /// From this collected observation on, line numbers run with positions until the next entry.
    struct LineOffset {
        std::size_t position;
        std::int64_t lineNumber;
    };

    void collect(std::int64_t key, ObsRecord& rec, std::int64_t lineNumber);
    void addAtOnce(const ObsRecord& rec, const MaybeRefusal& refusal, const Line& line,
                   const std::vector<std::string>& notes);
    void countCommitted(std::size_t collected);
    void addOneByOne();
    void settle(const Line& line, std::int64_t key, const MaybeRefusal& refusal, const std::vector<std::string>& notes);
    void keep(Remark remark);
    void tell(const Remark& remark);
    void tellDuplicate(const BulkAdd::Refused& refused, std::vector<LineOffset>::const_iterator& offset);

    LoadState& state_;
    BulkAdd batch_;
    std::size_t batchLimit_;
    std::vector<Remark> remarks_;
    std::size_t remarkBytes_ = 0;
    std::vector<LineOffset> offsets_;
};

}  // namespace obs
