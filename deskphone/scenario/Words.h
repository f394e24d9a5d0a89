#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "telephone/Step.h"

namespace deskphone {

/// What is wrong with a line of a scenario, naming the word at fault.
class Mistake : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The words of a line, decoded; none in a blank line or a comment. `comment` gets the comment with its #, "" where
/// there is none. Throws Mistake.
Words splitLine(const std::string& line, std::string* comment = nullptr);

/// A number of the scenario language: decimal, of 32 bits. False, with `number` left as it is, when `word` is none.
bool readNumber(const std::string& word, int& number);

/// A text in double quotes, and a word as it stands in a line: quoted where it must be. Control characters that the
/// language has no escape for are made visible.
std::string quoted(const std::string& text);
std::string asWord(const std::string& word);
/// A word for a line that is read again: quoted where it must be, every byte as it is.
std::string asWritten(const std::string& word);
/// Words as they stand in a line, each with a blank before it.
std::string asWords(const Words& words);
/// A control character as \xNN, any other as it is.
std::string visible(char c);

/// A text for drawing: its characters, each of one column, UTF-8 each. They lie in the text, which must outlive them.
using Characters = std::vector<std::string_view>;

/// The characters of a text that may hold any bytes: control characters are made visible, bytes that are no UTF-8
/// replaced.
Characters charactersOf(std::string_view text);
Characters charactersOf(std::string&& text) = delete;
/// Adds a character to a text. Most are of one byte, which is quicker added as such.
inline void addCharacter(std::string& text, std::string_view character)
{
    character.size() == 1 ? text.push_back(character.front()) : static_cast<void>(text.append(character));
}
/// At most `length` characters, with … for what was cut.
std::string shortened(std::string_view text, std::size_t length);
/// The text in lines of at most `width` characters, broken behind a blank or a comma where there is one.
std::vector<Characters> linesOf(std::string_view text, std::size_t width);
std::vector<Characters> linesOf(std::string&& text, std::size_t width) = delete;

}  // namespace deskphone
