#include "scenario/Words.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <system_error>

namespace deskphone {

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

bool isControl(char c)
{
    return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

/// Whether it is a character by itself that is drawn as it is, as most are.
bool isPlain(char c)
{
    return c >= ' ' && c <= '~';
}

/// What a control character is made visible with, \xNN, and where the signs for it stand there.
constexpr std::string_view SIGNS = "0123456789abcdef\\x";

std::array<std::size_t, 4> visibleSigns(char control)
{
    const std::size_t number = static_cast<unsigned char>(control);
    return {16, 17, number / 16, number % 16};
}

// Both return the decoded word and leave `at` behind it.

std::string quotedWord(const std::string& line, std::size_t& at)
{
    static constexpr std::string_view escapes = "\"\\nt";
    static constexpr std::string_view meanings = "\"\\\n\t";
    std::string word;
    for (++at; at < line.size() && line[at] != '"'; ++at) {
        if (line[at] != '\\' || at + 1 == line.size()) {
            word += line[at];
            continue;
        }
        const std::size_t escape = escapes.find(line[++at]);
        if (escape == std::string_view::npos) {
            throw Mistake("unknown escape \\" + visible(line[at]) + R"(; expected \", \\, \n or \t)");
        }
        word += meanings[escape];
    }
    if (at == line.size()) {
        throw Mistake("no closing quote after " + quoted(word));
    }
    ++at;
    if (at < line.size() && !isBlank(line[at])) {
        throw Mistake("expected a blank after the closing quote of " + quoted(word) + ", not " + quoted({line[at]}));
    }
    return word;
}

std::string plainWord(const std::string& line, std::size_t& at)
{
    const std::size_t start = at;
    at = std::min(line.find_first_of(" \t", start), line.size());
    std::string word = line.substr(start, at - start);
    if (word.find('"') != std::string::npos) {
        throw Mistake("quote inside the unquoted word " + quoted(word));
    }
    return word;
}

/// The text in quotes, with other characters than those of the escapes as `shown` gives them.
template <typename Shown>
std::string inQuotes(const std::string& text, Shown shown)
{
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result.append({'\\', c});
        } else if (c == '\n' || c == '\t') {
            result += c == '\n' ? "\\n" : "\\t";
        } else {
            result += shown(c);
        }
    }
    return result + '"';
}

bool needsNoQuotes(const std::string& word)
{
    return !word.empty() && word.front() != '#' &&
           std::none_of(word.begin(), word.end(), [](char c) { return c == ' ' || c == '"' || isControl(c); });
}

// The length of the UTF-8 character at the beginning of the bytes; 0 when there is none.
std::size_t lengthOfCharacter(std::string_view bytes, std::size_t at)
{
    const auto byte = [&](std::size_t index) {
        return at + index < bytes.size() ? static_cast<unsigned char>(bytes[at + index]) : 0U;
    };
    const unsigned first = byte(0);
    const std::size_t length = first < 0x80                     ? 1
                               : first >= 0xc2 && first <= 0xdf ? 2
                               : first >= 0xe0 && first <= 0xef ? 3
                               : first >= 0xf0 && first <= 0xf4 ? 4
                                                                : 0;
    for (std::size_t index = 1; index < length; ++index) {
        if ((byte(index) & 0xc0U) != 0x80) {
            return 0;
        }
    }
    const bool overlong = (first == 0xe0 && byte(1) < 0xa0) || (first == 0xf0 && byte(1) < 0x90);
    const bool outside = (first == 0xed && byte(1) > 0x9f) || (first == 0xf4 && byte(1) > 0x8f);
    return overlong || outside ? 0 : length;
}

}  // namespace

Words splitLine(const std::string& line, std::string* comment)
{
    Words words;
    std::size_t at = 0;
    while (at < line.size() && line[at] != '#') {
        if (isBlank(line[at])) {
            ++at;
        } else {
            words.push_back(line[at] == '"' ? quotedWord(line, at) : plainWord(line, at));
        }
    }
    if (comment != nullptr) {
        *comment = line.substr(at);
    }
    return words;
}

bool readNumber(const std::string& word, int& number)
{
    const char* const end = word.data() + word.size();
    const auto [rest, error] = std::from_chars(word.data(), end, number);
    return error == std::errc{} && rest == end;
}

std::string visible(char c)
{
    if (!isControl(c)) {
        return {c};
    }
    std::string signs;
    for (const std::size_t index : visibleSigns(c)) {
        signs += SIGNS[index];
    }
    return signs;
}

std::string quoted(const std::string& text)
{
    return inQuotes(text, visible);
}

std::string asWord(const std::string& word)
{
    return needsNoQuotes(word) ? word : quoted(word);
}

std::string asWritten(const std::string& word)
{
    return needsNoQuotes(word) ? word : inQuotes(word, [](char c) { return std::string{c}; });
}

std::string asWords(const Words& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += ' ' + asWord(word);
    }
    return text;
}

Characters charactersOf(std::string_view text)
{
    static constexpr std::string_view replacement = "\uFFFD";
    Characters characters;
    characters.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = isPlain(text[at]) ? 1 : lengthOfCharacter(text, at);
        if (isControl(text[at])) {
            for (const std::size_t index : visibleSigns(text[at])) {
                characters.push_back(SIGNS.substr(index, 1));
            }
        } else {
            characters.push_back(length == 0 ? replacement : text.substr(at, length));
        }
        at += std::max<std::size_t>(length, 1);
    }
    return characters;
}

std::string shortened(std::string_view text, std::size_t length)
{
    if (text.size() <= length && std::all_of(text.begin(), text.end(), isPlain)) {
        return std::string(text);
    }
    const Characters characters = charactersOf(text);
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < std::min(length, characters.size()); ++at) {
        addCharacter(result, at + 1 == length && characters.size() > length ? "…" : characters[at]);
    }
    return result;
}

std::vector<Characters> linesOf(std::string_view text, std::size_t width)
{
    const Characters characters = charactersOf(text);
    std::vector<Characters> lines;
    auto begin = characters.begin();
    while (characters.end() - begin > static_cast<std::ptrdiff_t>(width)) {
        const auto full = begin + static_cast<std::ptrdiff_t>(width);
        const auto start = std::make_reverse_iterator(begin);
        const auto place = std::find_if(std::make_reverse_iterator(full), start, [](std::string_view character) {
            return character == " " || character == ",";
        });
        const auto end = place == start ? full : place.base();
        lines.emplace_back(begin, end);
        begin = end;
    }
    lines.emplace_back(begin, characters.end());
    return lines;
}

}  // namespace deskphone
