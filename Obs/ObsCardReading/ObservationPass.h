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
    /// What is to be said of a line once its turn comes.
    struct Remark {
        std::size_t position;    ///< observations collected before it
        std::int64_t lineNumber;
        bool isBad;
        std::string reason;      ///< why it is bad; empty when the reader had nothing to say
        std::string line;
        CsvNotes notes;          ///< what was taken as 0
    };
    /// From this collected observation on, line numbers run with positions until the next entry.
    struct LineOffset {
        std::size_t position;
        std::int64_t lineNumber;
    };

    enum class Step { done, mustBeFinal, firstPassLine };
    Step takeLine(std::string_view line, LineReader& lines, Mode mode);
    Step takeObservation(const CardText& line, LineClass lineClass, LineReader& lines, Mode mode);
    void collect(std::int64_t key, std::int64_t lineNumber);
    void addAtOnce(const CardText& line, std::int64_t lineNumber, const MaybeRefusal& refusal);
    bool isFull() const;
    void flush();
    void addOneByOne();
    void remark(const CardText& line, std::int64_t lineNumber, bool isBad, const MaybeRefusal& refusal);
    void tell(const Remark& remark);
    void tellDuplicate(const BulkAdd::Refused& refused, std::vector<LineOffset>::const_iterator& offset);

    LoadState& state_;
    BulkAdd batch_;
    std::size_t batchLimit_;
    bool resuming_ = false;
    std::vector<Remark> remarks_;
    std::size_t remarkBytes_ = 0;
    CsvNotes notes_;  ///< of the current line
    std::int32_t yearAtStart_;
    bool yearMet_ = false;       ///< a TTY_YEAR line stood before
    bool ttyBeforeYear_ = false; ///< a TTY message stood before any such line
    std::vector<LineOffset> offsets_;
    ObsRecord record_;
};

}  // namespace obs
