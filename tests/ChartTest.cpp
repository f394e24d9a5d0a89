// What the program draws of a run, and the pictures in the pages, which it must have drawn.

#include <gmock/gmock.h>

#include <regex>
#include <sstream>
#include <string>

#include "Program.h"

namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;

const std::string ONE_RECORDING = " " + (SCENARIOS / "one-recording.scenario").string();

std::string printed(const std::string& arguments, const std::string& input = "", const std::string& before = "")
{
    const Played run = deskphone(arguments, input, before);
    EXPECT_EQ(run.status, 0) << arguments << '\n' << run.errors;
    return run.output;
}

struct Chart : ::testing::Test {
    std::string charted(const std::string& options, const std::string& input = "")
    {
        output = printed("--chart " + file.name() + " " + options, input);
        return file.content();
    }

    const TemporaryFile file;
    std::string output;
};

TEST_F(Chart, PicturesInThePagesAreUpToDate)
{
    const fs::path top = SCENARIOS.parent_path();
    const std::string end = "<!-- end of picture -->\n";  // scripts/draw-pictures writes what stands before it
    EXPECT_THAT(contentOf(top / "docs" / "architecture.md"),
                HasSubstr("<!-- picture: state-machine -->\n```mermaid\n" + printed("--statechart") + "```\n" + end));
    EXPECT_THAT(contentOf(top / "docs" / "recording.md"),
                HasSubstr("<!-- picture: recording -->\n" + charted("--log 2" + ONE_RECORDING) + end));

    const std::string whole = printed((SCENARIOS / "whole-recording.scenario").string());
    const std::string step = whole.substr(whole.find("\n8 ") + 1);
    EXPECT_THAT(contentOf(top / "README.md"),
                HasSubstr("<!-- picture: step -->\n```text\n" + step.substr(0, step.find("\n9 ") + 1) + "```\n" + end));
}

TEST_F(Chart, LeavesTheOutputAsItIs)
{
    for (const std::string name : {"every-trace", "odd-line-uris", "missing-services"}) {
        charted("--json " + (SCENARIOS / name).string() + ".scenario");
        EXPECT_EQ(withoutAddresses(output), contentOf((SCENARIOS / name).string() + ".expected"));
    }
}

TEST_F(Chart, ShowsWarningsAndTextsThatMermaidWouldMisread)
{
    const std::string chart =
        charted("-", "setRecordingModeConfig manual\nactivateRecording \"end;#35;\\n<b>\xfc%%\"\n");
    EXPECT_THAT(chart, HasSubstr("    Note over user,lamp: 2 activateRecording "
                                 "#34;end#59;#35;35#59;#92;n#60;b#62;#65533;#37;#37;#34;\n"));
    EXPECT_THAT(chart, HasSubstr("    rect rgb(255, 230, 180)\n    Note over service: warning#58; "));
    EXPECT_THAT(chart, HasSubstr("    service->>lamp: setFPKLamp(56, 3, 5, 0)\n    activate lamp\n"));
    EXPECT_THAT(chart, ContainsRegex("#58; IDLE #8594; ACTIVATED \\(ACTIVATE\\)\n    end\n"));
    EXPECT_THAT(chart, HasSubstr("    deactivate lamp\n```\n"));
}

TEST_F(Chart, CutsALongRun)
{
    std::string lines = "log 0\nsetRecordingModeConfig allcalls\nLMSCreateSession sip:1 7\n";
    for (int i = 0; i < 100; ++i) {
        lines += "LMSEventAttached 1 2 7\nLMSEventNotStreaming 1\n";
    }
    const std::string chart = charted("-", lines);
    EXPECT_THAT(chart, HasSubstr("## Steps 1 to "));
    EXPECT_THAT(chart, ContainsRegex("## Steps [0-9]+ to 203\n"));
    EXPECT_THAT(chart, HasSubstr("    Note over service,lamp: before#58; lamp on, sip#58;1 "));
}

TEST_F(Chart, OfMorePartsThanAnybodyReadsIsToldOf)
{
    const auto noticesOf = [this](int resets) {
        std::string lines;
        for (int i = 0; i < resets; ++i) {
            lines += "reset\n";
        }
        return deskphone("--chart " + file.name(), lines).errors;
    };
    // A reset is two rows, its heading and an arrow.
    EXPECT_EQ(noticesOf(400), "");
    EXPECT_EQ(noticesOf(401),
              "deskphone: " + file.name() + " holds 21 charts; --steps, --line and --only choose what is drawn\n");
}

TEST(Ladder, FitsTheWidth)
{
    std::istringstream ladder(printed("--ladder" + ONE_RECORDING, "", "COLUMNS=80 "));
    for (std::string row; std::getline(ladder, row);) {
        EXPECT_LE(std::regex_replace(row, std::regex("[\x80-\xbf]"), "").size(), 80U) << row;
    }
    EXPECT_THAT(ladder.str(), HasSubstr("dispatcher    │      * sip:100@office: STREAMING → ACTIVATED (NOT_IN_CALL)"));
    EXPECT_THAT(ladder.str(), HasSubstr("worker        │      │───── detachRecSession(1) ───>│"));
}

TEST(Coverage, ShippedScenariosReachEverything)
{
    const std::string coverage = printed("--coverage " + (SCENARIOS / "*.scenario").string());
    EXPECT_THAT(coverage, HasSubstr("Transitions: 28 of 28 reached\n"));
    EXPECT_THAT(coverage, HasSubstr("Actions: 9 of 9 reached\n"));
    EXPECT_THAT(printed("--coverage" + ONE_RECORDING), ContainsRegex("ERROR +DEACTIVATE +-> IN_CALL +not reached\n"));
    EXPECT_THAT(printed("--statechart" + ONE_RECORDING),
                HasSubstr("box --> ACTIVATED: NOT_IN_CALL<br/>STREAMING ×1\n"));
}

TEST_F(Chart, RefusesWhatDoesNotGoTogether)
{
    for (const std::string options :
         {"--json --ladder", "--coverage --statechart", "--chart a.scenario", "--chart '' -", "--chart a a",
          "--chart a --coverage b", "--chart a --statechart", "--save a --statechart", "--chart /"}) {
        const Played run = deskphone(options);
        EXPECT_EQ(run.status, 2) << options;
        EXPECT_NE(run.errors, "") << options;
    }
}

TEST(Prompt, TellsTheStatusAndKeepsItsHistory)
{
    const TemporaryFile name;
    const fs::path cache = name.name() + ".d";
    const std::string seen =
        printed("--json --log 0' /dev/null", "setRecordingModeConfig allcalls\nLMSCreateSession sip:1 7\nstatus\n",
                "XDG_CACHE_HOME=" + cache.string() + " TERM=dumb script -qefc '");
    EXPECT_THAT(seen, HasSubstr("mode allcalls   selected sip:1   lamp ● on\r\n"
                                "  sip:1  ATTACH_REQUESTED  session 1 (call 7, media -1)\r\n"));
    if (LINE_EDITING) {
        EXPECT_THAT(contentOf(cache / "deskphone" / "history"), HasSubstr("LMSCreateSession"));
    }
    fs::remove_all(cache);
}

}  // namespace
