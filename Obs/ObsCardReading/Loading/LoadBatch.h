// SPDX-License-Identifier: Apache-2.0
/// Observations of a load on their way into the store. Under field keys they are collected and entered in
/// bulk; messages about lines are written when the batch is entered, in the order of the file, so that all looks as if
/// done line by line. Under address keys each is entered at once.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Obs/ObsCardReading/Loading/LoadState.h"
#include "Obs/ObsCardReading/Loading/RecordSink.h"
#include "Obs/ObsTree/BulkAdd.h"

namespace obs {

class LoadBatch : public RecordSink {
public:
    /// `fileSize` in bytes (-1 unknown) and the fewest bytes that an observation takes in it tell how many to expect.
    LoadBatch(LoadState& state, std::int64_t fileSize, std::int64_t bytesPerObservation);

    /// The record is written to where it stays. Sets the load's status, as does a refused line.
    void observation(ObsRecord& rec, std::string_view line, LinePlace place) override;
    CommonFields* place() override;
    void observationAtPlace(std::int64_t key, char secClass, bool rotateToDate, const RareFields* rare,
                            LinePlace place) override;
    void refuse(const Refusal& why, std::string_view line, LinePlace place) override;
    void fieldNote(const FieldNote& note, LinePlace place) override;
    void passedOver(std::string_view line, LinePlace place) override;
    void note(std::string text) override;
    void refuseKeyword(const Refusal& why, LinePlace place) override;
    void corrected(const SlrCorrectionCounts& counts) override { corrections_.add(counts); }

    /// Whether it is time to flush. Observations alone never fill a batch: each entering works through the whole store.
    bool isFull() const { return remarkBytes_ >= kMaxRemarkBytes + kRemarkBytesEach * batch_.size(); }

    /// Enters the batch and says what is to be said about its lines, in their order. Without memory for all of it
    /// throws std::bad_alloc; the counts are those of what was entered.
    void flush();

    /// Forgets what was collected.
    void drop();

protected:
    ~LoadBatch() = default;

    LoadState& state_;

private:
    /// Text about lines that may wait for their turn: so much, and as much again for each observation that waits.
    static constexpr std::size_t kMaxRemarkBytes = 4u << 20, kRemarkBytesEach = 48;

    enum class Kind : std::uint8_t { bad, zeroed, passedOver, note, fault };

    /// What is to be said of a line once its turn comes.
    struct Remark {
        std::size_t position;  ///< observations collected before it
        std::int64_t lineNumber;
        Kind kind;
        Refusal what;  ///< without words when the reader had nothing to say
        std::string line;
    };
    /// From this collected observation on, line numbers run with positions until the next entry.
    struct LineOffset {
        std::size_t position;
        std::int64_t lineNumber;
    };

    void noteLine(std::int64_t lineNumber);
    void addAtOnce(const ObsRecord& rec, std::string_view line, LinePlace place);
    void keep(Kind kind, const Refusal& what, std::string_view line, std::int64_t lineNumber);
    void keepBad(const Refusal& why, std::string_view line, LinePlace place);
    std::vector<BulkAdd::Refused> enter();
    void addOneByOne();
    void forget();
    void tellAll(const std::vector<BulkAdd::Refused>& duplicates);
    void tell(const Remark& remark);
    void tellFault(const Remark& remark);
    void tellBad(const Remark& remark);
    void tellDuplicate(const BulkAdd::Refused& refused, std::vector<LineOffset>::const_iterator& offset);

    BulkAdd batch_;
    std::vector<Remark> remarks_;
    std::size_t remarkBytes_ = 0;
    std::vector<LineOffset> offsets_;
    SlrCorrectionCounts corrections_;
};

}  // namespace obs
