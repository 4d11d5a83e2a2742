// SPDX-License-Identifier: Apache-2.0
/// What is read of lines, collected until their turn comes: observations in reserved slots of the store, and what is to
/// be said of lines.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Obs/ObsCardReading/Loading/RecordSink.h"
#include "Obs/ObsTree/BulkAdd.h"

namespace obs {

/// About lines, beside their observations.
struct LineRemarks {
    enum class Kind : std::uint8_t { bad, zeroed, passedOver, note, fault };

    /// What is to be said of a line once its turn comes.
    struct Remark {
        std::size_t position;  ///< observations collected before it
        std::int64_t lineNumber;
        Kind kind;
        Refusal what;  ///< without words when the reader had nothing to say
        std::string line;
    };
    std::vector<Remark> remarks;
    std::size_t bytes = 0;  ///< of text in them, about
    std::vector<LineRun> offsets;
    SlrCorrectionCounts corrections;
    std::optional<std::int32_t> status;  ///< of the latest observation line

    void addOffset(std::size_t position, std::int64_t lineNumber);

    /// Takes over those of the lines that follow, which count their own observations and lines from nothing on.
    void append(LineRemarks& others, std::size_t observationsBefore, std::int64_t linesBefore);

    void clear();
};

class LineCollector : public RecordSink {
public:
    /// `tellsPassedOver`: somebody wants to know of lines that are passed over.
    LineCollector(std::int32_t gid, TakeBack* takeBack, bool tellsPassedOver)
        : batch_(gid, takeBack), tellsPassedOver_(tellsPassedOver) {}

    /// The record is written to where it stays.
    void observation(ObsRecord& rec, std::string_view line, LinePlace place) override;
    CommonFields* place() override { return &batch_.place(); }
    void observationAtPlace(std::int64_t key, const UncommonFields& rest, LinePlace place) override;
    void refuse(const Refusal& why, std::string_view line, LinePlace place) override;
    void fieldNote(const FieldNote& note, LinePlace place) override;
    void passedOver(std::string_view line, LinePlace place) override;
    void note(std::string text) override;
    void refuseKeyword(const Refusal& why, LinePlace place) override;
    void corrected(const SlrCorrectionCounts& counts) override { said_.corrections.add(counts); }

    /// Forgets what was collected.
    void drop();

protected:
    ~LineCollector() = default;

    BulkAdd batch_;
    LineRemarks said_;

private:
    void keep(LineRemarks::Kind kind, const Refusal& what, std::string_view line, std::int64_t lineNumber);

    bool tellsPassedOver_;
};

}  // namespace obs
