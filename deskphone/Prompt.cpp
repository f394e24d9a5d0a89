#include "Prompt.h"

#include <editline/readline.h>
#include <unistd.h>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Commands.h"
#include "Scenario.h"

namespace {

// The library asks for candidates through plain functions.
Words candidates;

Words wordsAfter(Words words)
{
    const bool forHelp = !words.empty() && words.front() == Prompt::HELP;
    if (forHelp) {
        words.erase(words.begin());
        return words.empty() ? nextWords(words) : Words();
    }
    Words next = nextWords(words);
    if (words.empty()) {
        next.emplace_back(Prompt::HELP);
    }
    return next;
}

char* nextCandidate(const char* beginning, int /*state*/)
{
    while (!candidates.empty()) {
        const std::string candidate = candidates.back();
        candidates.pop_back();
        if (candidate.compare(0, std::strlen(beginning), beginning) == 0) {
            return ::strdup(candidate.c_str());
        }
    }
    return nullptr;
}

char** complete(const char* beginning, int start, int /*end*/)
{
    rl_attempted_completion_over = 1;  // no file names
    try {
        candidates = wordsAfter(splitLine(std::string(rl_line_buffer, static_cast<std::size_t>(start))));
    } catch (const Mistake&) {
        return nullptr;
    }
    return rl_completion_matches(beginning, nextCandidate);
}

}  // namespace

Prompt::Prompt() : m_screen(::isatty(STDOUT_FILENO) != 0 ? stdout : stderr)
{
    static char blanks[] = " \t";
    std::setlocale(LC_CTYPE, "");  // for editing characters of several bytes
    rl_outstream = m_screen;
    rl_completer_word_break_characters = blanks;
    rl_attempted_completion_function = complete;
    using_history();
}

bool Prompt::next(std::string& line)
{
    const std::unique_ptr<char, decltype(&std::free)> input(::readline("deskphone> "), std::free);
    if (input == nullptr) {
        show("\n");
        return false;
    }
    line = input.get();
    if (!line.empty()) {
        add_history(input.get());
    }
    return true;
}

void Prompt::show(const std::string& text)
{
    std::fputs(text.c_str(), m_screen);
    std::fflush(m_screen);
}
