// The prompt as a person has it, on a terminal.

#include <gmock/gmock.h>
#include <pty.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "Program.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string PROMPT = "deskphone> ";

/// The program on a terminal of its own, which shows what was printed since the last time.
class Terminal {
public:
    Terminal(const std::string& kind, const fs::path& folder, const std::string& arguments = "--log 0")
    {
        m_child = ::forkpty(&m_terminal, nullptr, nullptr, nullptr);
        if (m_child == 0) {
            ::setenv("TERM", kind.c_str(), 1);
            ::setenv("LC_ALL", "C.UTF-8", 1);
            ::setenv("NO_COLOR", "1", 1);
            ::setenv("XDG_CACHE_HOME", folder.c_str(), 1);
            ::execl("/bin/sh", "sh", "-c", ("exec " DESKPHONE_COMMAND " " + arguments).c_str(), nullptr);
            ::_exit(127);
        }
    }
    ~Terminal() { ::close(m_terminal); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void type(const std::string& keys) const
    {
        EXPECT_EQ(::write(m_terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    /// What is printed up to this text.
    std::string until(const std::string& text)
    {
        for (char c = 0; m_printed.find(text) == std::string::npos;) {
            if (::read(m_terminal, &c, 1) != 1) {
                ADD_FAILURE() << "the terminal closed before " << text << " after " << m_printed;
                break;
            }
            m_printed += c;
        }
        return std::exchange(m_printed, "");
    }
    /// What is printed for a line up to the next prompt.
    std::string answerTo(const std::string& line)
    {
        type(line + '\n');
        until("\r\n");
        return until(PROMPT);
    }
    /// The exit status; to be asked for when the program is about to end.
    int status() const
    {
        for (char c = 0; ::read(m_terminal, &c, 1) == 1;) {
        }
        int status = 0;
        ::waitpid(m_child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    int m_terminal = -1;
    pid_t m_child = -1;
    std::string m_printed;
};

/// On terminals of each kind.
struct ThePrompt : ::testing::TestWithParam<std::string> {
    ThePrompt() { fs::create_directory(folder); }
    ~ThePrompt() override { fs::remove_all(folder); }

    const fs::path folder = fs::temp_directory_path() / ("deskphone-prompt-" + std::to_string(::getpid()));
    Terminal terminal{GetParam(), folder};
};

INSTANTIATE_TEST_SUITE_P(On, ThePrompt, ::testing::Values("xterm", "dumb"),
                         [](const auto& kind) { return kind.param; });

TEST_P(ThePrompt, GreetsHelpsAndLetsGo)
{
    EXPECT_THAT(terminal.until(PROMPT), AllOf(HasSubstr("help"), HasSubstr("exit"), Not(HasSubstr("\x1b[3"))));
    EXPECT_THAT(terminal.answerTo("help"),
                AllOf(HasSubstr("The service:\r\n  activateRecording LINE "), HasSubstr("\r\n\r\nCall control:\r\n"),
                      HasSubstr("\r\nThe prompt:\r\n  help [COMMAND] ")));
    EXPECT_THAT(terminal.answerTo("help save"), HasSubstr("save FILE"));
    terminal.type("exit\n");
    EXPECT_EQ(terminal.status(), 0);
}

TEST_P(ThePrompt, NamesTheWordOfAMistakeWithoutAPlaceAndGoesOn)
{
    terminal.until(PROMPT);
    EXPECT_EQ(terminal.answerTo("activaterecordng sip:1"),
              "unknown command \"activaterecordng\"; did you mean activateRecording?\r\n" + PROMPT);
    EXPECT_EQ(terminal.answerTo("qiut"), "unknown command \"qiut\"; did you mean quit?\r\n" + PROMPT);
    EXPECT_EQ(terminal.answerTo("log 7"), "log: \"7\" does not fit; expected a number from 0 to 6\r\n" + PROMPT);
    EXPECT_THAT(terminal.answerTo("stop"), HasSubstr("stop: the service does not run"));
    EXPECT_THAT(terminal.answerTo("exit now"), HasSubstr("\"now\" is one word too many"));
    EXPECT_THAT(terminal.answerTo("play"), HasSubstr("FILE is missing"));
    EXPECT_EQ(terminal.answerTo("at-once"), PROMPT);
    EXPECT_THAT(terminal.answerTo("play file"), HasSubstr("expected end before it"));
    EXPECT_EQ(terminal.answerTo("end"), PROMPT);
    EXPECT_THAT(terminal.answerTo("log 0"), HasSubstr("1 log 0\r\n"));
    terminal.type("quit\n");
    EXPECT_EQ(terminal.status(), 0);
}

TEST_P(ThePrompt, DropsTheLineOnCtrlCAndEndsOnCtrlD)
{
    terminal.until(PROMPT);
    terminal.type("log 7");
    terminal.until("log 7");
    terminal.type("\x03");
    terminal.until(PROMPT);
    EXPECT_THAT(terminal.answerTo("log 1"), HasSubstr("1 log 1\r\n"));
    terminal.type("\x04");
    EXPECT_EQ(terminal.status(), 0);
}

TEST_P(ThePrompt, CompletesWhatIsKnown)
{
    if (!LINE_EDITING) {
        GTEST_SKIP() << "no line editing";
    }
    terminal.until(PROMPT);
    terminal.answerTo("setRecordingModeConfig allcalls");
    terminal.answerTo("LMSCreateSession sip:first 7");
    // What is completed is seen from what is then played.
    EXPECT_THAT(terminal.answerTo("activ\t sip:2"), HasSubstr("3 activateRecording sip:2\r\n"));
    EXPECT_THAT(terminal.answerTo("setRecordingModeConfig auto\t"),
                HasSubstr("4 setRecordingModeConfig autostart\r\n"));
    EXPECT_THAT(terminal.answerTo("setData call-recording-mode-config man\t"), HasSubstr("config manual\r\n"));
    EXPECT_THAT(terminal.answerTo("getData call-recorder-address-\t"),
                HasSubstr("6 getData call-recorder-address-config"));
    EXPECT_THAT(terminal.answerTo("setLineStatus sip:f\t16 \t"), HasSubstr("7 setLineStatus sip:first 16 7\r\n"));
    EXPECT_THAT(terminal.answerTo("LMSDestroySession \t"), HasSubstr("8 LMSDestroySession 1\r\n"));
    EXPECT_THAT(terminal.answerTo("help stat\t"), HasSubstr("  status "));
    std::ofstream(folder / "story") << "log 6\n";
    EXPECT_THAT(terminal.answerTo("play " + folder.string() + "/st\t"), HasSubstr("9 log 6\r\n"));
}

TEST_P(ThePrompt, PlaysAFileAndSavesWhatWasPlayed)
{
    const TemporaryFile played("# from a file\nlog 1\n\nlog 2\n");
    const TemporaryFile mistaken("log 3\nlog 9\nlog 4\n");
    const std::string saved = (folder / "saved.scenario").string();
    terminal.until(PROMPT);
    terminal.answerTo("log 0 # typed");
    EXPECT_THAT(terminal.answerTo("play " + played.name()), HasSubstr("\r\n2 log 1\r\n3 log 2\r\n"));
    EXPECT_THAT(terminal.answerTo("play " + mistaken.name()),
                AllOf(HasSubstr("4 log 3\r\n" + mistaken.name() + ":2: "), Not(HasSubstr("log 4"))));
    EXPECT_THAT(terminal.answerTo("play /nowhere"), HasSubstr("play: /nowhere: No such file"));
    EXPECT_THAT(terminal.answerTo("play " + folder.string()), HasSubstr("Is a directory"));
    EXPECT_THAT(terminal.answerTo("save " + played.name()), HasSubstr("exists already"));
    terminal.answerTo("save " + saved);
    terminal.answerTo("log 5");
    terminal.answerTo("save " + saved);
    EXPECT_EQ(contentOf(saved), "# typed\nlog 0\n# from a file\nlog 1\nlog 2\nlog 3\nlog 5\n");
    EXPECT_THAT(terminal.answerTo("save /nowhere/x"), HasSubstr("save: /nowhere/x: No such file"));
}

}  // namespace
