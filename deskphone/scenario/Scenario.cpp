#include "scenario/Scenario.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>
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

}  // namespace

Words splitLine(const std::string& line)
{
    Words words;
    for (std::size_t at = 0; at < line.size();) {
        if (isBlank(line[at])) {
            ++at;
        } else if (line[at] == '#') {
            break;
        } else {
            words.push_back(line[at] == '"' ? quotedWord(line, at) : plainWord(line, at));
        }
    }
    return words;
}

std::string visible(char c)
{
    static constexpr char digits[] = "0123456789abcdef";
    return isControl(c) ? std::string{'\\', 'x', digits[c >> 4], digits[c & 15]} : std::string{c};
}

std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result.append({'\\', c});
        } else if (c == '\n' || c == '\t') {
            result += c == '\n' ? "\\n" : "\\t";
        } else {
            result += visible(c);
        }
    }
    return result + '"';
}

std::string asWord(const std::string& word)
{
    const bool plain = !word.empty() && word.front() != '#' && std::none_of(word.begin(), word.end(), [](char c) {
        return c == ' ' || c == '"' || isControl(c);
    });
    return plain ? word : quoted(word);
}

ScenarioFile::ScenarioFile(const std::string& name)
    : m_name(name), m_file(name == "-" ? stdin : std::fopen(name.c_str(), "re"))
{
    if (m_file == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
}

bool ScenarioFile::next(std::string& line)
{
    char* buffer = nullptr;
    std::size_t capacity = 0;
    const ssize_t length = ::getline(&buffer, &capacity, m_file.get());
    const int error = errno;
    const std::unique_ptr<char, decltype(&std::free)> owner(buffer, std::free);
    if (length < 0) {
        if (std::feof(m_file.get()) == 0) {
            throw std::system_error(error, std::generic_category(), m_name);
        }
        return false;
    }
    line.assign(buffer, static_cast<std::size_t>(length));
    if (line.back() == '\n') {
        line.pop_back();
    }
    return true;
}

void ScenarioFile::Close::operator()(std::FILE* file) const
{
    if (file != stdin) {
        std::fclose(file);
    }
}

}  // namespace deskphone
