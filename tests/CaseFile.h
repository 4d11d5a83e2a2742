// SPDX-License-Identifier: Apache-2.0
/// Case files: one case a line, written by whoever knows the format.
///
///   base NAME TEXT [TEXT]     a card, or two, to start from ("~" stands for a blank)
///   case NAME EDITS -> WHAT   edits: COLUMN=TEXT each, laid over the base, or "-" for none;
///                             2:COLUMN=TEXT for the second card; " | " parts cases that give the same;
///                             what: FIELD=VALUE each, or "refused MESSAGE"
#pragma once

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace obs::test {

struct Case {
    std::string where;  ///< file and line
    std::string card;
    std::vector<std::pair<std::string, std::string>> fields;
    std::string refusal;  ///< the message's beginning, empty when the card is to be read
    std::string card2;
};

/// The parts of a text between separators.
inline std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
    return parts;
}

inline std::string withBlanks(std::string text) {
    std::replace(text.begin(), text.end(), '~', ' ');
    return text;
}

/// The pairs of a text "VALUE=TEXT VALUE=TEXT ...", such as what a writer makes of numbers.
inline std::vector<std::pair<double, std::string>> valuesIn(const std::string& text) {
    std::vector<std::pair<double, std::string>> pairs;
    std::istringstream words(text);
    for (std::string word; words >> word;)
        pairs.emplace_back(std::strtod(word.c_str(), nullptr), withBlanks(word.substr(word.find('=') + 1)));
    return pairs;
}

inline void edit(std::string& card, const std::string& word) {
    const std::size_t equals = word.find('=');
    const std::size_t column = std::stoul(word.substr(0, equals));
    const std::string text = withBlanks(word.substr(equals + 1));
    if (card.size() < column - 1 + text.size()) card.resize(column - 1 + text.size(), ' ');
    card.replace(column - 1, text.size(), text);
}

inline std::vector<Case> readCases(const std::string& fileName) {
    std::ifstream file(fileName);
    if (!file) throw std::runtime_error("cannot open " + fileName);
    std::map<std::string, std::pair<std::string, std::string>> bases;
    std::vector<Case> cases;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        std::istringstream words(line);
        std::string kind, name, word;
        if (!(words >> kind) || kind[0] == '#') continue;
        words >> name;
        if (kind == "base") {
            std::string card2;
            words >> word >> card2;
            bases[name] = {withBlanks(word), withBlanks(card2)};
            continue;
        }
        const auto& [card, card2] = bases.at(name);
        const std::string where = fileName + ":" + std::to_string(number);
        const Case unedited{where, card, {}, {}, card2};
        std::vector<Case> alike{unedited};
        while (words >> word && word != "->") {
            if (word == "|") alike.push_back(unedited);
            else if (word.rfind("2:", 0) == 0) edit(alike.back().card2, word.substr(2));
            else if (word != "-") edit(alike.back().card, word);
        }
        Case what;
        if (const std::size_t refused = line.find("-> refused "); refused != std::string::npos) {
            what.refusal = line.substr(refused + 11);
        } else {
            while (words >> word)
                what.fields.emplace_back(word.substr(0, word.find('=')), withBlanks(word.substr(word.find('=') + 1)));
        }
        if (what.fields.empty() && what.refusal.empty()) throw std::runtime_error(where + ": expects nothing");
        for (const Case& one : alike) cases.push_back({where, one.card, what.fields, what.refusal, one.card2});
    }
    if (cases.empty()) throw std::runtime_error(fileName + ": no case");
    return cases;
}

}  // namespace obs::test
