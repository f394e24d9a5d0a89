// What the forms for people tell of a run beside the plug-in's calls.

#include <gmock/gmock.h>

#include <string>

#include "Program.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

std::string shown(const std::string& options, const std::string& input)
{
    const Played run = deskphone(options, input);
    EXPECT_EQ(run.status, 0) << options << '\n' << run.errors;
    return run.output;
}

TEST(Show, TellsIgnoredEventsAndRefusedRequestsWhateverIsLogged)
{
    const std::string run =
        "log 0\n"
        "activateRecording sip:1\n"
        "setRecordingModeConfig autostart\n"
        "handleMessage deactivateRecording:5:sip:1\n"
        "LMSCreateSession sip:1 7\n"
        "LMSEventStreaming 1 2 7\n"
        "stop\n"
        "start no-store\n"
        "activateRecording sip:2\n";
    const std::string text = shown("", run);
    EXPECT_THAT(text, HasSubstr("2 activateRecording sip:1\n"));
    EXPECT_THAT(text, HasSubstr("    caller      refused  activateRecording: not in the mode \"disabled\"\n"));
    EXPECT_THAT(text, HasSubstr("refused  deactivateRecording: not in the mode \"autostart\" outside a call\n"));
    EXPECT_THAT(text, HasSubstr("    dispatcher  ignored  sip:1: STREAM in ATTACH_REQUESTED\n"));
    EXPECT_THAT(text, HasSubstr("9 activateRecording sip:2\n"
                                "    caller      refused  activateRecording: not in the mode \"disabled\"\n"));
    EXPECT_THAT(shown("--ladder", run),
                AllOf(HasSubstr("- ignored  sip:1: STREAM in ATTACH_REQUESTED "),
                      HasSubstr("! refused  activateRecording: not in the mode \"disabled\" ")));

    const TemporaryFile chart;
    shown("--log 6 --chart " + chart.name(), run);
    EXPECT_THAT(chart.content(), HasSubstr("Note over service: ignored  sip#58;1#58; STREAM in ATTACH_REQUESTED\n"));
    EXPECT_THAT(chart.content(),
                HasSubstr("Note over service: refused  activateRecording#58; not in the mode #34;disabled#34;\n"));
}

TEST(Show, PutsCommentsBeforeTheirStep)
{
    const std::string run = "# first,\n  #\ttwo lines\nlog 0 # silent\nreset\n# none follows\n";
    const std::string comments = "# first,\n#\ttwo lines\n# silent\n";
    EXPECT_EQ(shown("", run), comments + "1 log 0\n2 reset\n");
    EXPECT_THAT(shown("--ladder", run), HasSubstr("lamp\n# first,\n#\\x09two lines\n# silent\n1 log 0\n2 reset\n"));
    EXPECT_THAT(shown("--json", run), Not(HasSubstr("first")));

    const TemporaryFile chart;
    shown("--chart " + chart.name(), run);
    EXPECT_THAT(chart.content(), HasSubstr("    Note over service,framework: first,<br/>two lines<br/>silent\n"
                                           "    Note over service,framework: 1 log 0\n"));
}

TEST(Show, IsPlainOnATerminalThatIsToHaveNoColours)
{
    const TemporaryFile scenario("getRecordingMode\n");
    const auto isColoured = [&scenario](const std::string& environment) {
        const Played run = deskphone(scenario.name() + "' /dev/null", "", "env " + environment + " script -qefc '");
        EXPECT_THAT(run.output, HasSubstr("getRecordingMode"));
        return run.output.find('\x1b') != std::string::npos;
    };
    EXPECT_TRUE(isColoured("-u NO_COLOR TERM=xterm"));
    EXPECT_FALSE(isColoured("NO_COLOR=1 TERM=xterm"));
    EXPECT_FALSE(isColoured("-u NO_COLOR TERM=dumb"));
}

}  // namespace
