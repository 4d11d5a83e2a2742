// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/SelectionText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "Obs/ObsCardReading/Loading/SelectionValues.h"
#include "Obs/ObsStates/Angles.h"
#include "Obs/ObsTree/Selection.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// --- What can be wrong --------------------------------------------------------------

enum class Fault : std::size_t {
    halfQuoted,
    noQuote,
    notCriterion,
    nothingFollows,
    notClosed,
    notOpen,
    notName,
    noComparison,
    noValue,
    badValue,
    noNames,
    unknownName,
    noOrigins,
    notOrdered,
    oneValue,
    openRange,
    emptyRange,
    oneUnit,
    beyondTurn,
    doubtfulDate,
    givenTwice,
    tooMany
};

/// After the text at fault and its column. Where one ends in a blank, what is allowed follows.
constexpr std::array<std::string_view, 22> kReasons{
    "begins quotes that do not enclose all of the criteria.",
    "has no closing quotation mark.",
    "cannot be here: a criterion such as el>10, not or ( is due.",
    "is not followed by a criterion such as el>10.",
    "has no closing parenthesis.",
    "closes no parenthesis.",
    "is not one of the names ",
    "is not followed by one of =, !=, <, <=, >, >=.",
    "is not followed by ",
    "is not ",
    "is a name in quotes, which sat, sen and file alone take; this is not ",
    "",  // the criterion has its own
    "asks for the origin of observations, which is not kept: see ObsKeepOrigins.",
    "does not go with this name: = and != do.",
    "is not a single value, which <, <=, > and >= take.",
    "is a range without ends.",
    "has its low end above its high end.",
    "has a unit at one end alone.",
    "is not within 0 to 360, where azimuths are compared.",
    "is two dates: write ",
    "was given before: a list such as sat=5,6 takes either value.",
    "is one criterion more than the 128 that fit.",
};
static_assert(kReasons.size() == static_cast<std::size_t>(Fault::tooMany) + 1);

std::string allNames() {
    std::string names;
    for (const CriterionName& what : criterionNames()) (names += names.empty() ? "" : ", ") += what.name;
    return names;
}

// --- Words --------------------------------------------------------------------------

struct Token {
    enum Kind { end, word, quoted, comparison, comma, open, close, other };
    Kind kind = end;
    std::size_t from = 0, to = 0;  ///< of the text; with its quotes
};

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kNoWord = " \t\r\n,()<>=!\"'";

Token tokenAt(std::string_view text, std::size_t at) {
    const std::size_t from = std::min(text.find_first_not_of(kBlanks, at), text.size());
    const auto token = [&](Token::Kind kind, std::size_t length) { return Token{kind, from, from + length}; };
    if (from == text.size()) return token(Token::end, 0);
    const char first = text[from];
    const bool equals = from + 1 < text.size() && text[from + 1] == '=';
    switch (first) {
        case ',': return token(Token::comma, 1);
        case '(': return token(Token::open, 1);
        case ')': return token(Token::close, 1);
        case '=': return token(Token::comparison, 1);
        case '<':
        case '>': return token(Token::comparison, equals ? 2 : 1);
        case '!': return equals ? token(Token::comparison, 2) : token(Token::other, 1);
        case '"':
        case '\'': {
            const std::size_t closing = text.find(first, from + 1);
            if (closing == std::string_view::npos) return token(Token::other, text.size() - from);
            return token(Token::quoted, closing + 1 - from);
        }
        default: return token(Token::word, std::min(text.find_first_of(kNoWord, from), text.size()) - from);
    }
}

bool same(std::string_view text, std::string_view lower) {
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                      [](char a, char b) { return lowerCase(a) == b; });
}

// --- Expressions --------------------------------------------------------------------

constexpr std::size_t kNoNode = static_cast<std::size_t>(-1);

struct Node {
    enum Kind { test, all, any, inverse };
    Kind kind;
    std::size_t one = kNoNode, other = kNoNode;  ///< children
    Intervals intervals{Criterion::time};        ///< of a test
    bool outside = false;
};

class Parser {
public:
    Parser(std::string_view text, DoubtfulDates dates, SelectionText& parsed, const std::vector<std::string>* files)
        : text_(text), dates_(dates), files_(files), parsed_(parsed) {}

    /// Reads what is between two places of the text.
    bool run(std::size_t from, std::size_t to) {
        text_ = text_.substr(0, to);
        token_ = tokenAt(text_, from);
        if (token_.kind == Token::end) return true;
        if (!parseTerms()) return false;
        return token_.kind == Token::end || refuse(token_.kind == Token::close ? Fault::notOpen : Fault::notCriterion);
    }

