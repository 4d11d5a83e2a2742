// SPDX-License-Identifier: Apache-2.0
/// @file
/// Input files as the library can read them.
#pragma once

#include <optional>
#include <string>

namespace obstool {

/// What keeps a name from being handed to the library as a 512-character text; empty when
/// nothing does.
std::string fileNameProblem(const std::string& name);

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

/// A readable input. The library reads a file twice and by name, so anything but a regular
/// file (a pipe, a terminal, a process substitution) is copied to an unlinked temporary
/// file.
class Input {
public:
    /// @param name "-" is standard input, from where it stands.
    explicit Input(const std::string& name);
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    const std::string& problem() const { return problem_; }  ///< why it cannot be read, or empty
    const std::string& path() const { return path_; }        ///< what the library is to open

private:
    void openStandardInput();
    void openNamed(const std::string& name);
    void copyToTemporary(int source);

    std::optional<TemporaryFile> temporary_;
    std::string path_;
    std::string problem_;
};

}  // namespace obstool
