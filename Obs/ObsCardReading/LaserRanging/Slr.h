// SPDX-License-Identifier: Apache-2.0
/// Laser-ranging data: files of their own, sections of observation files, blocks. docs/formats/slr.md has the rules.
#pragma once

#include <string_view>

#include "Obs/ObsCardReading/LaserRanging/Crd.h"
#include "Obs/ObsCardReading/Loading/LineReader.h"
#include "Obs/ObsCardReading/Loading/LoadBatch.h"
#include "Obs/ObsCardReading/Loading/LoadState.h"
#include "Obs/ObsCardReading/LaserRanging/SlrSink.h"

namespace obs {

/// Hands what laser-ranging readers find to a load's batch, which is flushed when it is full.
class SlrBatchSink final : public SlrSink {
public:
    explicit SlrBatchSink(LoadBatch& batch) : batch_(batch) {}
    void observation(ObsRecord& rec, std::int64_t lineNumber) override { take(rec, std::nullopt, {{}, lineNumber}); }
    void refuse(const Refusal& why, std::string_view line, std::int64_t lineNumber) override;
    void note(std::string text) override;
    void corrected(const SlrCorrectionCounts& counts) override { batch_.count(counts); }

private:
    void take(ObsRecord& rec, const MaybeRefusal& why, const LoadBatch::Line& line);

    LoadBatch& batch_;
};

/// Reads a file of laser-ranging sessions and blocks; adds and counts its own records.
void readSlrFile(family::Unit unit, LoadState& state);

/// Whether an SLROBS line names no file: it then introduces the sessions that follow it.
bool introducesSlrSection(std::string_view line);

/// Where a laser-ranging section of an observation file is open. Both passes over the file ask it, so that each of
/// them takes the very lines that the other leaves.
class SlrSection {
public:
    void open() { open_ = true; }
    bool isOpen() const { return open_; }

    /// Whether the line is a laser-ranging record of an open section. The end record closes it.
    bool takes(std::string_view line) {
        if (!open_ || !isCrdRecord(line)) return false;
        open_ = !isCrdEnd(line);
        return true;
    }

private:
    bool open_ = false;
};

/// The sessions in the sections of a file, as the first pass reads them.
class SlrSectionReader {
public:
    explicit SlrSectionReader(LoadState& state);

    void open() {
        section_.open();
        records_.leavePrediction();
    }

    /// Takes a record of an open section; false for any other line.
    bool take(const LineReader& lines);

    /// Enters what was read so far, be it of an unfinished session, so that what is loaded next comes after it.
    void flush() {
        records_.handOver();
        batch_.flush();
    }

    void finish();

private:
    SlrSection section_;
    LoadBatch batch_;
    SlrBatchSink sink_;
    CrdReader records_;
};

/// Skips the lines of a file up to and including the next mark of a laser-ranging block. False at the end.
bool GoPassHeaderRecord(LineReader& lines);

}  // namespace obs
