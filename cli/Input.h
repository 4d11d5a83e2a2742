/// @file
/// Input files as the library can read them.
#pragma once

#include <string>

namespace obstool {

/// What keeps a name from being handed to the library as a 512-character text; empty when
/// nothing does.
std::string fileNameProblem(const std::string& name);

/// A readable input. The library reads a file twice and by name, so anything but a regular
/// file (a pipe, a terminal, a process substitution) is copied to an unlinked temporary
/// file, which lives as long as this object.
class Input {
public:
    /// @param name "-" is standard input, from where it stands.
    explicit Input(const std::string& name);
    ~Input();
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    const std::string& problem() const { return problem_; }  ///< why it cannot be read, or empty
    const std::string& path() const { return path_; }        ///< what the library is to open

private:
    void openStandardInput();
    void openNamed(const std::string& name);
    void copyToTemporary(int source);

    int temporary_ = -1;
    std::string path_;
    std::string problem_;
};

}  // namespace obstool
