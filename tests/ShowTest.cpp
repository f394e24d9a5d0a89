// What the forms for people tell of a run beside the plug-in's calls.

#include <gmock/gmock.h>

#include <regex>
#include <string>

#include "Program.h"

namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

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

TEST(Show, PutsCommentsBeforeTheirStepAndTheLastOnesAtTheEnd)
{
    const std::string run = "# first,\n  #\ttwo lines\nlog 0 # silent\nreset\n# none follows\n";
    const std::string comments = "# first,\n#\ttwo lines\n# silent\n";
    EXPECT_EQ(shown("", run), comments + "1 log 0\n2 reset\n# none follows\n");
    EXPECT_EQ(shown("--save -", run), comments + "log 0\nreset\n# none follows\n");
    EXPECT_THAT(shown("--ladder", run), HasSubstr("lamp\n# first,\n#\\x09two lines\n# silent\n1 log 0\n2 reset\n"));
    EXPECT_THAT(shown("--ladder", run), ::testing::EndsWith("│\n# none follows\n"));
    EXPECT_THAT(shown("--ladder", '#' + std::string(1000, 'a') + "\nreset\n"),
                ContainsRegex("\n#a+\n(a+\n)+1 reset\n"));
    EXPECT_THAT(shown("--json", run), Not(HasSubstr("first")));
    const std::string refused = "refuse publish\r\nsetRecordingModeConfig manual\r\n";
    EXPECT_THAT(shown("", refused), HasSubstr("caller      refused  LocalMgmtIfc.publishData("));
    EXPECT_THAT(shown("--ladder", refused), HasSubstr("manual]) refused"));

    const TemporaryFile chart;
    shown("--chart " + chart.name(), run);
    EXPECT_THAT(chart.content(), HasSubstr("    Note over service,framework: first,<br/>two lines<br/>silent\n"
                                           "    Note over service,framework: 1 log 0\n"));
    EXPECT_THAT(chart.content(), HasSubstr("service: reset\n    Note over service,framework: none follows\n"));
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

const std::string TWO_LINES =
    "log 3\n"
    "setRecordingModeConfig allcalls\n"
    "LMSCreateSession sip:1 7\n"
    "LMSCreateSession sip:10 8\n"
    "LMSEventAttached 2 5 8\n"
    "LMSEventAttached 1 4 7\n"
    "LMSEventAttached 3 4 7\n"
    "getRecordingMode\n"
    "setLineStatus sip:10 11\n"
    "dataChangedEvent call-recording-active sip:1;true\n"
    "LMSDestroySession 1\n"
    "LMSDestroySession 1\n"
    "stop\n"
    "LMSDestroySession 1\n";

/// The numbers of the steps that are shown.
std::string stepsShown(const std::string& options, const std::string& input = TWO_LINES)
{
    const std::string output = shown("--json " + options, input);
    const std::regex command("\\{\"step\":([0-9]+),\"command\"");
    std::string numbers;
    for (std::sregex_iterator found(output.begin(), output.end(), command), end; found != end; ++found) {
        numbers += (numbers.empty() ? "" : " ") + (*found)[1].str();
    }
    return numbers;
}

TEST(Filter, ShowsTheStepsThatTouchALineWithTheNumbersThatTheyHave)
{
    EXPECT_EQ(stepsShown("--line sip:1"), "3 6 9 10 11 12");
    EXPECT_EQ(stepsShown("--line sip:10"), "4 5 9");
    EXPECT_EQ(stepsShown("--line sip:1 --line sip:10"), "3 4 5 6 9 10 11 12");
    EXPECT_EQ(stepsShown("--line sip:2"), "");
    EXPECT_EQ(stepsShown("--line a", "setLineStatus a 11\ngetSelectedLine\nsetLineStatus b 11\ngetSelectedLine\n"),
              "1 2");
    EXPECT_EQ(stepsShown("--line sip:1", "handleMessage activateRecording:5:sip:1\nactivateRecording sip:2\n"), "1");
    EXPECT_THAT(shown("--json --line sip:10", TWO_LINES), HasSubstr("\"call\":\"CSfi.attachRecSession\",\"args\":[2,"));
}

TEST(Filter, ShowsARangeOfSteps)
{
    EXPECT_EQ(stepsShown("--steps 5-8"), "5 6 7 8");
    EXPECT_EQ(stepsShown("--steps 9-9 --line sip:1"), "9");
    for (const std::string steps : {"4", "4-", "0-2", "4-3", "a-b", "1-2x"}) {
        EXPECT_EQ(deskphone("--steps " + steps).status, 2) << steps;
    }
}

TEST(Filter, ShowsStepsWithChangesOrWarnings)
{
    const std::string run =
        "setRecordingModeConfig allcalls\n"  // told
        "setRecordingModeConfig allcalls\n"
        "LMSCreateSession sip:1 7\n"  // told, state, lamp
        "LMSEventStreaming 1 2 7\n"
        "LMSEventAttached 1 2 7\n"  // state
        "LMSEventAttached 9 2 7\n"  // error
        "LMSDestroySession 1\n"     // told, state, lamp
        "stop\n";
    EXPECT_EQ(stepsShown("--log 2 --only changes", run), "1 3 5 7");
    EXPECT_EQ(stepsShown("--log 2 --only warnings", run), "6");
    EXPECT_EQ(stepsShown("--log 2 --only warnings --only changes", run), "1 3 5 6 7");
}

TEST(Filter, LeavesTheFormsAwareOfWhatIsNotShown)
{
    const TemporaryFile chart;
    const std::string run = "setRecordingModeConfig allcalls\nLMSCreateSession sip:1 7\nLMSEventAttached 1 2 7\n";
    EXPECT_THAT(shown("--steps 3-3 --ladder --chart " + chart.name(), run), HasSubstr("┃\n"));
    EXPECT_THAT(chart.content(), HasSubstr("before#58; lamp on, sip#58;1 ATTACH_REQUESTED\n    activate lamp\n"));
}

struct Picture : ::testing::Test {
    Picture() { fs::create_directory(folder); }
    ~Picture() override { fs::remove_all(folder); }

    std::string drawn(const std::string& input, int picture = 1)
    {
        run = deskphone("--log 0 --chart " + (folder / "run.svg").string(), input);
        return picture == 1 ? contentOf(folder / "run.svg")
                            : contentOf(folder / ("run-" + std::to_string(picture) + ".svg"));
    }

    const TemporaryFile name;
    const fs::path folder = name.name() + ".d";
    Played run;
};

TEST_F(Picture, DrawsWhatTheLadderShowsAndEscapesIt)
{
    const std::string picture = drawn(
        "setRecordingModeConfig manual # <&>\n"
        "activateRecording \"<&>\xfc\x01\xef\xbf\xbf\xc3\xa4\"\n"
        "LMSEventStreaming 1 2 7\n"
        "setRecordingModeConfig disabled\n"
        "deactivateRecording a\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    for (const std::string text :
         {"&lt;&amp;&gt;", "5 deactivateRecording a", "publishData([call-recording-mode = manual])", "true", "lamp on",
          "2 activateRecording \"&lt;&amp;&gt;\uFFFD\\x01\uFFFDä\"",
          "\"&lt;&amp;&gt;\uFFFD\\x01\uFFFDä\": IDLE → ACTIVATED (ACTIVATE)",
          "refused  deactivateRecording: not in the mode \"disabled\""}) {
        EXPECT_THAT(picture, HasSubstr(">" + text + "</text>\n"));
    }
    EXPECT_THAT(picture, HasSubstr("class=\"lit\""));
    EXPECT_THAT(picture, HasSubstr("prefers-color-scheme"));
}

TEST_F(Picture, IsWholeWhenTheRunIsBrokenOff)
{
    const std::string picture = drawn("setRecordingModeConfig allcalls\nLMSCreateSession sip:1 7\nno-command\n");
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(picture, HasSubstr(">sip:1: ACTIVATED → ATTACH_REQUESTED (IN_CALL)</text>\n"));
    EXPECT_THAT(picture, EndsWith("</svg>\n"));
    std::smatch height;
    ASSERT_TRUE(
        std::regex_search(picture, height, std::regex("^<svg [^>]* height=\"([0-9]+)\"[^>]* viewBox=\"0 0 900 \\1\"")));
    const std::string rest = height.suffix();
    const std::regex row(" y=\"([0-9]+)\"");
    for (std::sregex_iterator place(rest.begin(), rest.end(), row), end; place != end; ++place) {
        EXPECT_LT(std::stoi((*place)[1]), std::stoi(height[1]));
    }
}

TEST_F(Picture, OfALongRunGoesOnInFurtherFilesUpToALimitWithAWord)
{
    std::string calls = "setRecordingModeConfig allcalls\nLMSCreateSession sip:1 7\n";
    for (int i = 0; i < 200; ++i) {
        calls += "LMSEventAttached 1 2 7\nLMSEventNotStreaming 1\n";
    }
    const std::string second = drawn(calls, 2);
    std::smatch follows;
    const std::string first = contentOf(folder / "run.svg");
    ASSERT_TRUE(
        std::regex_search(first, follows, std::regex(">Steps 1 to ([0-9]+)\\. Step ([0-9]+) follows in run-2.svg<")));
    EXPECT_EQ(std::stoi(follows[1]) + 1, std::stoi(follows[2]));
    EXPECT_THAT(second, HasSubstr(">before: lamp on, sip:1 "));
    EXPECT_THAT(second, HasSubstr(">" + follows[2].str() + " LMSEvent"));
    EXPECT_THAT(run.errors, AllOf(HasSubstr("run.svg holds the steps to " + follows[1].str()), HasSubstr("run-2.svg")));
    EXPECT_THAT(run.errors, Not(HasSubstr("not drawn")));

    for (int i = 0; i < 2000; ++i) {
        calls += "LMSEventAttached 1 2 7\nLMSEventNotStreaming 1\n";
    }
    EXPECT_THAT(drawn(calls, 20), HasSubstr("What follows is not drawn; --steps"));
    EXPECT_THAT(run.errors, HasSubstr("is not drawn; --steps"));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 20);
}

