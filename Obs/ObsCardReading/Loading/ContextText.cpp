// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/ContextText.h"

#include <charconv>
#include <utility>
#include <vector>

namespace obs {

namespace {

// Parts are separated by ";" and begin with their letter, items within by ":"; other characters than letters, digits
// and ".+-_" are written as "%" and two hexadecimal digits.
constexpr char kVersion = 'v', kPrediction = 'p', kRecordMet = 'r', kStation = 's', kSatellite = 't',
               kConfiguration = 'c', kStrange = 'x';
constexpr std::string_view kHex = "0123456789ABCDEF";

bool isPlain(char c) {
    const char upper = upperCase(c);
    return isDigit(c) || (upper >= 'A' && upper <= 'Z') || c == '.' || c == '+' || c == '-' || c == '_';
}

std::string encoded(std::string_view item) {
    std::string text;
    for (const char c : item) {
        const auto byte = static_cast<unsigned char>(c);
        if (isPlain(c)) text += c;
        else text.append({'%', kHex[byte >> 4], kHex[byte & 15]});
    }
    return text;
}

/// What is damaged comes out as something else, which `keepText` sees.
std::string decoded(std::string_view text) {
    std::string item;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isCode = text[i] == '%' && i + 2 < text.size();
        if (isCode) item += static_cast<char>(kHex.find(text[i + 1]) * 16 + kHex.find(text[i + 2]));
        else item += text[i];
        i += isCode ? 2 : 0;
    }
    return item;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    while (true) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

std::string shortest(float value) {
    char text[32];
    return {text, std::to_chars(std::begin(text), std::end(text), value).ptr};
}

template <class Number>
bool readNumber(std::string_view text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

bool takePart(std::string_view part, CrdKept& kept, ReadContext& context) {
    constexpr float kMostUm = 1000;
    float wavelengthUm = 0;
    const std::vector<std::string_view> items = split(part.substr(1), ':');
    const std::string first = decoded(items[0]), second = items.size() > 1 ? decoded(items[1]) : "";
    switch (part.front()) {
        case kVersion: return readNumber(first, kept.version) && kept.version == 2;
        case kPrediction: return kept.inPrediction = true;
        case kRecordMet: return kept.recordMet = true;
        case kStation: kept.station = first; return true;
        case kSatellite: kept.satellite = {first, second}; return true;
        case kConfiguration:
            if (!readNumber(second, wavelengthUm) || !(wavelengthUm >= 0 && wavelengthUm <= kMostUm)) return false;
            kept.configurations.push_back({first, wavelengthUm});
            return true;
        case kStrange:
            context.strangeLine = items.size() > 2 ? decoded(items[2]) : "";
            return readNumber(first, context.strangeBefore) && readNumber(second, context.strangeLineNumber);
        default: return false;
    }
}

}  // namespace

std::string keptText(const ReadContext& context) {
    const CrdKept& kept = context.sessions.kept();
    std::string text;
    const auto put = [&](char letter, std::initializer_list<std::string> items = {}) {
        text.append(text.empty() ? "" : ";") += letter;
        for (const std::string* item = items.begin(); item != items.end(); ++item)
            text.append(item == items.begin() ? "" : ":").append(*item);
    };
    if (kept.version != 1) put(kVersion, {std::to_string(kept.version)});
    if (kept.inPrediction) put(kPrediction);
    if (kept.recordMet) put(kRecordMet);
    if (kept.station) put(kStation, {encoded(*kept.station)});
    if (kept.satellite) put(kSatellite, {encoded((*kept.satellite)[0]), encoded((*kept.satellite)[1])});
    for (const auto& [id, wavelengthUm] : kept.configurations)
        put(kConfiguration, {encoded(id), shortest(wavelengthUm)});
    if (context.strangeLineNumber != 0)
        put(kStrange, {std::to_string(context.strangeBefore + context.counts.passedOver),
                       std::to_string(context.strangeLineNumber), encoded(context.strangeLine)});
    return text;
}

bool keepText(std::string_view text, ReadContext& context) {
    if (text.empty()) return true;
    CrdKept kept;
    ReadContext trial;
    for (const std::string_view part : split(text, ';'))
        if (part.empty() || !takePart(part, kept, trial)) return false;
    trial.sessions.keep(std::move(kept), context);
    // What is damaged, repeated or in another order does not come out as it went in.
    if (keptText(trial) != text) return false;
    context.sessions = std::move(trial.sessions);
    context.strangeLine = std::move(trial.strangeLine);
    context.strangeLineNumber = trial.strangeLineNumber;
    context.strangeBefore = trial.strangeBefore;
    return true;
}

}  // namespace obs
