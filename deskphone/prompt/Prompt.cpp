#include "prompt/Prompt.h"

#include <editline/readline.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include "scenario/Words.h"

namespace deskphone {

namespace {

constexpr int LONGEST_HISTORY = 1000;
constexpr int CTRL_C = 3;

// The library calls plain functions.
const Completer* completer = nullptr;
Words candidates;
bool dropped = false;
const Wait* waiting = nullptr;

/// Called before each key.
int waitForKey()
{
    (*waiting)(STDIN_FILENO);
    return 0;
}

int dropLine(int /*count*/, int /*key*/)
{
    std::fputs("^C\n", rl_outstream);
    std::fflush(rl_outstream);
    dropped = true;
    rl_done = 1;
    return 0;
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
        const Words words = splitLine(std::string(rl_line_buffer, static_cast<std::size_t>(start)));
        candidates = completer->completions(words, beginning);
    } catch (const Mistake&) {
        return nullptr;
    }
    // A folder's name goes on.
    const auto isFolder = [&](const std::string& word) {
        return word.back() == '/' && word.compare(0, std::strlen(beginning), beginning) == 0;
    };
    rl_completion_append_character = std::any_of(candidates.begin(), candidates.end(), isFolder) ? 0 : ' ';
    return rl_completion_matches(beginning, nextCandidate);
}

/// While it lives, Ctrl-C and Ctrl-D are keys like others, and the terminal shows none of what is typed. The library
/// sees to that only after it has shown the prompt, and never for Ctrl-C.
class OnlyKeys {
public:
    OnlyKeys() : m_isTerminal(::tcgetattr(STDIN_FILENO, &m_before) == 0)
    {
        termios terminal = m_before;
        terminal.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        terminal.c_cc[VINTR] = terminal.c_cc[VEOF] = _POSIX_VDISABLE;
        set(terminal);
    }
    ~OnlyKeys() { set(m_before); }
    OnlyKeys(const OnlyKeys&) = delete;
    OnlyKeys& operator=(const OnlyKeys&) = delete;

private:
    void set(const termios& terminal) const
    {
        if (m_isTerminal) {
            ::tcsetattr(STDIN_FILENO, TCSANOW, &terminal);
        }
    }

    termios m_before{};
    const bool m_isTerminal;
};

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

Prompt::Prompt(const Completer& knowing, const Wait& wait)
    : m_screen(::isatty(STDOUT_FILENO) != 0 ? stdout : stderr), m_history(historyFile())
{
    completer = &knowing;
    waiting = &wait;
    rl_event_hook = wait ? waitForKey : nullptr;
    static char blanks[] = " \t";
    std::setlocale(LC_CTYPE, "");  // for editing characters of several bytes
    rl_outstream = m_screen;
    rl_completer_word_break_characters = blanks;
    rl_attempted_completion_function = complete;
    rl_initialize();
    rl_add_defun("drop-line", dropLine, CTRL_C);
    using_history();
    stifle_history(LONGEST_HISTORY);
    read_history(m_history.c_str());  // there is none the first time
}

bool Prompt::next(std::string& line)
{
    const OnlyKeys onlyKeys;
    const auto read = [] {
        dropped = false;
        return std::unique_ptr<char, decltype(&std::free)>(::readline("deskphone> "), std::free);
    };
    auto input = read();
    while (dropped) {
        input = read();
    }
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
