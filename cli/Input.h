// SPDX-License-Identifier: Apache-2.0
/// @file
/// Input files as the library can read them.
#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

namespace obstool {

/// What keeps a name from being handed to the library as a 512-character text; empty when
/// nothing does.
std::string fileNameProblem(const std::string& name);

/// The name under which the library reads a file that standard input was redirected from.
const std::string& standardInputFile();

/// A file without a name, which lasts as long as this object.
class TemporaryFile {
public:
    TemporaryFile();
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }  ///< else errno tells why
    int descriptor() const { return descriptor_; }
    std::string path() const;  ///< under which it can be opened again

private:
    int descriptor_;
};

/// A readable input. The library reads a file twice and by name. Anything but a plain regular file (a pipe, a
/// terminal, a process substitution, packed data) goes to an unlinked temporary file, which is mapped: so the text
/// needs no memory of its own, however much it unpacks to, and keeps its name.
class Input {
public:
    /// @param name "-" is standard input, from where it stands.
    /// @param quiet whether nothing tells on a terminal how far a copy is.
    explicit Input(const std::string& name, bool quiet = true);
    ~Input();
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    const std::string& problem() const { return problem_; }      ///< why it cannot be read, or empty
    const std::string& brokenOff() const { return brokenOff_; }  ///< why its text ends before its time, or empty

    const std::string& path() const { return path_; }  ///< what the library is to open, or call the text
    bool isText() const { return temporary_.has_value(); }
    std::string_view text() const;  ///< if it is one

    /// What ObsIdentifyFile tells of it; other than 0 with a message of the library when it cannot be read.
    std::int32_t identify(std::int32_t& kind, std::int32_t& formats, std::string& kindName) const;

private:
    void openStandardInput();
    void openNamed(const std::string& name);
    void copyToTemporary(int source);
    bool write(std::string_view bytes);
    void mapTemporary();

    bool quiet_;
    std::optional<TemporaryFile> temporary_;
    std::string_view text_{""};
    std::string path_;
    std::string problem_, brokenOff_;
};

/// The lines of an input without their ends, from the first one on. The input has to last as long.
class InputLines {
public:
    explicit InputLines(const Input& input);

    /// False when there is none any more.
    bool next(std::string& line);

private:
    bool isText_;
    std::string_view text_;
    std::ifstream file_;
};

}  // namespace obstool
