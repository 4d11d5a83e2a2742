// SPDX-License-Identifier: Apache-2.0
/// Reader of the older fixed-column laser-ranging formats: normal points (mark 99999) and sampled
/// engineering data (mark 88888).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Obs/CardLayouts/LineReader.h"
#include "Obs/ObsCardReading/LaserRanging/Corrections.h"
#include "Obs/ObsCardReading/LaserRanging/SessionRefusal.h"
#include "Obs/ObsCardReading/Loading/RecordSink.h"
#include "Obs/ObsCardReading/ReadSettings.h"

namespace obs {

namespace slr_blocks {
struct DataColumns;
}

/// Which laser-ranging records (Crd.h) end a block: headers, so that a damaged data line does not; or all, where a
/// section of an observation file is open and takes each of them.
enum class CrdInBlocks { headersEnd, allEnd };

/// What the header of a block says about all its ranges.
struct SlrPass {
    std::int32_t ilrsId = 0;
    std::int32_t satNum = 0;
    std::int32_t senNum = 0;
    std::int32_t dayDs50 = 0;
    double wavelengthUm = 0;
    double systemDelayS = 0;  ///< two-way, to be taken off
};

/// What was read of a block so far. A copy goes on by itself from there.
///
/// A block goes from its mark up to the next mark, a line of another class, a laser-ranging record, a line without
/// a digit where the range stands, or the end. Comments and blank lines between are passed over; any other line is
/// a data line.
///
/// Ranges are one-way, of the moment at which the satellite reflected. Normal points have the station's delay
/// taken off already; from engineering data it is taken off here, as the pass header gives it. A damaged line is
/// refused; below a bad header every data line is, for the header's reason. Check sums that disagree are noted once a
/// pass and change nothing: not even published examples keep to the rule.
class SlrBlock {
public:
    bool isOpen() const { return isOpen_; }

    /// Opens the block of a mark, whose ranges are corrected as the settings say.
    void open(std::string_view mark, LinePlace place, CrdInBlocks records, const ReadSettings& settings);

    /// What a line of an open block is. After `other` the line belongs to no block and this one is to be closed.
    enum class Took { comment, header, data, other };
    Took take(std::string_view line, LinePlace place, RecordSink& sink);

    /// Closes an open block. Returns whether its mark, or its header, was refused for want of what should follow it.
    bool close(RecordSink& sink);

private:
    void takeHeader(std::string_view line, LinePlace place);
    void takeData(std::string_view text, LinePlace place, RecordSink& sink);
    MaybeRefusal readHeader(const CardText& line);
    bool readRange(const CardText& line, ObsRecord& rec);
    static double readAngles(const CardText& line, ObsRecord& rec);
    void correct(const CardText& line, ObsRecord& rec, double elevationDeg);
    void checkSum(const CardText& line, Columns summed, Columns sumColumns, std::int64_t lineNumber);
    void noteCheckSums(RecordSink& sink) const;
    const slr_blocks::DataColumns& columns() const;

    bool isOpen_ = false;
    bool engineering_ = false;
    CrdInBlocks records_ = CrdInBlocks::headersEnd;
    SlrCorrectionSettings settings_;
    const SensorSource* sensors_ = nullptr;
    LinePlace mark_, header_;  ///< the header has number 0 until it is met
    std::string headerText_;
    SlrPass pass_;
    MaybeRefusal headerRefusal_;
    bool anyData_ = false;
    double firstFiring_ = -1;  ///< second of day on the first line that has one: the start of the pass
    SlrSessionRefusal refused_;
    SlrCorrectionCounts corrections_;
    std::int64_t badSums_ = 0;
    std::int64_t firstBadSumLine_ = 0;
};

}  // namespace obs
