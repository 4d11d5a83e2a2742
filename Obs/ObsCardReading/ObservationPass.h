/// The pass over a file that reads its observation lines. Under field keys it collects observations and
/// enters them into the store in bulk; messages about bad and duplicate lines are written when the batch is
/// entered, in the order of the file, so that all looks as if done line by line.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Obs/ObsCardReading/LineReader.h"
#include "Obs/ObsCardReading/LoadState.h"
#include "Obs/ObsCardReading/ReadObs.h"
#include "Obs/ObsTree/BulkAdd.h"

namespace obs {

class ObservationPass {
public:
    /// `fileSize` in bytes (-1 unknown) sizes the batch.
    ObservationPass(LoadState& state, std::int64_t fileSize);

    /// Tentative: nothing is entered, no setting changed and no message written before the end of the file.
    enum class Mode { tentative, final };

    /// Why a pass ended. After `mustBeFinal` (met in the tentative mode only) the current line is not done yet
    /// and a final run goes on from there; after `firstPassLine` the pass is to be dropped.
    enum class Stop { endOfFile, mustBeFinal, firstPassLine };
    Stop run(LineReader& lines, Mode mode);

    /// Forgets what was collected.
    void drop();

private:
    /// A line that was refused: what is to be said once its turn comes.
    struct BadLine {
        std::size_t position;    ///< observations collected before it
        std::int64_t lineNumber;
        std::string reason;      ///< empty when the reader had nothing to say
        std::string line;
    };
    /// From this collected observation on, line numbers run with positions until the next entry.
    struct LineOffset {
        std::size_t position;
        std::int64_t lineNumber;
    };

    enum class Step { done, mustBeFinal, firstPassLine };
    Step takeLine(std::string_view line, std::int64_t lineNumber, Mode mode);
    Step takeObservation(const CardText& line, LineClass lineClass, std::int64_t lineNumber, Mode mode);
    void collect(std::int64_t key, std::int64_t lineNumber);
    void addAtOnce(const CardText& line, std::int64_t lineNumber);
    bool isFull() const;
    void flush();
    void tellBad(const BadLine& bad);
    void tellDuplicate(const BulkAdd::Refused& refused, std::vector<LineOffset>::const_iterator& offset);

    LoadState& state_;
    BulkAdd batch_;
    std::size_t batchLimit_;
    bool resuming_ = false;
    std::vector<BadLine> badLines_;
    std::size_t badBytes_ = 0;
    std::vector<LineOffset> offsets_;
    ObsRecord record_;
};

}  // namespace obs
