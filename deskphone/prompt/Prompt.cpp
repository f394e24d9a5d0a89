#include "prompt/Prompt.h"

#include <editline/readline.h>
#include <unistd.h>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "scenario/Words.h"

namespace deskphone {

namespace {

constexpr int LONGEST_HISTORY = 1000;

// The library asks for candidates through plain functions.
Prompt::Completion wordsAfter;
Words candidates;

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

/// In the user's cache folder, which is made if it is missing; empty when that is not to be had.
std::string historyFile()
{
    namespace fs = std::filesystem;
    const char* const cache = std::getenv("XDG_CACHE_HOME");
    const char* const home = std::getenv("HOME");
    fs::path folder = cache != nullptr && fs::path(cache).is_absolute() ? fs::path(cache)
                      : home != nullptr && *home != '\0'                ? fs::path(home) / ".cache"
                                                                        : fs::path();
    if (folder.empty()) {
        return "";
    }
    folder /= "deskphone";
    std::error_code error;
    fs::create_directories(folder, error);
    return error ? "" : (folder / "history").string();
}

}  // namespace

Prompt::Prompt(Completion completion)
    : m_screen(::isatty(STDOUT_FILENO) != 0 ? stdout : stderr), m_history(historyFile())
{
    wordsAfter = std::move(completion);
    static char blanks[] = " \t";
    std::setlocale(LC_CTYPE, "");  // for editing characters of several bytes
    rl_outstream = m_screen;
    rl_completer_word_break_characters = blanks;
    rl_attempted_completion_function = complete;
    using_history();
    stifle_history(LONGEST_HISTORY);
    read_history(m_history.c_str());  // there is none the first time
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
        // At once, because the program may be broken off. A prompt without history is one, too.
        write_history(m_history.c_str());
    }
    return true;
}

void Prompt::show(const std::string& text)
{
    std::fputs(text.c_str(), m_screen);
    std::fflush(m_screen);
}

}  // namespace deskphone
