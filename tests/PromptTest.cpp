// The prompt as a person has it, on a terminal.

#include <gmock/gmock.h>
#include <unistd.h>

#include <string>

#include "Terminal.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

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
    EXPECT_EQ(terminal.answerTo("lgo 3"), "unknown command \"lgo\"; did you mean log?\r\n" + PROMPT);
    EXPECT_EQ(terminal.answerTo("xyzzy"), "unknown command \"xyzzy\"; help lists those that there are\r\n" + PROMPT);
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

TEST_P(ThePrompt, DropsTheLineOrTheFileOnCtrlCAndEndsOnCtrlD)
{
    terminal.until(PROMPT);
    terminal.type("log 7");
    terminal.until("log 7");
    terminal.type("\x03");
    terminal.until(PROMPT);
    EXPECT_THAT(terminal.answerTo("log 1"), HasSubstr("1 log 1\r\n"));
    const TemporaryFile endless([] {
        std::string lines;
        for (int line = 0; line < 200000; ++line) {
            lines += "log 3\n";
        }
        return lines;
    }());
    terminal.type("play " + endless.name() + '\n');
    terminal.until("2 log 3");
    terminal.type("\x03");
    terminal.until("play: stopped");
    terminal.until(PROMPT);
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
