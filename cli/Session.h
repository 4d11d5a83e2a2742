// SPDX-License-Identifier: Apache-2.0
/// @file
/// One run of the command: files go into the library's store, what the library says about
/// them comes out.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Formats.h"
#include "Output.h"
#include "Selection.h"

namespace obstool {

/// As ObsSetSlrCorrections numbers them.
inline constexpr std::array<std::string_view, 3> kTroposphereModels = {"none", "mendes-pavlis", "marini-murray"};

struct CommonOptions {
    std::vector<std::string> files;
    std::vector<std::size_t> groups;       ///< numbers of the files to keep, from 1; empty: all
    std::optional<std::string> select;     ///< criteria of ObsSetSelObs
    bool dryRun = false;                   ///< only with `select`
    std::optional<std::int32_t> ttyYear;   ///< of TTY cards, until a file sets another
    std::string sensors;                   ///< file of sensors; empty: none
    std::string troposphere;               ///< one of kTroposphereModels; empty: the first
    bool centreOfMass = false;             ///< of laser ranges
    std::string log;                       ///< empty: none
};

/// A line that was not loaded; or several bad ones that follow each other and have the same reason.
struct LineReport {
    bool bad;  ///< else a duplicate
    std::string file;
    std::vector<std::int64_t> lines;  ///< their numbers
    std::string reason;

    std::string place() const;       ///< "FILE:LINE", the first
    std::string whatAndWhy() const;  ///< the reason, how many lines have it, and what helps
};

struct LoadResult {
    std::string file;  ///< as shown to the user
    bool read = false;
    std::int64_t loaded = 0, duplicate = 0, bad = 0;
};

/// Holds the library's callbacks, so there is one at a time. Its functions complain on
/// standard error about what fails and remember it for status().
class Session {
public:
    using ReportSink = std::function<void(const LineReport&)>;

    /// @param sink called for the bad and duplicate lines of a file while it is loaded, in
    ///        their order; it must not call the library.
    explicit Session(ReportSink sink);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Opens the log, loads the sensors and makes the settings for `load`.
    bool start(const CommonOptions& options);

    /// Loads the files in their order, each under its number as group, and drops the groups and then the
    /// observations that are not wanted; a dry run only counts the latter. A file that cannot be read does not
    /// keep the others from being loaded. "-" is standard input.
    std::vector<LoadResult> load(const CommonOptions& options);

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
    static void onLine(std::int32_t kind, const char* file, std::int64_t line, const char* reason,
                       void* self);
    static void onMessage(std::int32_t severity, const char* text, void* self);

    bool openLog(const std::string& name);
    bool loadStations(const std::string& sensors);
    bool loadSensors(const std::string& name);
    bool checkCriteria(const CommonOptions& options);
    void setCorrections(const CommonOptions& options);
    void countCorrections(const std::string& file);
    void reportHeld();
    LoadResult loadOne(const std::string& name, std::int32_t group);
    void select(const CommonOptions& options);
    void noteSelectionOfFiles();
    void raise(ExitStatus status);

    ReportSink sink_;
    ExitStatus status_ = ExitStatus::allGood;
    std::string openedAs_, shownAs_;  ///< the file being loaded
    std::string logName_;
    bool saving_ = false;
    std::optional<LineReport> held_;  ///< to which the next line may belong
    std::int64_t uncorrected_ = 0;
    std::optional<SelectionReport> selection_;
    std::vector<std::string> errors_; ///< messages that no line report has accounted for
};

/// A sink that names bad lines on standard error.
void complainOfBadLine(const LineReport& report);

}  // namespace obstool
