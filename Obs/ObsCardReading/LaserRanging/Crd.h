// SPDX-License-Identifier: Apache-2.0
/// Consolidated laser ranging data, versions 1 and 2: from lines to sessions. docs/formats/slr.md has the rules.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Obs/ObsCardReading/LaserRanging/Items.h"
#include "Obs/ObsCardReading/LaserRanging/Session.h"
#include "Obs/ObsCardReading/LaserRanging/SessionRefusal.h"

namespace obs {

/// Whether a line is a laser-ranging record: one of the record ids, and a blank or nothing after it. A comment needs
/// no blank.
bool isCrdRecord(std::string_view line);

/// Whether it is a comment among such records.
bool isCrdComment(std::string_view line);

/// Whether it is the record that ends a file.
bool isCrdEnd(std::string_view line);

/// What the lines before mean for a session that begins: headers H2 and H3 hold until others come.
struct CrdKept {
    struct Configuration {
        std::string id;
        float wavelengthUm;
    };
    int version = 1;
    bool inPrediction = false;                            ///< between an H1 of predictions and the next one
    bool recordMet = false;                               ///< since the last end of a file
    std::optional<std::string> station;                   ///< item of H2
    std::optional<std::array<std::string, 2>> satellite;  ///< items of H3: laser-ranging id, catalogue number
    std::vector<Configuration> configurations;            ///< since the last end of a file
};

/// What was read of a file so far. A copy goes on by itself from there.
class CrdReader {
public:
    /// What the next lines are read with, and where their ranges go; both must live until then.
    void attach(const ReadSettings& settings, RecordSink& sink) {
        settings_ = &settings;
        sink_ = &sink;
    }

    /// Takes a line; `no` when it is not a laser-ranging record, `range` when it gives or owes an observation.
    /// Observations reach the sink when their session ends. A line without its end may be cut in a number: records
    /// beside the ranges then need an item after what is read.
    enum class Took { no, record, range };
    Took take(std::string_view line, LinePlace place, bool hasEnd = true);

    /// Hands over what was read so far of a session that goes on.
    void handOver() { session_.handOver(*settings_, *sink_); }

    /// Takes records again after those of a prediction file, as an H1 does.
    void leavePrediction() { kept_.inPrediction = false; }

    /// Whether a session is open: its records so far mean something for those that come.
    bool isOpen() const { return isOpen_; }

    /// What a reader that is not open goes on from; its numbers of station and satellite come from the settings.
    const CrdKept& kept() const { return kept_; }
    void keep(CrdKept kept, const ReadSettings& settings);

    /// Ends the session at hand, when something else than its records follows.
    void endSession();

    /// Ends the file. A missing end record gives an information line.
    void endFile();

private:
    struct Kind;
    static const Kind* kindOf(std::string_view line);
    static const Kind kKinds[];
    friend bool isCrdRecord(std::string_view line);

    struct Line {
        std::string_view text;
        LinePlace place;
        bool hasEnd;
    };
    /// A satellite or station with its number here, or why it has none.
    struct Known {
        std::int32_t number = 0;
        MaybeRefusal refusal;
    };
    using Configuration = CrdKept::Configuration;

    void skip(const Line&) {}
    void readH1(const Line& line);
    void readH2(const Line& line);
    void readH3(const Line& line);
    void readH4(const Line& line);
    void readH8(const Line&) { endSession(); }
    void readH9(const Line& line);
    void readC0(const Line& line);
    void readFullRate(const Line& line) { readRange(line, true); }
    void readNormalPoint(const Line& line) { readRange(line, false); }
    void readSupplement(const Line& line);
    void readConditions(const Line& line);
    void readPointing(const Line& line);

    void findStation(const CrdItems& items);
    void findSatellite(const CrdItems& items);
    void readRange(const Line& line, bool isFullRate);
    MaybeRefusal takeStart(const CrdItems& items);
    MaybeRefusal takeRangeType(const CrdItems& items);
    bool beginData(const Line& line);
    void leaveOut(const MaybeRefusal& why, const Line& line);
    bool mayBeCut(const Line& line, const CrdItems& items, std::size_t lastRead);
    Configuration* configuration(std::string_view id);
    float wavelengthOf(std::string_view configuration);
    void headerMet();
    void tellKeptHeaders(const Line& line);

    const ReadSettings* settings_ = nullptr;
    RecordSink* sink_ = nullptr;
    CrdSession session_;
    CrdSessionFacts facts_;
    CrdKept kept_;
    bool isOpen_ = false;
    Known satellite_{0, Refusal{"ReadCrd: No header H3 stands before the session.", {}, 0, {}}};
    Known station_{0, Refusal{"ReadCrd: No header H2 stands before the session.", {}, 0, {}}};
    MaybeRefusal header_{Refusal{"ReadCrd: No header H4 stands before the record.", {}, 0, {}}};
    MaybeRefusal sessionRefusal_;  ///< why no range of this session can be read, once `inData_`
    SlrSessionRefusal refused_;
    Took counted_ = Took::record;                         ///< what the current line is
    bool inData_ = false;                                 ///< a data record of this session was met
    bool h1Met_ = false, h2Met_ = false, h3Met_ = false;  ///< of this session
    std::size_t oldestConfiguration_ = 0;                 ///< once there are as many as are kept
    std::size_t lastConfiguration_ = 0;                   ///< the one found last
};

}  // namespace obs
