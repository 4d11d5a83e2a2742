// SPDX-License-Identifier: Apache-2.0
/// @file
/// One run of the command: files go into the library's store, what the library says about
/// them comes out.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "FileArguments.h"
#include "FileForm.h"
#include "Formats.h"
#include "LineReports.h"
#include "Output.h"
#include "Selection.h"

namespace obstool {

/// As ObsSetSlrCorrections numbers them.
inline constexpr std::array<std::string_view, 3> kTroposphereModels = {"none", "mendes-pavlis", "marini-murray"};

struct CommonOptions : FileArguments {
    std::vector<std::size_t> groups;      ///< numbers of the files to keep, from 1; empty: all
    std::optional<std::string> select;    ///< criteria of ObsSetSelObs
    bool dryRun = false;                  ///< only with `select`
    std::optional<std::int32_t> ttyYear;  ///< of TTY cards in each file until it sets another; else none
    std::string sensors;                  ///< file of sensors; empty: none
    std::string earthOrientation;         ///< file of it; empty: zeros
    std::string troposphere;              ///< one of kTroposphereModels; empty: the first
    bool centreOfMass = false;            ///< of laser ranges
    std::string log;                      ///< empty: none
    std::int32_t threads = 0;             ///< that load; 0: all cores
    bool quiet = false;                   ///< no progress on a terminal
    std::size_t lineLimit = 10;           ///< most lines or reasons of a kind that are told of a file; 0: all
    bool zeroedFails = false;             ///< values that were taken as 0 are an error
    bool duplicates = false;              ///< lines that are duplicates are told
    bool passedOverIgnored = false;       ///< lines that are nothing known are not an error and are not named
    std::int64_t firstTold = 0;           ///< numbers of the lines that are told
    std::int64_t lastTold = std::numeric_limits<std::int64_t>::max();
};

class Input;

struct LoadResult {
    std::string file;  ///< as shown to the user
    bool read = false;
    FileForm form;
    std::int64_t loaded = 0, duplicate = 0, bad = 0;
    ObsLoadLines lines{sizeof(ObsLoadLines), 0, 0, 0, 0, 0, 0, 0, 0};
};

/// What ObsIdentifyFile tells of a file.
struct FileKind {
    std::int32_t number = 0;
    std::int32_t formats = 0;  ///< bits
    std::string name;
};

/// A sink that names all but duplicate lines on standard error.
void complainOfLine(const LineReport& report);

/// Holds the library's callbacks, so there is one at a time. Its functions complain on
/// standard error about what fails and remember it for status().
class Session {
public:
    /// @param options as long as the session.
    /// @param sink called for the bad, duplicate, zeroed and passed-over lines of a file once it is loaded.
    /// @param everyLine whether it is called for each of them, not for lines of one reason together up to the limit.
    Session(const CommonOptions& options, LineReports::Sink sink, bool everyLine = false);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Faults of keyword lines go to the sink, too, and not to standard error.
    void tellFaultsToo() { faultSink_ = sink_; }

    /// Opens the log, loads the sensors and makes the settings for `load`.
    bool start();

    /// Loads the files in their order, each under its number as group, and drops the groups and then the
    /// observations that are not wanted; a dry run only counts the latter. A file that cannot be read does not
    /// keep the others from being loaded. "-" is standard input.
    std::vector<LoadResult> load();

    /// Ranges that lack a correction that was asked for.
    std::int64_t uncorrected() const { return uncorrected_; }

    /// What load() selected; nothing when all are wanted.
    const std::optional<SelectionReport>& selection() const { return selection_; }

    /// Saves all observations. "-" is standard output.
    void save(const std::string& name, bool append, const Format& format);

    /// Does something that the log shall not tell of.
    void quietly(const std::function<void()>& work);

    /// Complains and makes status() a failure.
    void fail(const std::string& subject, const std::string& reason);

    ExitStatus status() const { return status_; }

private:
    static void onLine(std::int32_t kind, const char* file, std::int64_t line, const char* reason, void* self);

    bool openLog(const std::string& name);
    bool loadStations(const std::string& sensors);
    bool loadSettings(const std::string& name, std::int32_t (*loadFrom)(const char*));
    bool checkCriteria(const CommonOptions& options);
    void setCorrections(const CommonOptions& options);
    void countCorrections(const std::string& file);
    LoadResult loadOne(const std::string& name, std::int32_t group);
    std::optional<FileKind> identify(const Input& input) const;
    std::int32_t load(const Input& input, bool isOfLaserRanges, std::int32_t group);
    void judge(const LoadResult& result, const FileKind& kind);
    void select(const CommonOptions& options);
    void raise(ExitStatus status);

    const CommonOptions& options_;
    LineReports::Sink sink_, faultSink_ = complainOfLine;
    LineReports lines_, faults_;  ///< of the file being loaded: those for the sink, and the others
    std::string unknownSensor_;   ///< for want of which the next bad line is bad
    bool brokenOff_ = false, keywordFault_ = false;
    bool checksLate_ = false;  ///< criteria that name files, which have to be loaded first
    ExitStatus status_ = ExitStatus::allGood;
    std::string openedAs_, shownAs_;  ///< the file being loaded
    std::string logName_;
    std::int64_t uncorrected_ = 0;
    std::optional<SelectionReport> selection_;
};

}  // namespace obstool
