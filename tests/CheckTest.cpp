// The proof of scenarios: their output held against what is expected of it.

#include <gmock/gmock.h>

#include <string>

#include "Program.h"

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

TEST(Stories, GiveTheOutputBesideThem)
{
    const Played run = deskphone("--check " + (SCENARIOS / "*.scenario").string());
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(run.errors, "");
    EXPECT_THAT(run.output, HasSubstr("agrees   " + (SCENARIOS / "every-trace.scenario").string() + "\n"));
}

/// A folder with one scenario in it.
struct Check : ::testing::Test {
    Check() { fs::create_directory(folder); }
    ~Check() override { fs::remove_all(folder); }

    void write(const fs::path& file, const std::string& content) const { std::ofstream(file) << content; }
    void writeScenario(const std::string& commands) const { write(scenario, commands); }
    Played run(const std::string& options) const { return deskphone(options + ' ' + scenario.string()); }
    /// What --check prints below the name of the scenario.
    std::string differences() const
    {
        const Played checked = run("--check");
        EXPECT_EQ(checked.status, 1);
        EXPECT_THAT(checked.output, StartsWith("differs  " + scenario.string() + "\n"));
        return checked.output.substr(checked.output.find('\n') + 1);
    }

    const fs::path folder = fs::temp_directory_path() / ("deskphone-check-" + std::to_string(::getpid()));
    const fs::path scenario = folder / "a.b.scenario";
    const fs::path expected = folder / "a.b.expected";
};

TEST_F(Check, HoldsEachFormToWhatWasAcceptedInIt)
{
    writeScenario("log 6\nLMSCreateSession sip:1 7\ndumpStateMachines # with addresses\n");
    for (const std::string form : {"", "--json "}) {
        fs::remove(expected);
        EXPECT_EQ(run(form + "--accept").output, "written    " + expected.string() + "\n");
        EXPECT_EQ(contentOf(expected), withoutAddresses(run(form).output));
        EXPECT_EQ(run("--accept").output, "unchanged  " + expected.string() + "\n");
        const Played checked = run("--check");
        EXPECT_EQ(checked.output, "agrees   " + scenario.string() + "\n");
        EXPECT_EQ(checked.status, 0);
    }
}

TEST_F(Check, KeepsTheStatesThatWereAccepted)
{
    writeScenario("log 0\nsetRecordingModeConfig allcalls\nLMSCreateSession sip:1 7\n");
    run("--json --states --accept");
    const std::string accepted = contentOf(expected);
    EXPECT_EQ(accepted, run("--json --states").output);
    EXPECT_EQ(run("--check").output, "agrees   " + scenario.string() + "\n");
    write(expected, std::regex_replace(accepted, std::regex("ATTACH_REQUESTED"), "STREAMING"));
    EXPECT_THAT(differences(), AllOf(HasSubstr("\"to\":\"STREAMING\"}\n    + "), HasSubstr("ATTACH_REQUESTED")));
    run("--accept");
    EXPECT_EQ(contentOf(expected), accepted);
}

TEST_F(Check, RefusesScenariosThatShareAnExpectedFile)
{
    writeScenario("log 0\n");
    const fs::path other = folder / "a.b";
    write(other, "log 1\n");
    const Played run = deskphone("--accept " + scenario.string() + ' ' + other.string());
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "deskphone: " + scenario.string() + " and " + other.string() +
                              ": the output of both is expected in " + expected.string() + "\n");
    EXPECT_FALSE(fs::exists(expected));
    EXPECT_EQ(deskphone("--accept " + scenario.string() + ' ' + (folder / "." / "a.b.scenario").string()).status, 0);
}