TEST_F(Picture, AndChartsBeginWithoutTheLinesOfAServiceThatIsGone)
{
    std::string commands = "LMSCreateSession sip:1 7\nstop\n";
    for (int i = 0; i < 700; ++i) {
        commands += "reset\n";
    }
    EXPECT_THAT(drawn(commands, 2), AllOf(HasSubstr(" reset<"), Not(HasSubstr("sip:1"))));
    const std::string chart = shown("--chart -", commands);
    EXPECT_THAT(chart.substr(chart.find("## Steps", 1)), Not(HasSubstr("before")));
}

TEST(Show, EndsWithARunThatIsBrokenOff)
{
    EXPECT_EQ(deskphone("--statechart -", "no-command\n").output, "");
    EXPECT_THAT(deskphone("--statechart --steps 1-1 -", "reset\n").output, StartsWith("stateDiagram"));
    EXPECT_THAT(deskphone("--chart - --steps 2-2", "reset\nreset\nno-command\n").output, HasSubstr(" 2 reset\n"));
}

TEST(Show, DrawsChartsOnTheOutputInsteadOfTheText)
{
    const std::string run = "log 0\nreset\n";
    const std::string chart = shown("--chart -", run);
    EXPECT_THAT(chart,
                AllOf(StartsWith("```mermaid\n"), HasSubstr("1 log 0\n"), HasSubstr("2 reset\n"), EndsWith("```\n")));
    const Played brokenOff = deskphone("--chart -", run + "no-command\n");
    EXPECT_EQ(brokenOff.status, 2);
    EXPECT_EQ(brokenOff.output, chart);
    EXPECT_EQ(deskphone("--json --chart -", run).status, 2);

    std::string longRun;
    for (int i = 0; i < 30; ++i) {
        longRun += run;
    }
    const TemporaryFile file;
    shown("--chart " + file.name(), longRun);
    EXPECT_EQ(shown("--chart -", longRun), file.content());
}