    const SelectionFault& fault() const { return fault_; }

    bool refuse(Fault fault, std::size_t from, std::size_t to, std::string_view allowed = {}) {
        fault_.columns = {static_cast<unsigned>(from + 1), static_cast<unsigned>(to)};
        fault_.reason = kReasons[static_cast<std::size_t>(fault)];
        fault_.reason += allowed;
        if (!fault_.reason.ends_with('.')) fault_.reason += '.';
        return false;
    }

private:
    bool refuse(Fault fault, std::string_view allowed = {}) { return refuse(fault, token_.from, token_.to, allowed); }
    bool refuseLast(Fault fault, std::string_view allowed = {}) { return refuse(fault, last_.from, last_.to, allowed); }

    std::string_view textOf(const Token& token) const { return text_.substr(token.from, token.to - token.from); }
    bool isWord(std::string_view lower) const { return token_.kind == Token::word && same(textOf(token_), lower); }
    void next() {
        last_ = token_;
        token_ = tokenAt(text_, token_.to);
    }
    std::size_t add(Node&& node) {
        nodes_.push_back(std::move(node));
        return nodes_.size() - 1;
    }

    /// All of the text: the members of one list are terms, and so is an alternative of lists.
    bool parseTerms() {
        const std::size_t from = token_.from;
        std::vector<std::size_t> members;
        if (!parseList(members, &parsed_.terms)) return false;
        if (isWord("or")) {
            std::size_t whole = joined(members);
            if (!parseAlternatives(whole)) return false;
            members = {whole};
            parsed_.terms = {{static_cast<unsigned>(from + 1), static_cast<unsigned>(last_.to)}};
        }
        ObsSelection& made = parsed_.selection;
        made.termCount = static_cast<std::uint8_t>(members.size());
        std::uint8_t next = ObsSelection::kSelected;
        for (std::size_t term = members.size(); term-- > 0;)
            next = emit(members[term], static_cast<std::uint8_t>(term), next, ObsSelection::kNotSelected);
        return true;
    }

    std::size_t joined(const std::vector<std::size_t>& members) {
        std::size_t all = members.front();
        for (std::size_t i = 1; i < members.size(); ++i) all = add({Node::all, all, members[i]});
        return all;
    }

    /// The lists after an "or", if any.
    bool parseAlternatives(std::size_t& node) {
        while (isWord("or")) {
            next();
            std::vector<std::size_t> members;
            if (!parseList(members)) return false;
            node = add({Node::any, node, joined(members)});
        }
        return true;
    }

    bool parseAny(std::size_t& node) {
        std::vector<std::size_t> members;
        if (!parseList(members)) return false;
        node = joined(members);
        return parseAlternatives(node);
    }

    bool parseList(std::vector<std::size_t>& members, std::vector<Columns>* columns = nullptr) {
        std::uint32_t given = 0;  // names with "=", a bit for each
        do {
            const std::size_t from = token_.from;
            std::size_t node = kNoNode;
            if (!parseOne(node, given)) return false;
            members.push_back(node);
            if (columns != nullptr)
                columns->push_back({static_cast<unsigned>(from + 1), static_cast<unsigned>(last_.to)});
            if (isWord("and")) next();
            else if (token_.kind == Token::end || token_.kind == Token::close || isWord("or")) return true;
        } while (true);
    }

    bool parseOne(std::size_t& node, std::uint32_t& given) {
        if (isWord("not")) {
            next();
            std::uint32_t apart = 0;
            if (!parseOne(node, apart)) return false;
            node = add({Node::inverse, node});
            return true;
        }
        if (token_.kind == Token::open) {
            const Token open = token_;
            next();
            if (!parseAny(node)) return false;
            if (token_.kind != Token::close) return refuse(Fault::notClosed, open.from, open.to);
            next();
            return true;
        }
        if (token_.kind == Token::end) return refuseLast(Fault::nothingFollows);
        if (token_.kind != Token::word || isWord("and") || isWord("or")) return refuseStrange(Fault::notCriterion);
        return parseCriterion(node, given);
    }

    /// A quotation mark without its partner is a fault wherever it is.
    bool refuseStrange(Fault fault, std::string_view allowed = {}) {
        const bool isQuote = token_.kind == Token::other && text_[token_.from] != '!';
        return isQuote ? refuse(Fault::noQuote) : refuse(fault, allowed);
    }