TEST_F(Check, PairsStepsSoThatOneMoreOrLessDoesNotMakeTheOthersDiffer)
{
    for (const std::string form : {"", "--json "}) {
        fs::remove(expected);
        writeScenario("log 0\nreset\ngetDataItem 1\ngetDataItem 2\nlog 1\n");
        run(form + "--accept");
        writeScenario("log 0\ngetDataItem 1\n# comments are no difference\nlog 2\ngetDataItem 2\nlog 1\n");
        const std::string found = differences();
        EXPECT_THAT(found, HasSubstr("  a step is missing\n    - "));
        EXPECT_THAT(found, HasSubstr("  a step is new\n    + "));
        EXPECT_THAT(found, HasSubstr("reset"));
        EXPECT_THAT(found, Not(HasSubstr("getDataItem")));
        writeScenario("log 0\nreset\ngetDataItem 1\ngetDataItem 3\nlog 1\n");
        EXPECT_THAT(differences(), AllOf(HasSubstr("+ "), HasSubstr("getDataItem"), Not(HasSubstr("a step is"))));
    }
}

TEST_F(Check, PairsStepsBehindHundredsThatDiffer)
{
    const auto commands = [](const std::string& repeated) {
        std::string text;
        for (int count = 0; count < 400; ++count) {
            text += repeated;
        }
        return text + "reset\n";
    };
    writeScenario(commands("log 1\n"));
    run("--accept");
    writeScenario(commands("log 2\n"));
    EXPECT_THAT(differences(), AllOf(HasSubstr("- 400 log 1"), HasSubstr("+ 400 log 2"), Not(HasSubstr("reset"))));
}

TEST_F(Check, ShowsInAStepOnlyTheLinesThatDiffer)
{
    writeScenario("log 0\nsetRecordingModeConfig allcalls\nLMSCreateSession sip:1 7\n");
    run("--json --accept");
    write(expected, std::regex_replace(contentOf(expected), std::regex("sip:1;true"), "sip:1;fast"));
    const std::string call = R"({"step":3,"thread":"caller","call":"LocalMgmtIfc.publishData",)"
                             R"("args":[[["call-recording-active","call-recording-active","sip:1;)";
    EXPECT_EQ(differences(), R"(  {"step":3,"command":["LMSCreateSession","sip:1","7"]})"
                             "\n    - " +
                                 call + "fast\"]]]}\n    + " + call + "true\"]]]}\n");
}

TEST_F(Check, PlaysEachScenarioAsIfItWereAlone)
{
    writeScenario("log 0\nsetRecordingModeConfig allcalls\nLMSCreateSession sip:1 7\n");
    run("--accept");
    EXPECT_THAT(contentOf(expected), HasSubstr("CSfi.attachRecSession"));
    const Played checked = deskphone("--check " + scenario.string() + ' ' + scenario.string());
    EXPECT_THAT(checked.output, EndsWith("\n2 of 2 agree\n"));
}

TEST_F(Check, AcceptsOnlyWhatWasPlayedToTheEnd)
{
    writeScenario("log 0\nunknown\n");
    write(expected, "as before");
    const Played run = this->run("--accept");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "broken off  " + scenario.string() + "\n");
    EXPECT_THAT(run.errors, StartsWith(scenario.string() + ":2: "));
    EXPECT_EQ(contentOf(expected), "as before");
}

TEST_F(Check, GoesOnAfterWhatCannotBeCheckedAndTellsItWithItsStatus)
{
    writeScenario("log 0\n");
    const Played missing = run("--check");
    EXPECT_EQ(missing.status, 2);
    EXPECT_THAT(missing.errors, HasSubstr(expected.string() + " is missing; --accept writes it"));
    run("--accept");
    const Played checked = deskphone("--check /nowhere.scenario " + scenario.string());
    EXPECT_EQ(checked.status, 2);
    EXPECT_EQ(checked.output, "agrees   " + scenario.string() + "\n1 of 2 agree\n");
    EXPECT_EQ(checked.errors, "deskphone: /nowhere.scenario: No such file or directory\n");
    EXPECT_EQ(deskphone("--check").status, 2);
    EXPECT_EQ(run("--check --accept").status, 2);
    EXPECT_EQ(run("--check --ladder").status, 2);
}

}  // namespace
