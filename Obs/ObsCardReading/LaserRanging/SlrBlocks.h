// SPDX-License-Identifier: Apache-2.0
/// Reader of the older fixed-column laser-ranging formats: normal points (mark 99999) and sampled
/// engineering data (mark 88888).
#pragma once

#include "Obs/ObsCardReading/Loading/LineReader.h"
#include "Obs/ObsCardReading/LaserRanging/SlrSink.h"

namespace obs {

/// Which laser-ranging records (Crd.h) end a block: headers, so that a damaged data line does not; or all, where a
/// section of an observation file is open and takes each of them.
enum class CrdInBlocks { headersEnd, allEnd };

/// Reads the block that the current line (the mark) of `lines` starts: up to the next mark, a line of another class,
/// a laser-ranging record, a line without a digit where the range stands (any of which is given back, so that the
/// next `next` gives it) or the end. Comments and blank lines between are passed over; any other line is a data line.
///
/// Ranges are one-way, of the moment at which the satellite reflected. Normal points have the station's delay
/// taken off already; from engineering data it is taken off here, as the pass header gives it. A damaged line is
/// refused; below a bad header every data line is, for the header's reason. Check sums that disagree are noted once a
/// pass and change nothing: not even published examples keep to the rule.
void readSlrBlock(LineReader& lines, SlrSink& sink, CrdInBlocks records = CrdInBlocks::headersEnd);

}  // namespace obs
