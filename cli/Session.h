/// @file
/// One run of the command: files go into the library's store, what the library says about
/// them comes out.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Output.h"

namespace obstool {

/// A line that was not loaded.
struct LineReport {
    bool bad;  ///< else a duplicate
    std::string file;
    std::int64_t line;
    std::string reason;
};

/// "FILE:LINE: REASON", safe to print.
std::string describe(const LineReport& report);

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

    /// @param sink called for each bad or duplicate line while a file is loaded; it must
    ///        not call the library.
    explicit Session(ReportSink sink);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Appends what the library logs to a file. An empty name opens none.
    bool openLog(const std::string& name);

    /// Loads the files in their order; one that cannot be read does not keep the others
    /// from being loaded. "-" is standard input.
    std::vector<LoadResult> load(const std::vector<std::string>& names);

    /// Saves all observations. "-" is standard output.
    /// @param form the save form of ObsSaveFile.
    void save(const std::string& name, bool append, std::int32_t form);

    ExitStatus status() const { return status_; }

private:
    static void onLine(std::int32_t kind, const char* file, std::int64_t line, const char* reason,
                       void* self);
    static void onMessage(std::int32_t severity, const char* text, void* self);

    LoadResult loadOne(const std::string& name);
    void fail(const std::string& subject, const std::string& reason);
    void raise(ExitStatus status);

    ReportSink sink_;
    ExitStatus status_ = ExitStatus::allGood;
    std::string openedAs_, shownAs_;  ///< the file being loaded
    std::vector<std::string> errors_; ///< messages that no line report has accounted for
};

/// A sink that names bad lines on standard error.
void complainOfBadLine(const LineReport& report);

}  // namespace obstool