TEST(Json, TellsStatesAndTheLampInTheirPlace)
{
    const std::string run =
        "log 0\nLMSCreateSession sip:1 7\nactivateRecording sip:1\nsetRecordingModeConfig manual\n"
        "activateRecording sip:1\nLMSEventStreaming 1 2 7\n";
    const std::string output = shown("--json --states", run);
    EXPECT_THAT(output,
                HasSubstr("\"sip:1;true\"]]]}\n"
                          "{\"step\":5,\"thread\":\"caller\",\"call\":\"PhysicalInterfaceServiceIfc.setFPKLamp\","
                          "\"args\":[56,3,5,0]}\n"
                          "{\"step\":5,\"thread\":\"caller\",\"line\":\"sip:1\",\"event\":\"ACTIVATE\","
                          "\"from\":\"IN_CALL\",\"to\":\"ATTACH_REQUESTED\"}\n"
                          "{\"step\":5,\"thread\":\"worker\",\"call\":\"CSfi.attachRecSession\",\"args\":[1,\"\"]}\n"
                          "{\"step\":5,\"lamp\":true}\n"
                          "{\"step\":5,\"result\":null}\n"));
    EXPECT_THAT(output, HasSubstr("\"event\":\"STREAM\",\"from\":\"ATTACH_REQUESTED\",\"to\":null}\n"
                                  "{\"step\":6,\"result\":null}\n"));
    EXPECT_EQ(
        std::regex_replace(output, std::regex("\\{\"step\":[0-9]+,(\"lamp\"|\"thread\":\"[a-z]+\",\"line\").*\n"), ""),
        shown("--json", run));
    EXPECT_EQ(deskphone("--states").status, 2);
}

}  // namespace