    bool parseCriterion(std::size_t& node, std::uint32_t& given) {
        const std::span<const CriterionName> names = criterionNames();
        const auto what = std::find_if(names.begin(), names.end(),
                                       [&](const CriterionName& one) { return same(textOf(token_), one.name); });
        if (what == names.end()) return refuse(Fault::notName, allNames());
        const Token name = token_;
        if (what->isOfOrigin && files_ == nullptr && !gStore.origins.isKept()) return refuse(Fault::noOrigins);
        next();
        if (token_.kind != Token::comparison) return refuse(Fault::noComparison, name.from, name.to);
        const std::string_view comparison = textOf(token_);
        if (comparison == "=") {
            const std::uint32_t bit = 1u << (what - names.begin());
            if ((given & bit) != 0) return refuse(Fault::givenTwice, name.from, name.to);
            given |= bit;
        }
        Node made{Node::test, kNoNode, kNoNode, Intervals(what->criterion), comparison == "!="};
        const bool good = comparison == "=" || made.outside ? parseValues(*what, made.intervals)
                                                            : parseBound(*what, comparison, made.intervals);
        if (!good) return false;
        if (++tests_ > ObsSelection::kMaxTests) return refuse(Fault::tooMany, name.from, last_.to);
        node = add(std::move(made));
        return true;
    }

    // --- Values ---

    bool parseValues(const CriterionName& what, Intervals& intervals) {
        do {
            next();
            if (!parseValue(what, intervals)) return false;
            next();
        } while (token_.kind == Token::comma);
        return true;
    }

    bool parseValue(const CriterionName& what, Intervals& intervals) {
        if (token_.kind == Token::end) return refuseLast(Fault::noValue, what.allowed);
        ValueSpan value;
        const auto take = [&] {
            allow(what, value, intervals);
            return true;
        };
        if (token_.kind == Token::quoted && what.criterion == Criterion::file) return allowFiles(what, intervals);
        if (token_.kind == Token::quoted) return readName(what, value) && take();
        if (token_.kind != Token::word) return refuseStrange(Fault::badValue, what.allowed);
        const std::string_view text = textOf(token_);
        std::string_view low, high;
        const bool isFile = what.criterion == Criterion::file;  // whose name may hold a colon
        if (isFile || !splitRange(what, text, low, high)) return read(what, text, value) && take();
        if (what.criterion == Criterion::classification) return refuse(Fault::badValue, what.allowed);
        if (low.empty() && high.empty()) return refuse(Fault::openRange);
        ValueSpan end;
        if (!low.empty() && !read(what, low, value)) return false;
        if (!high.empty() && !read(what, high, end)) return false;
        const bool closed = !low.empty() && !high.empty();
        if (closed && value.hasUnit != end.hasUnit) return refuse(Fault::oneUnit);
        value.first = low.empty() ? -kInfinity : value.first;
        value.last = high.empty() ? kInfinity : end.last;
        if (value.first > value.last && what.criterion != Criterion::azimuth) return refuse(Fault::emptyRange);
        return take();
    }

    /// What is less or greater than a value.
    bool parseBound(const CriterionName& what, std::string_view comparison, Intervals& intervals) {
        if (what.criterion == Criterion::classification || what.criterion == Criterion::file)
            return refuse(Fault::notOrdered);
        next();
        if (token_.kind == Token::end) return refuseLast(Fault::noValue, what.allowed);
        ValueSpan value;
        std::string_view low, high;
        if (token_.kind != Token::word) return refuseStrange(Fault::badValue, what.allowed);
        if (splitRange(what, textOf(token_), low, high)) return refuse(Fault::oneValue);
        if (!read(what, textOf(token_), value)) return false;
        if (what.criterion == Criterion::azimuth && !(value.first >= 0 && value.first <= kTurnDeg))
            return refuse(Fault::beyondTurn);
        if (comparison == "<") value = {-kInfinity, std::nextafter(value.first, -kInfinity)};
        else if (comparison == "<=") value.first = -kInfinity;
        else if (comparison == ">") value = {std::nextafter(value.last, kInfinity), kInfinity};
        else value.last = kInfinity;
        if (what.criterion == Criterion::azimuth) intervals.allowAsIs(value.first, value.last);
        else allow(what, value, intervals);
        next();
        return token_.kind != Token::comma || refuse(Fault::oneValue);
    }

