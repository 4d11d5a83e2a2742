// SPDX-License-Identifier: Apache-2.0
/// Observations of a load on their way into the store. Under field keys they are collected and entered in
/// bulk; messages about lines are written when the batch is entered, in the order of the file, so that all looks as if
/// done line by line. Under address keys each is entered at once.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "Obs/ObsCardReading/Loading/LineCollector.h"
#include "Obs/ObsCardReading/Loading/LoadState.h"

namespace obs {

class LoadBatch : public LineCollector {
public:
    explicit LoadBatch(LoadState& state);

    void observation(ObsRecord& rec, std::string_view line, LinePlace place) override;
    CommonFields* place() override { return addressKeysInForce() ? nullptr : LineCollector::place(); }

    /// Takes over what another collector has read of the lines that follow `linesBefore` lines.
    void append(BulkAdd::HandedOver& observations, LineRemarks& said, std::int64_t linesBefore);

    /// Whether it is time to flush. Observations alone never fill a batch: each entering works through the whole store.
    bool isFull() const { return said_.bytes >= kMaxRemarkBytes + kRemarkBytesEach * batch_.size(); }

    /// Enters the batch and says what is to be said about its lines, in their order, and sets the load's status. Without
    /// memory for all of it throws std::bad_alloc; the counts are those of what was entered.
    void flush();

protected:
    ~LoadBatch() = default;

    LoadState& state_;

private:
    using Remark = LineRemarks::Remark;

    /// Text about lines that may wait for their turn: so much, and as much again for each observation that waits.
    static constexpr std::size_t kMaxRemarkBytes = 4u << 20, kRemarkBytesEach = 48;

    void addAtOnce(const ObsRecord& rec, std::string_view line, LinePlace place);
    std::vector<BulkAdd::Refused> enter();
    void addOneByOne();
    void tellAll(const std::vector<BulkAdd::Refused>& duplicates);
    void tell(const Remark& remark);
    void tellFault(const Remark& remark);
    void tellBad(const Remark& remark);
    void tellDuplicate(const BulkAdd::Refused& refused, std::vector<LineRun>::const_iterator& offset);
};

}  // namespace obs
