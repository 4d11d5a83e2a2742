// SPDX-License-Identifier: Apache-2.0
/// What a reader has to say of a value that it took otherwise than it is written.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace obs {

struct FieldNote {
    enum class Kind { zeroed, altered };  ///< taken as 0 because it could not be read; taken as something else
    Kind kind;
    std::string_view field;  ///< the field's name; empty when the note is about several
    std::string text;        ///< an information line, such as
                             ///< "ReadCsv: Field 17 (range) is not a number and is taken as 0."
};

/// Those of one line. A good line has none and costs no memory.
using FieldNotes = std::vector<FieldNote>;

}  // namespace obs