    bool read(const CriterionName& what, std::string_view text, ValueSpan& value) {
        const auto from = static_cast<std::size_t>(text.data() - text_.data());
        if (!what.read(text, value)) return refuse(Fault::badValue, from, from + text.size(), what.allowed);
        const std::string readings = what.criterion == Criterion::time ? doubtfulDate(text) : std::string();
        if (readings.empty()) return true;
        if (dates_ == DoubtfulDates::refused) return refuse(Fault::doubtfulDate, from, from + text.size(), readings);
        parsed_.notes.push_back('"' + std::string(text) + "\" is taken as the first of the dates " + readings + '.');
        return true;
    }

    bool readName(const CriterionName& what, ValueSpan& value) {
        if (what.named == nullptr) return refuse(Fault::noNames, what.allowed);
        const std::int64_t number = what.named(text_.substr(token_.from + 1, token_.to - token_.from - 2));
        value.first = value.last = static_cast<double>(number);
        return number >= 0 || refuse(Fault::unknownName, what.unknown);
    }

    bool allowFiles(const CriterionName& what, Intervals& intervals) {
        const std::string_view name = text_.substr(token_.from + 1, token_.to - token_.from - 2);
        const std::vector<std::int32_t> found = files_ != nullptr ? filesNamed(name, *files_) : filesNamed(name);
        for (const std::int32_t file : found) intervals.allow(file, file);
        return files_ != nullptr || !found.empty() || refuse(Fault::unknownName, what.unknown);
    }

    static void allow(const CriterionName& what, const ValueSpan& value, Intervals& intervals) {
        if (what.criterion != Criterion::type) return intervals.allow(value.first, value.last);
        for (std::int32_t type = 0; type <= 19; ++type)
            if (type >= value.first && type <= value.last) intervals.allowType(type);
    }

    // --- Tests ---

    /// Adds a node's tests, which go on to `ifMet` or `ifNotMet`; the first of them.
    std::uint8_t emit(std::size_t node, std::uint8_t term, std::uint8_t ifMet, std::uint8_t ifNotMet) {
        const auto& [kind, one, other, intervals, outside] = nodes_[node];
        switch (kind) {
            case Node::all: return emit(one, term, emit(other, term, ifMet, ifNotMet), ifNotMet);
            case Node::any: return emit(one, term, ifMet, emit(other, term, ifMet, ifNotMet));
            case Node::inverse: return emit(one, term, ifNotMet, ifMet);
            case Node::test: break;
        }
        return addTest(parsed_.selection, std::move(nodes_[node].intervals),
                       {.outside = outside, .term = term, .ifMet = ifMet, .ifNotMet = ifNotMet});
    }

    std::string_view text_;
    DoubtfulDates dates_;
    const std::vector<std::string>* files_;  ///< null: those of stored observations
    SelectionText& parsed_;
    SelectionFault fault_;
    Token token_, last_;
    std::vector<Node> nodes_;
    std::size_t tests_ = 0;
};

}  // namespace

std::optional<SelectionFault> parseSelection(std::string_view text, DoubtfulDates dates, SelectionText& parsed,
                                             const std::vector<std::string>* files) {
    parsed = {};
    std::size_t from = std::min(text.find_first_not_of(kBlanks), text.size());
    std::size_t to = text.find_last_not_of(kBlanks) + 1;
    Parser parser(text, dates, parsed, files);
    // No criterion begins with quotes, so these enclose all.
    if (from < to && text[from] == '"') {
        if (to - from < 2 || text[to - 1] != '"') {
            parser.refuse(Fault::halfQuoted, from, from + 1);
            return parser.fault();
        }
        ++from;
        --to;
    }
    if (parser.run(from, to)) return std::nullopt;
    return parser.fault();
}

std::string selectionMessage(std::string_view operation, std::string_view text, const SelectionFault& fault,
                             unsigned firstColumn) {
    const auto [first, last] = fault.columns;
    const std::string_view atFault = text.substr(first - 1, last + 1 - first);
    const std::string_view quote = atFault.front() == '"' ? "" : "\"";
    return std::string(operation).append(": ").append(quote).append(atFault).append(quote) + " (column " +
           std::to_string(first + firstColumn - 1) + ") " + fault.reason;
}

bool setSelectionFromText(std::string_view operation, std::string_view text, DoubtfulDates dates,
                          unsigned firstColumn) {
    SelectionText parsed;
    if (const auto fault = parseSelection(text, dates, parsed)) {
        family::tracelogerror(selectionMessage(operation, text, *fault, firstColumn));
        return false;
    }
    for (const std::string& note : parsed.notes) family::traceloginfo(std::string(operation) + ": " + note);
    setSelection(std::move(parsed.selection));
    return true;
}

}  // namespace obs
